// What the tool learns from the library's log lines: which script the engine
// selected, which one it runs, how that went and what the chip's COS version
// became. The library reports these only through its log sink; the texts are
// the library's own (COSUpdateMessages.h), named after them below.

#ifndef COSUPDATE_CLI_LOG_EVENTS_H
#define COSUPDATE_CLI_LOG_EVENTS_H

#include <cstdint>
#include <optional>
#include <string>

namespace cosupdate::cli {

struct LogEvent {
    enum class Kind {
        PatchSelected,     // kPatchSelected
        ServiceCandidate,  // kServiceCandidate
        ServiceSelected,   // kServiceNotYetDeployed or kServiceWithoutAudit
        ScriptRunning,     // kManagerPrefix + kRunning [+ kScriptType] + kEllipsis
        ScriptResult,      // kManagerPrefix + kScriptResult + kSuccess or kFailed
        VersionAfter,      // kManagerPrefix + kVersionAfterScript + N
        DeployedCount,     // N + kScriptsDeployed
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
