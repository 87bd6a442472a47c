#include "ProgressEstimate.h"

namespace cosupdate::cli {

Estimate estimate(uint64_t done, std::chrono::steady_clock::duration elapsed,
                  std::optional<uint64_t> expected) {
    if (!expected || *expected == 0 || done > *expected) {
        return {};
    }
    Estimate result;
    result.percent = static_cast<int>(done * 100 / *expected);
    if (done > 0) {
        const double ms = std::chrono::duration<double, std::milli>(elapsed).count();
        const double perExchange = ms / static_cast<double>(done);
        result.etaMs =
            static_cast<int64_t>(perExchange * static_cast<double>(*expected - done) + 0.5);
    }
    return result;
}

bool ProgressThrottle::due(const Estimate& estimate, Clock::time_point now) {
    const bool first = !m_last;
    const bool moved = estimate.percent != m_lastPercent;
    if (!first && !moved && now - *m_last < kInterval) {
        return false;
    }
    m_last = now;
    m_lastPercent = estimate.percent;
    return true;
}

}  // namespace cosupdate::cli
