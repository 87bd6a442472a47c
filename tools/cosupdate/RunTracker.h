// Follows an engine operation through its log lines and the transport's
// exchanges: the script the engine selected, each script it ran with its
// result, APDU count and duration, and the faults it logged.

#ifndef COSUPDATE_CLI_RUN_TRACKER_H
#define COSUPDATE_CLI_RUN_TRACKER_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LogEvents.h"
#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::cli {

namespace api = Zelmar::Device::COS::V1_0;

struct ScriptRef {
    std::string name;
    std::string type;  // "Patch", "Service"; empty when the library did not say
};

struct ScriptRun {
    ScriptRef script;
    std::optional<bool> success;  // unset while running, or when no result came
    std::optional<uint16_t> versionAfter;
    uint64_t apdus = 0;
    std::chrono::steady_clock::duration elapsed{};
};

// Told as a run progresses; the display implements it.
class RunListener {
  public:
    virtual ~RunListener() = default;
    virtual void scriptStarted(const ScriptRun& run) = 0;
    // After every exchange; `current` is the running script, if any.
    virtual void exchanged(const ScriptRun* current) = 0;
    virtual void scriptFinished(const ScriptRun& run) = 0;
    // The library read the COS version after `run`, which finished before.
    virtual void versionRead(const ScriptRun& /*run*/) {}
};

class RunTracker {
  public:
    using Clock = std::chrono::steady_clock;

    void setListener(RunListener* listener) { m_listener = listener; }

    // Every line the engine logs, and every exchange on the transport.
    void logged(api::COSUpdateLogLevel level, const std::string& message);
    void exchanged();

    // The script the latest selection picked, if the log named one.
    const std::optional<ScriptRef>& selected() const { return m_selected; }
    void clearSelection() { m_selected.reset(); }

    const std::vector<ScriptRun>& runs() const { return m_runs; }
    // The library's own count of deployed scripts ("N script(s) deployed").
    std::optional<uint32_t> deployedCount() const { return m_deployed; }
    uint64_t apdus() const { return m_apdus; }

    // Every ERROR line, in order; a caller notes size() before an operation
    // to tell the lines that operation logged.
    const std::vector<std::string>& errors() const { return m_errors; }

  private:
    void apply(const LogEvent& event);
    void finishCurrent();
    ScriptRun* current();

    RunListener* m_listener = nullptr;
    std::optional<ScriptRef> m_selected;
    std::optional<ScriptRef> m_serviceCandidate;
    std::vector<ScriptRun> m_runs;
    bool m_running = false;
    Clock::time_point m_started{};
    std::optional<uint32_t> m_deployed;
    uint64_t m_apdus = 0;
    std::vector<std::string> m_errors;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_RUN_TRACKER_H
