#include "ZelmarNativeCOSUpdateSEMediaControl.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

COSUpdate::SEMediaUse::SEMediaUse(COSUpdate& engine, Failure failure)
    : m_engine(engine), m_failure(std::move(failure)) {}

void COSUpdate::SEMediaUse::run(const std::function<void()>& work) {
    guard([&] {
        start();
        work();
        stop();
    });
}

void COSUpdate::SEMediaUse::guard(const std::function<void()>& work) {
    try {
        work();
    } catch (const COSUpdateException& e) {
        m_engine._writeLogMessage(COSUPDATE_LOG_WARNING, m_failure.line + e.what());
        stop();
        throw;
    } catch (...) {
        if (m_failure.otherMessage == nullptr) {
            throw;
        }
        m_engine._writeLogMessage(COSUPDATE_LOG_WARNING, m_failure.otherLine);
        stop();
        throw COSUpdateException(m_failure.otherMessage);
    }
}

void COSUpdate::SEMediaUse::start() {
    m_engine._writeLogMessage(COSUPDATE_LOG_VERBOSE,
                              "++ COSUpdate::_startLocallySEMediaIfNotYetStarted()");
    m_engine._writeLogMessage(COSUPDATE_LOG_DEBUG, " * Checking SEMedia status ...");
    const std::optional<bool> started = PatchKernel::isSEMediaStarted();
    if (!started) {
        throw COSUpdateException("Unable to retrieve SEMedia status");
    }
    if (!*started) {
        m_engine._writeLogMessage(COSUPDATE_LOG_DEBUG, " * Starting SEMedia ...");
        if (!PatchKernel::startSEMedia()) {
            throw COSUpdateException("Unable to start SEMedia");
        }
        // Owed from this instant: should the line below throw, the handler
        // must still stop what was started here.
        m_stopOwed = true;
        m_engine._writeLogMessage(COSUPDATE_LOG_DEBUG, " >>> SEMedia started");
    }
    m_engine._writeLogMessage(COSUPDATE_LOG_VERBOSE,
                              "-- COSUpdate::_startLocallySEMediaIfNotYetStarted()");
}

void COSUpdate::SEMediaUse::stop() {
    m_engine._writeLogMessage(COSUPDATE_LOG_VERBOSE,
                              "++ COSUpdate::_stopSEMediaIfStartedLocally()");
    if (m_stopOwed) {
        m_engine._writeLogMessage(COSUPDATE_LOG_DEBUG, " * Stopping SEMedia ...");
        if (PatchKernel::stopSEMedia()) {
            // Settled from this instant, for the same reason as in start().
            m_stopOwed = false;
            m_engine._writeLogMessage(COSUPDATE_LOG_DEBUG, " >>> SEMedia stopped");
        } else {
            // Not worth failing the operation for: still owed, so the
            // handler's stop tries once more.
            m_engine._writeLogMessage(COSUPDATE_LOG_WARNING, "Unable to stop SEMedia");
        }
    }
    m_engine._writeLogMessage(COSUPDATE_LOG_VERBOSE,
                              "-- COSUpdate::_stopSEMediaIfStartedLocally()");
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
