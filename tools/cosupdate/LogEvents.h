// What the tool learns from the library's log lines: which script the engine
// selected, which one it runs, how that went and what the chip's COS version
// became. The library reports these only through its log sink.

#ifndef COSUPDATE_CLI_LOG_EVENTS_H
#define COSUPDATE_CLI_LOG_EVENTS_H

#include <cstdint>
#include <optional>
#include <string>

namespace cosupdate::cli {

struct LogEvent {
    enum class Kind {
        PatchSelected,     // "Patch <name> matching with search constraint -> Select it"
        ServiceCandidate,  // "Service <name> matching ... -> Execute it to check ..."
        ServiceSelected,   // the candidate Service is not deployed yet: selected
        ScriptRunning,     // "[COSUpdateMgr] Running <name> script (type:T) ..."
        ScriptResult,      // "[COSUpdateMgr] Script execution result : Success|Failed"
        VersionAfter,      // "[COSUpdateMgr] >>> SE COS Version after script execution : N"
        DeployedCount,     // "N script(s) deployed successfully"
    };

    Kind kind;
    std::string name;      // ScriptRunning, PatchSelected, ServiceCandidate
    std::string type;      // ScriptRunning: "Patch", "Service", "" when not given
    bool success = false;  // ScriptResult
    uint32_t number = 0;   // VersionAfter, DeployedCount
};

// The event a line of the library's log stands for, if any.
std::optional<LogEvent> parseLogEvent(const std::string& message);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_LOG_EVENTS_H
