// SE media bridge: the seven callbacks through which the patch kernel reaches
// the secure element, turned into calls on the caller's transport. The bridge
// owns the "started" notion of the SE media; starting and stopping never reach
// the transport. Module-wide state, one engine at a time.

#ifndef ZELMAR_NATIVE_COS_UPDATE_SEMEDIA_WRAPPER_H
#define ZELMAR_NATIVE_COS_UPDATE_SEMEDIA_WRAPPER_H

#include <cstdint>
#include <memory>
#include <string>

#include "ZelmarNativeCOSUpdateApi.h"
#include "nativeCOSPatchKernel.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

// Registers the callbacks with the kernel and binds `seMedia` once the kernel
// accepted them. Throws "Invalid SEMedia" or "Unable to initialize SEMedia
// Wrapper". The started flag is left as it is.
void COSUpdateSEMediaWrapper_init(std::shared_ptr<COSUpdateLogInterface> log,
                                  std::shared_ptr<COSUpdateSEMediaInterface> seMedia);
// Cleans up the kernel's SE media component and drops both references. The
// started flag survives, on purpose.
void COSUpdateSEMediaWrapper_release();

// Callbacks of NATIVECOSPATCH_SEMEDIA_COMPONENT; only the kernel calls them.
bool _COSUpdateSEMediaWrapper_start();
bool _COSUpdateSEMediaWrapper_isStarted(bool* started);
bool _COSUpdateSEMediaWrapper_openConnection(uint8_t* aid, uint16_t aidLength, uint8_t* response,
                                             uint16_t responseMax, uint16_t* responseLength);
bool _COSUpdateSEMediaWrapper_isConnected(bool* connected);
bool _COSUpdateSEMediaWrapper_transmitApdu(uint8_t* command, uint16_t commandLength,
                                           uint8_t* response, uint16_t responseMax,
                                           uint16_t* responseLength);
bool _COSUpdateSEMediaWrapper_closeConnection();
bool _COSUpdateSEMediaWrapper_stop();

// Writes "[COSUpdateLib] " + message to the bound sink, if any. Never throws.
void _COSUpdateSEMediaWrapper_writeLogMessage(COSUpdateLogLevel level, const std::string& message);

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_SEMEDIA_WRAPPER_H
