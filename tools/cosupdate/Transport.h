// Transports the tool reaches the secure element through, chosen with
// --transport NAME[:ARGUMENT]. Each kind registers a factory in Transport.cpp;
// one built without its dependencies is still known, to say why it is missing.

#ifndef COSUPDATE_CLI_TRANSPORT_H
#define COSUPDATE_CLI_TRANSPORT_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::cli {

namespace api = Zelmar::Device::COS::V1_0;

class Transport {
  public:
    virtual ~Transport() = default;
    virtual std::shared_ptr<api::COSUpdateSEMediaInterface> media() = 0;
    // For messages: "simulated chip (state in FILE)", "PC/SC reader 'X'".
    virtual std::string description() const = 0;
    // The number of exchanges the run will make when it is honestly known
    // (a replayed trace knows the ones it has left); exchanges are counted
    // as CountingSEMedia counts them: each SELECT of openConnection() and
    // each transmitApdu().
    virtual std::optional<uint64_t> expectedExchanges() const { return std::nullopt; }
    // What failed the run that the library cannot tell from a failed
    // exchange (a replay that left its trace): reported instead of the outcome.
    virtual std::optional<std::string> runFailure() const { return std::nullopt; }
    // What is wrong once the command is done, though its outcome stands: a
    // trace that could not be written, a replay with calls left over.
    virtual std::optional<std::string> traceError() const { return std::nullopt; }
};

// "pcsc:Virtual PCD" -> {"pcsc", "Virtual PCD"}; "sim" -> {"sim", ""}.
struct TransportChoice {
    std::string name;
    std::string argument;
};
TransportChoice parseTransportChoice(const std::string& text);

struct TransportSettings {
    std::string argument;  // after the ':'
    std::string chipFile;  // --chip, for the simulated chip
};

struct TransportKind {
    std::string name;
    std::string usage;  // "pcsc[:READER]"
    std::string summary;
    // Empty when this build does not have the transport.
    std::function<std::unique_ptr<Transport>(const TransportSettings&)> open;
    std::string missingReason;
};

const std::vector<TransportKind>& transportKinds();

// Throws UsageError for a transport that is unknown or not in this build.
const TransportKind& findTransport(const std::string& name);

std::unique_ptr<Transport> openTransport(const TransportChoice& choice,
                                         const std::string& chipFile);

// `inner` with every call to its secure element written to the trace
// `file`. Throws ToolError when the file cannot be created.
std::unique_ptr<Transport> recordTransport(std::unique_ptr<Transport> inner,
                                           const std::string& file);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_TRANSPORT_H
