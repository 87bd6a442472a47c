#include "commands/UpdateJournal.h"

#include "Errors.h"
#include "Sha256.h"
#include "commands/ChipHistory.h"

namespace cosupdate::cli {

UpdateJournal::UpdateJournal(CommandContext& context) : m_context(context) {
    m_facts.time = utcTimestamp(std::chrono::system_clock::now());
    m_facts.file = context.args().at(0);
    const Options& options = context.options();
    if (!options.events.empty()) {
        std::vector<std::string> keep{m_facts.file};
        if (onSimulatedChip(options)) {
            keep.push_back(context.chipFile());
            keep.push_back(simHistoryFile(context.chipFile()));
        }
        m_events = std::make_unique<EventStream>(options.events, context.out(), keep);
        m_listener = std::make_unique<UpdateEvents>(*m_events);
    }
}

void UpdateJournal::fileRead(const UpdateFile& file) {
    m_facts.sha256 = sha256Hex(file.bytes());
}

void UpdateJournal::runStarting(const CosIdentity& before, uint64_t readCost) {
    m_facts.before = before;
    m_facts.fc = readChipFc(*m_session);
    m_history.emplace(chipHistory(m_context, before, m_facts.fc));
    if (m_listener) {
        m_listener->runStarted(RunStart{m_facts.time, m_facts.file, m_facts.sha256,
                                        m_context.transport().description(), before,
                                        expectedApdus(readCost)});
    }
}

std::optional<ExpectedApdus> UpdateJournal::expectedApdus(uint64_t readCost) {
    const std::optional<uint64_t> left = m_context.transport().expectedExchanges();
    if (left && *left >= readCost) {
        return ExpectedApdus{*left - readCost, "transport"};
    }
    try {
        const HistoryListing listing =
            m_history->read([this](const std::string& message) { notice(message); });
        if (const auto apdus = previousRunApdus(listing.records, m_facts.sha256, *m_facts.before)) {
            return ExpectedApdus{*apdus, "history"};
        }
    } catch (const ToolError&) {
        // An unreadable history costs the estimate, not the update; recording
        // the run says what is wrong with it.
    }
    return std::nullopt;
}

ExitStatus UpdateJournal::finish(Reply& reply) {
    ExitStatus status = m_facts.status;
    std::string error = m_facts.error;
    if (const std::optional<std::string> failure = record()) {
        notice(*failure);
        reply.noteFailure(*failure);
        error = error.empty() ? *failure : error;
        status = ExitStatus::Error;
    }
    if (const std::optional<std::string> failure = endEvents(status, error)) {
        // Standard output's failure is told with the reply's.
        if (!m_events->toStandardOutput()) {
            reply.outputFailed(*failure);
        }
        status = ExitStatus::Error;
    }
    return status;
}

void UpdateJournal::abandon() noexcept {
    try {
        try {
            throw;
        } catch (const ToolError& e) {
            m_facts.status = e.status();
            m_facts.error = e.what();
        } catch (const std::exception& e) {
            m_facts.status = ExitStatus::Error;
            m_facts.error = e.what();
        }
        if (const std::optional<ToolError> stop = m_context.stopError()) {
            m_facts.status = stop->status();
            m_facts.error = stop->what();
        }
        if (const std::optional<std::string> failure = record()) {
            notice(*failure);
        }
        if (const std::optional<std::string> failure = endEvents(m_facts.status, m_facts.error)) {
            notice(*failure);
        }
    } catch (...) {
        // The command's own failure is the one to report.
    }
}

std::optional<std::string> UpdateJournal::record() {
    if (m_session == nullptr || m_session->log().tracker().apdus() == 0) {
        return std::nullopt;  // the chip was not touched
    }
    if (!m_history) {
        m_history.emplace(chipHistory(m_context, m_facts.before, m_facts.fc));
    }
    const Options& options = m_context.options();
    const RecordSource source{
        parseTransportChoice(options.transport), m_context.transport().description(),
        onSimulatedChip(options) ? m_context.chipFile() : "", options.recordFile};
    try {
        m_history->append(historyRecord(m_facts, source),
                          [this](const std::string& message) { notice(message); });
    } catch (const ToolError& e) {
        return std::string(e.what());
    }
    return std::nullopt;
}

std::optional<std::string> UpdateJournal::endEvents(ExitStatus status, const std::string& error) {
    if (!m_events) {
        return std::nullopt;
    }
    RunEnd end;
    end.result = m_facts.result;
    end.status = status;
    end.error = error;
    if (m_facts.result) {
        end.apdus = m_facts.apdus;
        end.elapsed = m_facts.elapsed;
    }
    end.after = m_facts.after;
    m_listener->runEnded(end);
    if (const std::optional<std::string> failure = m_events->failure()) {
        const std::string where =
            m_events->toStandardOutput() ? "standard output" : m_events->path();
        return "events could not be written to " + where + ": " + *failure;
    }
    return std::nullopt;
}

void UpdateJournal::notice(const std::string& message) {
    m_context.console().line("cosupdate: " + message);
}

}  // namespace cosupdate::cli
