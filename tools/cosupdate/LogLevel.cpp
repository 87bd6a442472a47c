#include "LogLevel.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "Errors.h"

namespace cosupdate::cli {

namespace {

constexpr std::array<std::pair<const char*, api::COSUpdateLogLevel>, 6> kNames{{
    {"verbose", api::COSUPDATE_LOG_VERBOSE},
    {"debug", api::COSUPDATE_LOG_DEBUG},
    {"info", api::COSUPDATE_LOG_INFO},
    {"warning", api::COSUPDATE_LOG_WARNING},
    {"warn", api::COSUPDATE_LOG_WARNING},
    {"error", api::COSUPDATE_LOG_ERROR},
}};

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace

api::COSUpdateLogLevel parseLogLevel(const std::string& text) {
    const std::string name = lowerCase(text);
    for (const auto& [levelName, level] : kNames) {
        if (name == levelName) {
            return level;
        }
    }
    if (name.size() == 1 && name[0] >= '0' && name[0] <= '4') {
        return static_cast<api::COSUpdateLogLevel>(name[0] - '0');
    }
    throw UsageError("--log-level: '" + text +
                     "' is not a level (verbose, debug, info, warning, error or 0-4)");
}

std::string logLevelName(api::COSUpdateLogLevel level) {
    for (const auto& [levelName, value] : kNames) {
        if (value == level) {
            return levelName;
        }
    }
    return "level " + std::to_string(static_cast<int>(level));
}

}  // namespace cosupdate::cli
