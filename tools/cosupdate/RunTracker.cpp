#include "RunTracker.h"

namespace cosupdate::cli {

void RunTracker::logged(api::COSUpdateLogLevel level, const std::string& message) {
    if (level >= api::COSUPDATE_LOG_ERROR) {
        m_errors.push_back(message);
    }
    if (const auto event = parseLogEvent(message)) {
        apply(*event);
    }
}

void RunTracker::exchanged() {
    ++m_apdus;
    ScriptRun* run = current();
    if (run != nullptr) {
        ++run->apdus;
        run->elapsed = Clock::now() - m_started;
    }
    if (m_listener != nullptr) {
        m_listener->exchanged(run);
    }
}

ScriptRun* RunTracker::current() {
    return m_running ? &m_runs.back() : nullptr;
}

void RunTracker::apply(const LogEvent& event) {
    using Kind = LogEvent::Kind;
    switch (event.kind) {
        case Kind::PatchSelected:
            m_selected = ScriptRef{event.name, "Patch"};
            break;
        case Kind::ServiceCandidate:
            m_serviceCandidate = ScriptRef{event.name, "Service"};
            break;
        case Kind::ServiceSelected:
            if (m_serviceCandidate) {
                m_selected = m_serviceCandidate;
            }
            break;
        case Kind::ScriptRunning:
            finishCurrent();  // a run the library gave no result for
            m_runs.push_back(ScriptRun{ScriptRef{event.name, event.type}, {}, {}, 0, {}});
            m_running = true;
            m_started = Clock::now();
            if (m_listener != nullptr) {
                m_listener->scriptStarted(m_runs.back());
            }
            break;
        case Kind::ScriptResult:
            if (ScriptRun* run = current()) {
                run->success = event.success;
                finishCurrent();
            }
            break;
        case Kind::VersionAfter:
            // Logged after the result, for the script that just finished.
            if (!m_runs.empty() && !m_running) {
                m_runs.back().versionAfter = static_cast<uint16_t>(event.number);
                if (m_listener != nullptr) {
                    m_listener->versionRead(m_runs.back());
                }
            }
            break;
        case Kind::DeployedCount:
            m_deployed = event.number;
            break;
    }
}

void RunTracker::finishCurrent() {
    ScriptRun* run = current();
    if (run == nullptr) {
        return;
    }
    run->elapsed = Clock::now() - m_started;
    m_running = false;
    if (m_listener != nullptr) {
        m_listener->scriptFinished(*run);
    }
}

}  // namespace cosupdate::cli
