#include "Transport.h"

#include "Errors.h"
#include "ReplayTransport.h"
#include "SimTransport.h"
#if defined(COSUPDATE_HAVE_PCSC)
#include "PcscTransport.h"
#endif

namespace cosupdate::cli {

namespace {

TransportKind pcscKind() {
    TransportKind kind{"pcsc",
                       "pcsc[:READER]",
                       "a card reader through pcscd; READER: its name or the start of it",
                       {},
                       {}};
#if defined(COSUPDATE_HAVE_PCSC)
    kind.open = openPcscTransport;
#else
    kind.missingReason = "this build of cosupdate has no PC/SC transport";
#endif
    return kind;
}

std::string knownNames() {
    std::string names;
    for (const TransportKind& kind : transportKinds()) {
        names += (names.empty() ? "" : ", ") + kind.name;
    }
    return names;
}

}  // namespace

TransportChoice parseTransportChoice(const std::string& text) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos) {
        return TransportChoice{text, ""};
    }
    return TransportChoice{text.substr(0, colon), text.substr(colon + 1)};
}

const std::vector<TransportKind>& transportKinds() {
    static const std::vector<TransportKind> kinds{
        TransportKind{"sim",
                      "sim",
                      "the simulated chip in the chip state file (default)",
                      openSimTransport,
                      {}},
        pcscKind(),
        TransportKind{"replay",
                      "replay:FILE[,timing]",
                      "answers from a trace --record wrote, checking every call; "
                      "timing: each call takes its recorded time",
                      openReplayTransport,
                      {}},
    };
    return kinds;
}

const TransportKind& findTransport(const std::string& name) {
    for (const TransportKind& kind : transportKinds()) {
        if (kind.name != name) {
            continue;
        }
        if (!kind.open) {
            throw UsageError("--transport " + name + ": " + kind.missingReason);
        }
        return kind;
    }
    throw UsageError("--transport: unknown transport '" + name + "' (known: " + knownNames() + ")");
}

std::unique_ptr<Transport> openTransport(const TransportChoice& choice,
                                         const std::string& chipFile) {
    return findTransport(choice.name).open(TransportSettings{choice.argument, chipFile});
}

}  // namespace cosupdate::cli
