// The events of one `update --events` run, as a host UI follows them: the run
// started, each script started and ended, progress in between, the run ended.
// docs/cosupdate-events.schema.json describes every event. Each carries
// "event" (its kind) and "atMs", the milliseconds since the command started.

#ifndef COSUPDATE_CLI_UPDATE_EVENTS_H
#define COSUPDATE_CLI_UPDATE_EVENTS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "EventStream.h"
#include "ExitStatus.h"
#include "FeObject.h"
#include "ProgressEstimate.h"
#include "RunTracker.h"

namespace cosupdate::cli {

struct RunStart {
    std::string time;  // UTC, ISO 8601
    std::string file;
    std::string sha256;
    std::string transport;  // as Transport::description() says it
    CosIdentity before;
    std::optional<ExpectedApdus> expected;
};

struct RunEnd {
    std::optional<std::string> result;  // none when no update ran
    ExitStatus status = ExitStatus::Error;
    std::string error;                                           // empty when none
    std::optional<uint64_t> apdus;                               // the run's, when it ran
    std::optional<std::chrono::steady_clock::duration> elapsed;  // likewise
    std::optional<CosIdentity> after;  // when the chip was read after the run
};

class UpdateEvents : public RunListener {
  public:
    using Clock = std::chrono::steady_clock;

    explicit UpdateEvents(EventStream& stream) : m_stream(stream), m_commandStart(Clock::now()) {}

    void runStarted(const RunStart& start);
    void scriptStarted(const ScriptRun& run) override;
    void exchanged(const ScriptRun* current) override;
    // A script's end is told once the COS version after it is known: when
    // the library has read it, or before whatever comes next.
    void scriptFinished(const ScriptRun& run) override;
    void versionRead(const ScriptRun& run) override;
    // The last event, whatever happened before (runStarted included or not).
    void runEnded(const RunEnd& end);

  private:
    Json event(const char* kind) const;
    void tellScriptEnded();

    EventStream& m_stream;
    Clock::time_point m_commandStart;
    Clock::time_point m_runStart{};
    std::optional<uint64_t> m_expected;
    uint64_t m_apdus = 0;
    ProgressThrottle m_throttle;
    std::optional<ScriptRun> m_ended;  // finished, not told yet
};

// A listener that tells two others, in order; either may be null.
class ListenerPair : public RunListener {
  public:
    ListenerPair(RunListener* first, RunListener* second) : m_first(first), m_second(second) {}

    void scriptStarted(const ScriptRun& run) override;
    void exchanged(const ScriptRun* current) override;
    void scriptFinished(const ScriptRun& run) override;
    void versionRead(const ScriptRun& run) override;

  private:
    template <typename Call>
    void forEach(const Call& call) {
        for (RunListener* listener : {m_first, m_second}) {
            if (listener != nullptr) {
                call(*listener);
            }
        }
    }

    RunListener* m_first;
    RunListener* m_second;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_UPDATE_EVENTS_H
