// The Android platform log (libbase's LOG). On a Linux host it writes to
// stderr, where the library's own platform-log lines would clutter the tool's
// output; the tool keeps them only when asked for the Android log, and then
// only from the level asked for.

#ifndef COSUPDATE_CLI_PLATFORM_LOG_H
#define COSUPDATE_CLI_PLATFORM_LOG_H

#include "EngineLog.h"

namespace cosupdate::cli {

// On Android the platform log is logcat: only its level is set there.
void keepPlatformLog(const LogOptions& options);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_PLATFORM_LOG_H
