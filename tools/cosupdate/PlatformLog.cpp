#include "PlatformLog.h"

#include <android-base/logging.h>

namespace cosupdate::cli {

void keepPlatformLog(bool keep) {
#if defined(__ANDROID__)
    (void)keep;
#else
    if (!keep) {
        android::base::SetLogger([](android::base::LogId, android::base::LogSeverity, const char*,
                                    const char*, unsigned int, const char*) {});
    }
#endif
}

}  // namespace cosupdate::cli
