#include "Latency.h"

#include <thread>

namespace cosupdate::sim {

namespace {
// Sleeps are left this much early; the rest is spun.
constexpr std::chrono::microseconds kSpinMargin{200};
}  // namespace

void waitPrecisely(std::chrono::nanoseconds duration) {
    if (duration <= std::chrono::nanoseconds::zero()) {
        return;
    }
    const auto deadline = std::chrono::steady_clock::now() + duration;
    if (duration > kSpinMargin) {
        std::this_thread::sleep_for(duration - kSpinMargin);
    }
    while (std::chrono::steady_clock::now() < deadline) {
    }
}

}  // namespace cosupdate::sim
