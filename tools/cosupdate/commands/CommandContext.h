// What a command runs with: the options, its arguments, the console, and on
// demand the transport and an engine session over it.

#ifndef COSUPDATE_CLI_COMMAND_CONTEXT_H
#define COSUPDATE_CLI_COMMAND_CONTEXT_H

#include <memory>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Console.h"
#include "EngineSession.h"
#include "Reply.h"
#include "Transport.h"

namespace cosupdate::cli {

class CommandContext {
  public:
    CommandContext(const Options& options, Console& console, std::vector<std::string> args)
        : m_options(options), m_console(console), m_args(std::move(args)) {}

    const Options& options() const { return m_options; }
    Console& console() { return m_console; }
    const std::vector<std::string>& args() const { return m_args; }

    // --chip, or the default chip state file.
    std::string chipFile() const;
    // The transport --transport names, opened once.
    Transport& transport();

    // An engine over the transport, with the AIDs registered.
    EngineSession& openSession();
    // An engine over no secure element at all: enough to load a file.
    EngineSession& openOfflineSession();

  private:
    EngineSession& startSession(std::shared_ptr<api::COSUpdateSEMediaInterface> media);

    const Options& m_options;
    Console& m_console;
    std::vector<std::string> m_args;
    std::unique_ptr<Transport> m_transport;
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

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_COMMAND_CONTEXT_H
