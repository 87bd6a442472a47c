#include "EngineLog.h"

#include "LogLevel.h"
#include "Sanitize.h"

namespace cosupdate::cli {

void EngineLog::writeLogMessage(api::COSUpdateLogLevel level, const std::string& message) {
    // Tracked whatever the level filter says: the filter is for people, the
    // tool needs every line to know what the engine did.
    m_tracker.logged(level, message);
    if (level < m_options.minimum) {
        return;
    }
    if (m_options.show) {
        m_console.line("[" + logLevelName(level) + "] " + message);
    }
    if (m_options.androidLog) {
        // On a host the Android log is stderr too: keep it off the status line.
        m_console.clearStatus();
        api::COSUpdateLogInterface::writeLogMessage(level, sanitize(message));
    }
}

}  // namespace cosupdate::cli
