// What a command runs with: the options, its arguments, the console, and on
// demand the transport and an engine session over it.

#ifndef COSUPDATE_CLI_COMMAND_CONTEXT_H
#define COSUPDATE_CLI_COMMAND_CONTEXT_H

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "ChipLock.h"
#include "CommandLine.h"
#include "Console.h"
#include "EngineSession.h"
#include "Errors.h"
#include "Reply.h"
#include "Transport.h"
#include "cosupdate/transport/GuardedSEMedia.h"

namespace cosupdate::cli {

class CommandContext {
  public:
    // `out`: the tool's stdout, for commands that stream to it as they go.
    CommandContext(const Options& options, Console& console, std::ostream& out,
                   std::vector<std::string> args)
        : m_options(options), m_console(console), m_out(out), m_args(std::move(args)) {}

    const Options& options() const { return m_options; }
    Console& console() { return m_console; }
    std::ostream& out() { return m_out; }
    const std::vector<std::string>& args() const { return m_args; }

    // --chip, or the default chip state file.
    std::string chipFile() const;
    // Holds the chip state file for the rest of the command (--wait: waits
    // for it). Idempotent.
    void lockChipFile();
    // The transport --transport names, opened once; the simulated chip's
    // state file locked first; recorded to the --record file if given.
    Transport& transport();

    // An engine over the transport, with the AIDs registered. The transport
    // is guarded (GuardedSEMedia): a stop request or a fatal transport error
    // ends the engine's operation at the next exchange.
    EngineSession& openSession();
    // An engine over no secure element at all: enough to load a file.
    EngineSession& openOfflineSession();

    // Why the guard or the transport stopped the run, as the error to report
    // (exit 6 for a stop request, 1 for a fatal transport error or a replay
    // that left its trace), if one did.
    std::optional<ToolError> stopError() const;
    // Runs a command; whatever it throws after the guard stopped the run
    // becomes stopError(), the real reason.
    ExitStatus runGuarded(const std::function<ExitStatus()>& command);
    // Releases the engine, so that its last calls reach the transport, then
    // says what is wrong with the trace (--record, --transport replay), if
    // anything.
    std::optional<std::string> endSession();

  private:
    EngineSession& startSession(std::shared_ptr<api::COSUpdateSEMediaInterface> media);

    const Options& m_options;
    Console& m_console;
    std::ostream& m_out;
    std::vector<std::string> m_args;
    std::unique_ptr<ChipLock> m_chipLock;  // released last
    std::unique_ptr<Transport> m_transport;
    std::shared_ptr<transport::GuardedSEMedia> m_guard;
    std::unique_ptr<EngineSession> m_session;  // released before the transport goes
};

// platformId, cosVersion ("0102"), customerId.
Json identityJson(const CosIdentity& identity);

using CommandFunction = ExitStatus (*)(CommandContext&, Reply&);

ExitStatus runValidate(CommandContext& context, Reply& reply);
ExitStatus runCheck(CommandContext& context, Reply& reply);
ExitStatus runUpdate(CommandContext& context, Reply& reply);
ExitStatus runInfo(CommandContext& context, Reply& reply);
ExitStatus runChip(CommandContext& context, Reply& reply);
ExitStatus runHistory(CommandContext& context, Reply& reply);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_COMMAND_CONTEXT_H
