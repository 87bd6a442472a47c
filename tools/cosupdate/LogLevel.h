// The library's log levels by name, for --log-level and the lines --verbose
// prints.

#ifndef COSUPDATE_CLI_LOG_LEVEL_H
#define COSUPDATE_CLI_LOG_LEVEL_H

#include <string>

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::cli {

namespace api = Zelmar::Device::COS::V1_0;

// "verbose", "debug", "info", "warning" (or "warn"), "error", any case, or the
// level's number 0 to 4. Throws UsageError otherwise.
api::COSUpdateLogLevel parseLogLevel(const std::string& text);

// "verbose" ... "error"; "level N" for a value outside the enumeration.
std::string logLevelName(api::COSUpdateLogLevel level);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_LOG_LEVEL_H
