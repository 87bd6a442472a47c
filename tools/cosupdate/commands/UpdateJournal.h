// What an update leaves besides its summary: the events --events asked for,
// written as the run goes, and, once it ends, its record in the chip's update
// history when it touched the chip (exchanged an APDU). Both are kept however
// the command ends, by a failure or a signal included.

#ifndef COSUPDATE_CLI_UPDATE_JOURNAL_H
#define COSUPDATE_CLI_UPDATE_JOURNAL_H

#include <memory>
#include <optional>

#include "HistoryFile.h"
#include "HistoryRecord.h"
#include "UpdateEvents.h"
#include "commands/CommandContext.h"

namespace cosupdate::cli {

class UpdateJournal {
  public:
    // Opens the events' file: throws ToolError, before anything else is
    // done, when it cannot.
    explicit UpdateJournal(CommandContext& context);

    // The summary's reply: a scratch one when the events go to stdout, so
    // that stdout holds the events alone.
    Reply& summaryReply(Reply& reply) {
        return m_events && m_events->toStandardOutput() ? m_scratch : reply;
    }

    RunFacts& facts() { return m_facts; }
    // Told of the run as it goes; null without --events.
    RunListener* listener() { return m_listener.get(); }

    void fileRead(const UpdateFile& file);
    void sessionOpened(EngineSession& session) { m_session = &session; }
    // The chip was read before the run, in `readCost` exchanges (the read
    // after the run makes as many): finds its history and what the run
    // will take, and tells that the run starts.
    void runStarting(const CosIdentity& before, uint64_t readCost);

    // The run ended with facts().status: records it, ends the events, and
    // returns the status to exit with (1 when either could not be written).
    ExitStatus finish(Reply& reply);
    // The command fails with the exception in flight: records what it knew.
    void abandon() noexcept;

  private:
    std::optional<ExpectedApdus> expectedApdus(uint64_t readCost);
    // Why the record could not be written, if it could not.
    std::optional<std::string> record();
    // Why the events could not all be written, if they could not.
    std::optional<std::string> endEvents(ExitStatus status, const std::string& error);
    void notice(const std::string& message);

    CommandContext& m_context;
    RunFacts m_facts;
    Reply m_scratch{"update"};
    std::unique_ptr<EventStream> m_events;
    std::unique_ptr<UpdateEvents> m_listener;
    EngineSession* m_session = nullptr;
    std::optional<HistoryFile> m_history;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_UPDATE_JOURNAL_H
