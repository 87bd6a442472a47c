// Log bridge: fills the patch kernel's log component with callbacks that format
// the kernel's messages and hand them to the caller's COSUpdateLogInterface.
// Plain function pointers carry no context, so the bridge keeps its state in
// module-wide variables: one engine at a time.

#ifndef ZELMAR_NATIVE_COS_UPDATE_LOG_WRAPPER_H
#define ZELMAR_NATIVE_COS_UPDATE_LOG_WRAPPER_H

#include <cstdarg>
#include <memory>

#include "ZelmarNativeCOSUpdateApi.h"
#include "nativeCOSPatchKernel.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

// Binds `log` and writes the four callbacks into `component`. A null record
// binds nothing.
void COSUpdateLogWrapper_init(std::shared_ptr<COSUpdateLogInterface> log,
                              NATIVECOSPATCH_LOG_COMPONENT* component);
// Drops the sink and closes the bridge.
void COSUpdateLogWrapper_release();

// Callbacks of NATIVECOSPATCH_LOG_COMPONENT; only the kernel calls them.
bool _COSUpdateLogWrapper_open();
bool _COSUpdateLogWrapper_isOpened(bool* opened);
bool _COSUpdateLogWrapper_writeMessage(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const char* format,
                                       va_list args);
bool _COSUpdateLogWrapper_close();

COSUpdateLogLevel _COSUpdateLogWrapper_getCOSUpdateLogLevel(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level);

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_LOG_WRAPPER_H
