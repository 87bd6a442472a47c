// The Android platform log (libbase's LOG). On a Linux host it writes to
// stderr, where the library's own platform-log lines would clutter the tool's
// output; the tool keeps them only when asked for the Android log.

#ifndef COSUPDATE_CLI_PLATFORM_LOG_H
#define COSUPDATE_CLI_PLATFORM_LOG_H

namespace cosupdate::cli {

// On Android the platform log is logcat and is left alone.
void keepPlatformLog(bool keep);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_PLATFORM_LOG_H
