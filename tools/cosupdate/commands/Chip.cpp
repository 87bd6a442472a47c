// cosupdate chip show|reset|set: the simulated chip's persistent state in its
// chip state file. Only the sim transport has such a chip.

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <stdexcept>
#include <vector>

#include "ChipFile.h"
#include "Errors.h"
#include "Transport.h"
#include "commands/CommandContext.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

namespace {

using Setter = std::function<void(cosim::ChipState&, const std::string&)>;

Bytes serviceAid(const std::string& text) {
    return parseHex(text, "chip set services");
}

// "AID,AID,..."; empty or "none" for no service.
std::set<Bytes> parseServices(const std::string& text) {
    std::set<Bytes> services;
    if (text.empty() || text == "none") {
        return services;
    }
    size_t start = 0;
    while (start <= text.size()) {
        const size_t comma = text.find(',', start);
        const size_t end = comma == std::string::npos ? text.size() : comma;
        services.insert(serviceAid(text.substr(start, end - start)));
        start = end + 1;
    }
    return services;
}

struct Field {
    std::vector<std::string> names;  // the first is the one help shows
    Setter set;
};

const std::vector<Field>& fields() {
    static const std::vector<Field> kFields{
        {{"platform", "platform-id"},
         [](cosim::ChipState& s, const std::string& v) { s.platformId = v; }},
        {{"version", "cos-version"},
         [](cosim::ChipState& s, const std::string& v) {
             s.cosVersion = parseVersion(v, "chip set version");
         }},
        {{"customer", "customer-id"},
         [](cosim::ChipState& s, const std::string& v) { s.customerId = v; }},
        {{"fc"},
         [](cosim::ChipState& s, const std::string& v) { s.fc = parseHex(v, "chip set fc"); }},
        {{"fd"},
         [](cosim::ChipState& s, const std::string& v) {
             const Bytes fd = parseHex(v, "chip set fd");
             if (fd.size() != cosim::kFdSize) {
                 throw UsageError("chip set fd: FD has 4 bytes, '" + v + "' has " +
                                  std::to_string(fd.size()));
             }
             std::copy(fd.begin(), fd.end(), s.fd.begin());
         }},
        {{"services"},
         [](cosim::ChipState& s, const std::string& v) { s.services = parseServices(v); }},
    };
    return kFields;
}

const Field& findField(const std::string& name) {
    for (const Field& field : fields()) {
        for (const std::string& fieldName : field.names) {
            if (fieldName == name) {
                return field;
            }
        }
    }
    throw UsageError("chip set: unknown field '" + name +
                     "' (platform, version, customer, fc, fd, services)");
}

void applySettings(cosim::ChipState& state, const std::vector<std::string>& pairs) {
    if (pairs.empty() || pairs.size() % 2 != 0) {
        throw UsageError("chip set: give FIELD VALUE pairs, e.g. 'chip set version 0101'");
    }
    for (size_t i = 0; i < pairs.size(); i += 2) {
        findField(pairs[i]).set(state, pairs[i + 1]);
    }
    try {
        cosim::validate(state);
    } catch (const std::invalid_argument& e) {
        throw UsageError(std::string("chip set: ") + e.what());
    }
}

// `chip reset` replaces a chip; whatever else the file holds is not ours to lose.
void requireChipStateFile(const ChipFile& file) {
    if (!file.exists()) {
        return;
    }
    try {
        file.load();
    } catch (const ToolError& e) {
        throw ToolError(std::string(e.what()) + "; chip reset overwrites it only with --force");
    }
}

void describeState(const ChipFile& file, const cosim::ChipState& state, bool asText, Reply& reply) {
    Json services = Json::array();
    std::string serviceText;
    for (const Bytes& service : state.services) {
        services.push_back(apdu::encodeHex(service));
        serviceText += (serviceText.empty() ? "" : " ") + apdu::encodeHex(service);
    }
    const std::array<uint8_t, cosim::kFdSize>& fd = state.fd;
    const std::string fdHex = apdu::encodeHex(Bytes(fd.begin(), fd.end()));
    if (asText) {
        reply.line("chip state file: " + file.path());
        reply.line("platform id:     " + state.platformId);
        reply.line("COS version:     " + apdu::encodeHexU16(state.cosVersion));
        reply.line("customer id:     " + (state.customerId.empty() ? "(none)" : state.customerId));
        reply.line("FC:              " + apdu::encodeHex(state.fc));
        reply.line("FD:              " + fdHex);
        reply.line("services:        " + (serviceText.empty() ? "(none)" : serviceText));
    }
    reply.json().update(Json{{"chipFile", file.path()},
                             {"platformId", state.platformId},
                             {"cosVersion", apdu::encodeHexU16(state.cosVersion)},
                             {"customerId", state.customerId},
                             {"fc", apdu::encodeHex(state.fc)},
                             {"fd", fdHex},
                             {"services", services}});
}

}  // namespace

ExitStatus runChip(CommandContext& context, Reply& reply) {
    if (parseTransportChoice(context.options().transport).name != "sim") {
        throw UsageError("chip: only the simulated chip (--transport sim) has a state to " +
                         std::string("show or change"));
    }
    const std::vector<std::string>& args = context.args();
    const std::string& action = args.at(0);
    if (action != "show" && action != "reset" && action != "set") {
        throw UsageError("chip: unknown action '" + action + "' (show, reset or set)");
    }
    if (action != "set" && args.size() != 1) {
        throw UsageError("chip " + action + " takes no argument");
    }
    const ChipFile file(context.chipFile());
    context.lockChipFile();
    cosim::ChipState state;
    if (action == "show") {
        state = file.loadOrCreate();
    } else if (action == "reset") {
        if (!context.options().force) {
            requireChipStateFile(file);
        }
        state = cosim::ChipState::factoryDefault();
        file.save(state);
    } else {
        state = file.loadOrCreate();
        applySettings(state, std::vector<std::string>(args.begin() + 1, args.end()));
        file.save(state);
    }
    reply.json()["action"] = action;
    // `chip set` is quiet on success; --json still gives the state.
    describeState(file, state, action != "set", reply);
    return ExitStatus::Ok;
}

}  // namespace cosupdate::cli
