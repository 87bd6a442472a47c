// Log manager: the caller's log callbacks, copied at registration, and the
// printf-style helper every part of the kernel writes through.

#ifndef SIMKERNEL_LOG_H
#define SIMKERNEL_LOG_H

#include <cstdarg>
#include <cstddef>
#include <optional>
#include <string>

#include "KernelApi.h"
#include "cosupdate/apdu/Bytes.h"

namespace simkernel {

using LogLevel = NATIVECOSPATCH_LOG_MESSAGE_LEVEL;
constexpr LogLevel kVerbose = NATIVECOSPATCH_LOG_MESSAGE_LEVEL_VERBOSE;
constexpr LogLevel kDebug = NATIVECOSPATCH_LOG_MESSAGE_LEVEL_DEBUG;
constexpr LogLevel kInfo = NATIVECOSPATCH_LOG_MESSAGE_LEVEL_INFO;
constexpr LogLevel kWarning = NATIVECOSPATCH_LOG_MESSAGE_LEVEL_WARNING;
constexpr LogLevel kError = NATIVECOSPATCH_LOG_MESSAGE_LEVEL_ERROR;

class LogManager {
  public:
    static LogManager& instance();

    void install(const NATIVECOSPATCH_LOG_COMPONENT& component) { m_component = component; }
    bool isInstalled() const { return m_component.has_value(); }
    // Both return false when no component is registered.
    bool open();
    bool cleanup();

    void write(LogLevel level, const char* format, va_list args);

  private:
    std::optional<NATIVECOSPATCH_LOG_COMPONENT> m_component;
};

// Writes one line through the registered component, if any. The callback's
// result says nothing reliable about delivery and is ignored.
void logLine(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Hex of at most `limit` bytes of `bytes`, for a line that must stay short;
// a longer string ends in "..(N bytes)".
std::string hexForLog(const cosupdate::apdu::Bytes& bytes, size_t limit);

}  // namespace simkernel

#endif  // SIMKERNEL_LOG_H
