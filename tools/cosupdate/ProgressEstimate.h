// How far an update has come, when its total of exchanges is known rather
// than guessed: from a replayed trace (the transport knows the exchanges left)
// or from an earlier run of the same file from the same chip state, as the
// update history holds it. Without such a total there is no percent and no
// time left, only the count.

#ifndef COSUPDATE_CLI_PROGRESS_ESTIMATE_H
#define COSUPDATE_CLI_PROGRESS_ESTIMATE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace cosupdate::cli {

struct ExpectedApdus {
    uint64_t count = 0;
    std::string source;  // "transport" or "history"
};

struct Estimate {
    std::optional<int> percent;  // 0 to 100, whole
    std::optional<int64_t> etaMs;
};

// After `done` exchanges in `elapsed`: the percent of `expected`, and the time
// left at the pace so far. Both are unknown without a total, and once the run
// has gone past it (the total no longer holds); the time left is unknown
// before the first exchange.
Estimate estimate(uint64_t done, std::chrono::steady_clock::duration elapsed,
                  std::optional<uint64_t> expected);

// Which exchanges get a progress event: the first of a run, each one that
// moves the whole percent (at most 101 a run), and otherwise one at most every
// kInterval. A run of under a hundred exchanges with a known total so gets an
// event per exchange; a long one about ten a second.
class ProgressThrottle {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kInterval{100};

    // Whether the exchange that led to `estimate` at `now` gets an event.
    bool due(const Estimate& estimate, Clock::time_point now);

  private:
    std::optional<Clock::time_point> m_last;
    std::optional<int> m_lastPercent;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_PROGRESS_ESTIMATE_H
