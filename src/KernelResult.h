// How the engine reads the patch kernel's results, and owners for the objects
// the kernel hands out.

#ifndef ZELMAR_NATIVE_COS_UPDATE_KERNEL_RESULT_H
#define ZELMAR_NATIVE_COS_UPDATE_KERNEL_RESULT_H

#include <cstring>
#include <memory>
#include <string>

#include "nativeCOSPatchKernel.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

// The kernel's bool results count by their lowest bit only.
inline bool kernelSucceeded(bool result) {
    unsigned char bits;
    std::memcpy(&bits, &result, sizeof(bits));
    return (bits & 1u) != 0;
}

// Text the kernel wrote into a caller's buffer: up to the first NUL, never past
// the buffer even if the kernel forgot the NUL.
inline std::string kernelText(const char* buffer, size_t capacity) {
    return std::string(buffer, strnlen(buffer, capacity));
}

// The kernel may log while it frees, and a log sink may throw: a deleter runs
// during unwinding too, so it must not let that through.
template <typename Record, bool (*Free)(Record*)>
struct KernelDeleter {
    void operator()(Record* record) const noexcept {
        try {
            Free(record);
        } catch (...) {
        }
    }
};

// Each owner frees its kernel object exactly once, on every path.
using MultiscriptOwner = std::unique_ptr<
    NATIVECOSPATCH_MULTISCRIPT,
    KernelDeleter<NATIVECOSPATCH_MULTISCRIPT, nativeCOSPatch_multiscriptManager_freeMultiscript>>;
using ScriptOwner =
    std::unique_ptr<NATIVECOSPATCH_SCRIPT,
                    KernelDeleter<NATIVECOSPATCH_SCRIPT, nativeCOSPatch_scriptManager_freeScript>>;
using AuditScriptOwner = std::unique_ptr<
    NATIVECOSPATCH_AUDIT_SCRIPT,
    KernelDeleter<NATIVECOSPATCH_AUDIT_SCRIPT, nativeCOSPatch_auditScriptManager_freeAuditScript>>;

// Gives a byte array's content back to the kernel when the scope ends, unless
// released first.
class ByteArrayContentGuard {
  public:
    explicit ByteArrayContentGuard(NATIVECOSPATCH_BYTE_ARRAY* array) : m_array(array) {}
    ~ByteArrayContentGuard() {
        if (m_array != nullptr && m_array->data != nullptr) {
            KernelDeleter<NATIVECOSPATCH_BYTE_ARRAY, nativeCOSPatch_byteArray_freeContent>()(
                m_array);
        }
    }
    ByteArrayContentGuard(const ByteArrayContentGuard&) = delete;
    ByteArrayContentGuard& operator=(const ByteArrayContentGuard&) = delete;

    void release() { m_array = nullptr; }

  private:
    NATIVECOSPATCH_BYTE_ARRAY* m_array;
};

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_KERNEL_RESULT_H
