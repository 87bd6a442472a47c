// Fixed texts of the library that more than one place writes, and the log
// lines that tools read back (tools/cosupdate learns from them what the engine
// selected, ran and verified). Callers and log parsers match them exactly, so
// each lives here once. Depends on the standard library only: tools include it
// without the rest of the engine.

#ifndef ZELMAR_NATIVE_COS_UPDATE_MESSAGES_H
#define ZELMAR_NATIVE_COS_UPDATE_MESSAGES_H

#include <string>

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {
namespace Messages {

// A text with one value inside: before + value + after.
struct Framed {
    const char* before;
    const char* after;
    std::string operator()(const std::string& value) const { return before + value + after; }
};

constexpr const char kNotInitialized[] = "COSUpdate component not initialized";
constexpr const char kClearExistingMultiscript[] = "Clear existing Multiscript content ...";
constexpr const char kPlatformAlreadyRetrieved[] =
    " * SE COS Platform already retrieved (nothing to do on existing updatescript list)";
constexpr const char kUpdateAvailable[] = ">>> Update available";
constexpr const char kUnsupportedTag[] = "Unsupported COS tag)";

// What the engine's progress lines start with.
constexpr const char kManagerPrefix[] = "[COSUpdateMgr] ";

// Selection, unprefixed.
constexpr Framed kPatchSelected{"Patch <", "> matching with search constraint -> Select it"};
constexpr Framed kServiceCandidate{
    "Service <",
    "> matching with search constraint -> Execute it to check if Service was deployed"};
constexpr const char kServiceNotYetDeployed[] = "Service not yet deployed -> Select it";
constexpr const char kServiceWithoutAudit[] =
    "Service do not contains an Audit Script -> Select it";

// Execution, prefixed: kRunning(name) + kScriptType(type) + kEllipsis, or
// without the type for a script of unknown type.
constexpr Framed kLoading{"Loading <", "> script"};
constexpr Framed kRunning{"Running <", "> script"};
constexpr Framed kScriptType{" (type:", ")"};
constexpr const char kEllipsis[] = " ...";
constexpr const char kScriptResult[] = "Script execution result : ";
constexpr const char kAuditResult[] = "Audit script execution result : ";
constexpr const char kSuccess[] = "Success";
constexpr const char kFailed[] = "Failed";
constexpr const char kVersionAfterScript[] = ">>> SE COS Version after script execution : ";

// Unprefixed, after a count in decimal.
constexpr const char kScriptsDeployed[] = " script(s) deployed successfully";

}  // namespace Messages
}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_MESSAGES_H
