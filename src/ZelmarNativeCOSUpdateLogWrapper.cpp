#include "ZelmarNativeCOSUpdateLogWrapper.h"

#include <android-base/logging.h>

#include <cstdio>
#include <string>

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

namespace {

std::shared_ptr<COSUpdateLogInterface> g_logInterface;
bool g_logOpened = false;
// Messages are formatted here, never on the heap: the kernel may log on every APDU.
char g_logMessageBuffer[512];

}  // namespace

void COSUpdateLogWrapper_init(std::shared_ptr<COSUpdateLogInterface> log,
                              NATIVECOSPATCH_LOG_COMPONENT* component) {
    if (component == nullptr) {
        return;
    }
    g_logInterface = std::move(log);
    component->open = _COSUpdateLogWrapper_open;
    component->isOpened = _COSUpdateLogWrapper_isOpened;
    component->writeMessage = _COSUpdateLogWrapper_writeMessage;
    component->close = _COSUpdateLogWrapper_close;
}

void COSUpdateLogWrapper_release() {
    if (g_logInterface) {
        g_logOpened = false;
        g_logInterface.reset();
    }
}

bool _COSUpdateLogWrapper_open() {
    // Straight to the platform log: the sink may not be usable while the kernel
    // is still opening its log component.
    LOG(INFO) << "pimwick: log wrapper open++";
    bool result = false;
    if (!g_logOpened && g_logInterface) {
        g_logOpened = true;
        result = true;
    }
    LOG(INFO) << "pimwick: log wrapper open--";
    return result;
}

bool _COSUpdateLogWrapper_isOpened(bool* opened) {
    if (opened == nullptr) {
        return false;
    }
    *opened = g_logOpened;
    return true;
}

bool _COSUpdateLogWrapper_writeMessage(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const char* format,
                                       va_list args) {
    if (!g_logOpened || !g_logInterface || format == nullptr) {
        return false;
    }
    va_list copy;
    va_copy(copy, args);
    // One less than the buffer: at most 510 characters are kept, always terminated.
    const int length = vsnprintf(g_logMessageBuffer, sizeof(g_logMessageBuffer) - 1, format, copy);
    va_end(copy);
    if (length > 0) {
        g_logInterface->writeLogMessage(_COSUpdateLogWrapper_getCOSUpdateLogLevel(level),
                                        std::string(g_logMessageBuffer));
    }
    // The kernel is told false even when the line was delivered; it ignores the
    // result and has always been given false here.
    return false;
}

bool _COSUpdateLogWrapper_close() {
    return false;
}

COSUpdateLogLevel _COSUpdateLogWrapper_getCOSUpdateLogLevel(
    NATIVECOSPATCH_LOG_MESSAGE_LEVEL level) {
    switch (level) {
        case NATIVECOSPATCH_LOG_MESSAGE_LEVEL_VERBOSE:
            return COSUPDATE_LOG_VERBOSE;
        case NATIVECOSPATCH_LOG_MESSAGE_LEVEL_DEBUG:
            return COSUPDATE_LOG_DEBUG;
        case NATIVECOSPATCH_LOG_MESSAGE_LEVEL_INFO:
            return COSUPDATE_LOG_INFO;
        case NATIVECOSPATCH_LOG_MESSAGE_LEVEL_WARNING:
            return COSUPDATE_LOG_WARNING;
        case NATIVECOSPATCH_LOG_MESSAGE_LEVEL_ERROR:
            return COSUPDATE_LOG_ERROR;
    }
    return COSUPDATE_LOG_DEBUG;
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
