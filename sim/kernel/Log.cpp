#include "Log.h"

#include <string>

#include "cosupdate/apdu/Hex.h"

namespace simkernel {

namespace {
constexpr char kPrefix[] = "[SimKernel] ";
}  // namespace

LogManager& LogManager::instance() {
    static LogManager manager;
    return manager;
}

bool LogManager::open() {
    return m_component && m_component->open != nullptr && m_component->open();
}

bool LogManager::cleanup() {
    if (!m_component) {
        return false;
    }
    const NATIVECOSPATCH_LOG_COMPONENT component = *m_component;
    m_component.reset();
    if (component.close != nullptr) {
        component.close();
    }
    return true;
}

void LogManager::write(LogLevel level, const char* format, va_list args) {
    if (!m_component || m_component->writeMessage == nullptr) {
        return;
    }
    const std::string prefixed = std::string(kPrefix) + format;
    va_list copy;
    va_copy(copy, args);
    m_component->writeMessage(level, prefixed.c_str(), copy);
    va_end(copy);
}

void logLine(LogLevel level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    LogManager::instance().write(level, format, args);
    va_end(args);
}

std::string hexForLog(const cosupdate::apdu::Bytes& bytes, size_t limit) {
    if (bytes.size() <= limit) {
        return cosupdate::apdu::encodeHex(bytes);
    }
    return cosupdate::apdu::encodeHex(bytes.data(), limit) + "..(" + std::to_string(bytes.size()) +
           " bytes)";
}

}  // namespace simkernel
