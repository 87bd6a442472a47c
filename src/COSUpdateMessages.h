// Texts that more than one operation of the engine writes or throws. Callers
// and log parsers match them exactly.

#ifndef ZELMAR_NATIVE_COS_UPDATE_MESSAGES_H
#define ZELMAR_NATIVE_COS_UPDATE_MESSAGES_H

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {
namespace Messages {

constexpr const char kNotInitialized[] = "COSUpdate component not initialized";
constexpr const char kClearExistingMultiscript[] = "Clear existing Multiscript content ...";
constexpr const char kPlatformAlreadyRetrieved[] =
    " * SE COS Platform already retrieved (nothing to do on existing updatescript list)";
constexpr const char kUpdateAvailable[] = ">>> Update available";
constexpr const char kUnsupportedTag[] = "Unsupported COS tag)";
constexpr const char kSuccess[] = "Success";
constexpr const char kFailed[] = "Failed";

}  // namespace Messages
}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_MESSAGES_H
