#include "Log.h"
#include "Script.h"
#include "SeMedia.h"
#include "cosupdate/apdu/StatusWords.h"

namespace simkernel {

namespace {

using cosupdate::apdu::dataOf;
using cosupdate::apdu::statusWordOf;

// Enough of an answer for a mismatch to be recognised in the log.
constexpr size_t kLoggedBytes = 32;

enum class Outcome { Continue, Done, Mismatch };

bool anyMatches(const std::vector<StatusWordPattern>& patterns, uint16_t statusWord) {
    for (const StatusWordPattern& pattern : patterns) {
        if (pattern.matches(statusWord)) {
            return true;
        }
    }
    return false;
}

bool dataMatches(const Step& step, const Bytes& data) {
    if (data.size() != step.data->size()) {
        return false;
    }
    for (size_t i = 0; i < data.size(); ++i) {
        if (((data[i] ^ (*step.data)[i]) & step.mask[i]) != 0) {
            return false;
        }
    }
    return true;
}

class StepRunner {
  public:
    explicit StepRunner(ScriptKind kind)
        : m_name(scriptKindName(kind)),
          // An audit that finds a service missing has answered its question;
          // an update script that does not get what it expects has failed.
          m_mismatchLevel(kind == ScriptKind::Update ? kError : kInfo),
          m_failureLevel(kind == ScriptKind::Update ? kError : kWarning) {}

    bool run(const Steps& steps) {
        if (const std::optional<std::string> fault = findInconsistency(steps)) {
            logLine(kError, "%s not run, inconsistent: %s", m_name, fault->c_str());
            return false;
        }
        logLine(kInfo, "running %s: %zu step(s)", m_name, steps.size());
        ConnectionGuard connection;
        for (const Step& step : steps) {
            if (step.kind == StepKind::Close) {
                SeMediaManager::instance().closeIfConnected();
                continue;
            }
            const std::optional<Bytes> answer = exchange(step);
            if (!answer) {
                logLine(m_failureLevel, "%s, line %d: exchange failed", m_name, step.line);
                return false;
            }
            const Outcome outcome = judge(step, *answer);
            if (outcome == Outcome::Mismatch) {
                return false;
            }
            if (outcome == Outcome::Done) {
                logLine(kInfo, "%s, line %d: status word %04X, already done: script ends", m_name,
                        step.line, statusWordOf(*answer));
                return true;
            }
        }
        logLine(kInfo, "%s completed", m_name);
        return true;
    }

  private:
    static std::optional<Bytes> exchange(const Step& step) {
        SeMediaManager& media = SeMediaManager::instance();
        return step.kind == StepKind::Open ? media.open(step.bytes) : media.transmit(step.bytes);
    }

    Outcome judge(const Step& step, const Bytes& answer) const {
        const uint16_t statusWord = statusWordOf(answer);
        if (anyMatches(step.done, statusWord)) {
            return Outcome::Done;
        }
        if (!anyMatches(step.expected, statusWord)) {
            logLine(m_mismatchLevel, "%s, line %d: unexpected status word %04X", m_name, step.line,
                    statusWord);
            return Outcome::Mismatch;
        }
        if (step.data && !dataMatches(step, dataOf(answer))) {
            logLine(m_mismatchLevel, "%s, line %d: answer data %s does not match %s (mask %s)",
                    m_name, step.line, hexForLog(dataOf(answer), kLoggedBytes).c_str(),
                    hexForLog(*step.data, kLoggedBytes).c_str(),
                    hexForLog(step.mask, kLoggedBytes).c_str());
            return Outcome::Mismatch;
        }
        return Outcome::Continue;
    }

    const char* m_name;
    LogLevel m_mismatchLevel;
    LogLevel m_failureLevel;
};

}  // namespace

bool runSteps(const Steps& steps, ScriptKind kind) {
    return StepRunner(kind).run(steps);
}

}  // namespace simkernel
