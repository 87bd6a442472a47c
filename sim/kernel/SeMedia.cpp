#include "SeMedia.h"

#include <limits>

#include "Log.h"
#include "cosupdate/apdu/Hex.h"
#include "cosupdate/apdu/StatusWords.h"

namespace simkernel {

namespace {

using cosupdate::apdu::encodeHex;
using cosupdate::apdu::kStatusWordSize;

// The transport may answer with anything up to an extended APDU's worth.
constexpr uint16_t kAnswerCapacity = std::numeric_limits<uint16_t>::max();
// Enough of an APDU for a log line to be useful.
constexpr size_t kLoggedBytes = 48;

bool hasEveryCallback(const NATIVECOSPATCH_SEMEDIA_COMPONENT& c) {
    return c.start != nullptr && c.isStarted != nullptr && c.openConnection != nullptr &&
           c.isConnected != nullptr && c.transmitApdu != nullptr && c.closeConnection != nullptr &&
           c.stop != nullptr;
}

}  // namespace

SeMediaManager& SeMediaManager::instance() {
    static SeMediaManager manager;
    return manager;
}

bool SeMediaManager::install(const NATIVECOSPATCH_SEMEDIA_COMPONENT& component) {
    if (!hasEveryCallback(component)) {
        logLine(kError, "SE media: component lacks a callback, not registered");
        return false;
    }
    m_component = component;
    m_answer.resize(kAnswerCapacity);
    return true;
}

bool SeMediaManager::drop() {
    const bool had = m_component.has_value();
    m_component.reset();
    return had;
}

bool SeMediaManager::start() {
    return m_component && m_component->start();
}

bool SeMediaManager::isStarted(bool* started) {
    if (!m_component || started == nullptr) {
        return false;
    }
    bool value = false;
    if (!m_component->isStarted(&value)) {
        return false;
    }
    *started = value;
    return true;
}

bool SeMediaManager::stop() {
    return m_component && m_component->stop();
}

std::optional<Bytes> SeMediaManager::open(const Bytes& aid) {
    if (!m_component) {
        logLine(kError, "SE media: no component registered");
        return std::nullopt;
    }
    Bytes aidCopy = aid;
    uint16_t length = 0;
    logLine(kVerbose, "SE media: open %s", encodeHex(aid).c_str());
    if (!m_component->openConnection(aidCopy.data(), static_cast<uint16_t>(aidCopy.size()),
                                     m_answer.data(), kAnswerCapacity, &length) ||
        length < kStatusWordSize) {
        logLine(kWarning, "SE media: no connection to %s", encodeHex(aid).c_str());
        return std::nullopt;
    }
    Bytes answer(m_answer.begin(), m_answer.begin() + length);
    logLine(kVerbose, "SE media: < %s", hexForLog(answer, kLoggedBytes).c_str());
    return answer;
}

std::optional<Bytes> SeMediaManager::transmit(const Bytes& command) {
    if (!m_component) {
        logLine(kError, "SE media: no component registered");
        return std::nullopt;
    }
    Bytes commandCopy = command;
    uint16_t length = 0;
    logLine(kVerbose, "SE media: > %s", hexForLog(command, kLoggedBytes).c_str());
    if (!m_component->transmitApdu(commandCopy.data(), static_cast<uint16_t>(commandCopy.size()),
                                   m_answer.data(), kAnswerCapacity, &length) ||
        length < kStatusWordSize) {
        logLine(kWarning, "SE media: exchange failed");
        return std::nullopt;
    }
    Bytes answer(m_answer.begin(), m_answer.begin() + length);
    logLine(kVerbose, "SE media: < %s", hexForLog(answer, kLoggedBytes).c_str());
    return answer;
}

void SeMediaManager::closeIfConnected() {
    if (!m_component) {
        return;
    }
    bool connected = false;
    if (m_component->isConnected(&connected) && connected) {
        m_component->closeConnection();
    }
}

ConnectionGuard::~ConnectionGuard() {
    try {
        SeMediaManager::instance().closeIfConnected();
    } catch (...) {
        // Unwinding already, or the transport failed to close: either way the
        // caller has its answer.
    }
}

}  // namespace simkernel
