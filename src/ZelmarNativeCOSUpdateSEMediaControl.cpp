// Starting the SE media for the length of one operation when nobody else has,
// and stopping it only if that operation started it.

#include "ZelmarNativeCOSUpdate.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

namespace {
constexpr const char kNullFlag[] = "Unable to manage SEMedia status (null parameter)";
}  // namespace

void COSUpdate::_startLocallySEMediaIfNotYetStarted(bool* wasStarted, bool* startedLocally) {
    _writeLogMessage(COSUPDATE_LOG_VERBOSE, "++ COSUpdate::_startLocallySEMediaIfNotYetStarted()");
    if (wasStarted == nullptr || startedLocally == nullptr) {
        throw COSUpdateException(kNullFlag);
    }
    bool isStarted = false;
    bool startedHere = false;
    _writeLogMessage(COSUPDATE_LOG_DEBUG, " * Checking SEMedia status ...");
    if (!kernelSucceeded(nativeCOSPatch_seMediaManager_isStarted(&isStarted))) {
        throw COSUpdateException("Unable to retrieve SEMedia status");
    }
    if (!isStarted) {
        _writeLogMessage(COSUPDATE_LOG_DEBUG, " * Starting SEMedia ...");
        if (!kernelSucceeded(nativeCOSPatch_seMediaManager_start())) {
            throw COSUpdateException("Unable to start SEMedia");
        }
        // Owed from this instant: should the log line below throw, the
        // caller's handler must still stop what was started here.
        *startedLocally = true;
        _writeLogMessage(COSUPDATE_LOG_DEBUG, " >>> SEMedia started");
        startedHere = true;
    }
    // Otherwise the caller's flags change only here, so a failure above leaves
    // them false and the caller's handler stops nothing.
    *wasStarted = isStarted;
    *startedLocally = startedHere;
    _writeLogMessage(COSUPDATE_LOG_VERBOSE, "-- COSUpdate::_startLocallySEMediaIfNotYetStarted()");
}

void COSUpdate::_stopSEMediaIfStartedLocally(bool* startedLocally) {
    _writeLogMessage(COSUPDATE_LOG_VERBOSE, "++ COSUpdate::_stopSEMediaIfStartedLocally()");
    if (startedLocally == nullptr) {
        throw COSUpdateException(kNullFlag);
    }
    if (*startedLocally) {
        _writeLogMessage(COSUPDATE_LOG_DEBUG, " * Stopping SEMedia ...");
        if (kernelSucceeded(nativeCOSPatch_seMediaManager_stop())) {
            _writeLogMessage(COSUPDATE_LOG_DEBUG, " >>> SEMedia stopped");
            *startedLocally = false;
        } else {
            // Not worth failing the operation for: the flag stays set, so the
            // caller's handler tries once more.
            _writeLogMessage(COSUPDATE_LOG_WARNING, "Unable to stop SEMedia");
        }
    }
    _writeLogMessage(COSUPDATE_LOG_VERBOSE, "-- COSUpdate::_stopSEMediaIfStartedLocally()");
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
