#include "PlatformLog.h"

#include <android-base/logging.h>

namespace cosupdate::cli {

namespace {

// The library's default sink writes warnings and errors at ERROR and every
// lower level at INFO, and its log bridge writes two lines of its own at INFO:
// from --log-level warning up, only ERROR lines are wanted.
android::base::LogSeverity platformMinimum(api::COSUpdateLogLevel minimum) {
    return minimum >= api::COSUPDATE_LOG_WARNING ? android::base::ERROR : android::base::INFO;
}

}  // namespace

void keepPlatformLog(const LogOptions& options) {
    if (options.androidLog) {
        android::base::SetMinimumLogSeverity(platformMinimum(options.minimum));
        return;
    }
#if !defined(__ANDROID__)
    android::base::SetLogger([](android::base::LogId, android::base::LogSeverity, const char*,
                                const char*, unsigned int, const char*) {});
#endif
}

}  // namespace cosupdate::cli
