// The library's one door to the patch kernel. Every kernel operation the
// engine and its bridges use is called here and nowhere else, and the kernel's
// result rules are applied here once: a bool counts by its lowest bit only, a
// pointer is null on failure, a bool out-parameter is preset to false and read
// only after the call succeeded. Callers get answers in the engine's terms and
// owners that give each kernel object back exactly once.
//
// Nothing here logs or throws of its own; what the kernel logs reaches the
// caller's sink through the log bridge. Not thread-safe: the kernel's
// components are process-wide.

#ifndef ZELMAR_NATIVE_COS_UPDATE_PATCH_KERNEL_H
#define ZELMAR_NATIVE_COS_UPDATE_PATCH_KERNEL_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nativeCOSPatchKernel.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {
namespace PatchKernel {

// Give a kernel object back. The kernel may log while it frees and a log sink
// may throw: a deleter also runs during unwinding, so it lets nothing out.
struct MultiscriptFree {
    void operator()(NATIVECOSPATCH_MULTISCRIPT* multiscript) const noexcept;
};
struct ScriptFree {
    void operator()(NATIVECOSPATCH_SCRIPT* script) const noexcept;
};
struct AuditScriptFree {
    void operator()(NATIVECOSPATCH_AUDIT_SCRIPT* script) const noexcept;
};

using MultiscriptOwner = std::unique_ptr<NATIVECOSPATCH_MULTISCRIPT, MultiscriptFree>;
using ScriptOwner = std::unique_ptr<NATIVECOSPATCH_SCRIPT, ScriptFree>;
using AuditScriptOwner = std::unique_ptr<NATIVECOSPATCH_AUDIT_SCRIPT, AuditScriptFree>;

// Content the kernel read into a byte array: given back to the kernel when the
// owner ends, unless release() leaves it to the kernel.
class ByteArrayContent {
  public:
    ByteArrayContent() = default;
    ~ByteArrayContent();
    ByteArrayContent(const ByteArrayContent&) = delete;
    ByteArrayContent& operator=(const ByteArrayContent&) = delete;

    const uint8_t* data() const { return m_record.data; }
    uint16_t size() const { return m_record.size; }
    void release() { m_record = NATIVECOSPATCH_BYTE_ARRAY{}; }

  private:
    friend bool readCOSData(NATIVECOSPATCH_COS_DATA_TYPE type, ByteArrayContent& content);
    NATIVECOSPATCH_BYTE_ARRAY m_record{};
};

// Components. The kernel's answer is returned only where the engine uses it.
void initMemory();
void cleanupMemory();
// `component` is a temporary: the kernel copies it.
bool initLogManager(NATIVECOSPATCH_LOG_COMPONENT& component);
bool openLogManager();
// True only when the kernel answered and said so.
bool isLogManagerInitialized();
void cleanupLogManager();
void initSEContext();
void cleanupSEContext();

// SE media manager, served by the SE media bridge's callbacks. The optional
// answers are empty when the kernel could not tell.
bool initSEMediaManager(NATIVECOSPATCH_SEMEDIA_COMPONENT& component);
void cleanupSEMediaManager();
std::optional<bool> isSEMediaManagerInitialized();
std::optional<bool> isSEMediaStarted();
bool startSEMedia();
bool stopSEMedia();

// SE context. The kernel keeps its own copy of an AID.
bool updateCOSTagAID(NATIVECOSPATCH_COS_DATA_TYPE type, std::vector<uint8_t>& aid);
// The size of the AID registered for `type`, 0 when none is; empty on failure.
std::optional<uint16_t> getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE type);
std::optional<std::string> readCOSPlatformId();
std::optional<std::string> readCOSCustomerId();
// The kernel writes `version` itself, and may do so even when it fails.
bool readCOSVersion(uint16_t& version);
// On success `content` owns what was read; on failure it is left untouched.
bool readCOSData(NATIVECOSPATCH_COS_DATA_TYPE type, ByteArrayContent& content);

// Update files and their scripts. Records found in a multiscript are borrowed
// from it and die with it.
MultiscriptOwner loadMultiscript(const std::string& xml);
std::optional<bool> isScriptWithNameExist(NATIVECOSPATCH_MULTISCRIPT* multiscript,
                                          const char* name);
std::optional<bool> isAuditScriptWithNameExist(NATIVECOSPATCH_MULTISCRIPT* multiscript,
                                               const char* name);
const NATIVECOSPATCH_MULTISCRIPT__SCRIPT* selectRefScript(NATIVECOSPATCH_MULTISCRIPT* multiscript,
                                                          const char* name);
const NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT* selectRefAuditScript(
    NATIVECOSPATCH_MULTISCRIPT* multiscript, const char* name);
ScriptOwner loadScript(const char* xml);
bool isConsistent(NATIVECOSPATCH_SCRIPT* script);
bool executeScript(NATIVECOSPATCH_SCRIPT* script);
AuditScriptOwner loadAuditScript(const char* xml);
// The audit's verdict: true when its checks pass on the chip.
bool executeAuditScript(NATIVECOSPATCH_AUDIT_SCRIPT* script);

}  // namespace PatchKernel
}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_PATCH_KERNEL_H
