// The public API's out-of-line members: the exception, the default log sink
// and the factory. The default sink lives in this file because the platform log
// names the engine's source file as the origin of every line.

#include <android-base/logging.h>

#include "ZelmarNativeCOSUpdate.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

namespace {
constexpr const char kPlatformLogPrefix[] = "eSE upgrade:";
}  // namespace

COSUpdateException::COSUpdateException(const std::string& message)
    : std::runtime_error(message.c_str()) {}

COSUpdateLogInterface::COSUpdateLogInterface() {}

COSUpdateLogInterface::~COSUpdateLogInterface() {}

void COSUpdateLogInterface::writeLogMessage(COSUpdateLogLevel level, const std::string& message) {
    // The two lowest levels go out at INFO and warnings as errors: the platform
    // drops VERBOSE and DEBUG on user builds, and field reports need these lines.
    switch (level) {
        case COSUPDATE_LOG_VERBOSE:
        case COSUPDATE_LOG_DEBUG:
        case COSUPDATE_LOG_INFO:
            LOG(INFO) << kPlatformLogPrefix << message;
            break;
        case COSUPDATE_LOG_WARNING:
        case COSUPDATE_LOG_ERROR:
            LOG(ERROR) << kPlatformLogPrefix << message;
            break;
    }
}

std::unique_ptr<COSUpdateInterface> COSUpdateFactory::create(
    std::shared_ptr<COSUpdateLogInterface> log) {
    return std::make_unique<COSUpdate>(std::move(log));
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
