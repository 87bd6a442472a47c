#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

#include <cstring>
#include <vector>

#include "ZelmarNativeCOSUpdatePatchKernel.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

namespace {

std::shared_ptr<COSUpdateSEMediaInterface> g_seMedia;
std::shared_ptr<COSUpdateLogInterface> g_log;
bool g_started = false;

// An APDU response ends with its two status word bytes. The library links
// nothing of transport/apdu, where the code around it keeps the same constant.
constexpr size_t kStatusWordSize = 2;
// An APDU command starts with CLA INS P1 P2.
constexpr uint16_t kApduHeaderSize = 4;

// Why a callback gave up; log parsers in the field match these, spelling
// included.
constexpr const char kNoSEMediaSpelledEd[] = "no SEMEdia available";
constexpr const char kNoSEMedia[] = "no SEMedia available";
constexpr const char kNotConnected[] = "SEMedia is not connected";

void verbose(const char* message) {
    _COSUpdateSEMediaWrapper_writeLogMessage(COSUPDATE_LOG_VERBOSE, message);
}

void warning(const std::string& message) {
    _COSUpdateSEMediaWrapper_writeLogMessage(COSUPDATE_LOG_WARNING, message);
}

[[noreturn]] void fail(const char* message) {
    throw COSUpdateException(message);
}

// Logs why a callback failed: with the text of our own exception type, bare
// for anything else.
void logCallbackError(const char* callback, const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const COSUpdateException& e) {
        warning(std::string(callback) + "() => error detected : " + e.what());
    } catch (...) {
        warning(std::string(callback) + "() => error detected");
    }
}

// The caller has checked that `source` fits; the kernel's buffer is written
// only here, so every earlier failure leaves it untouched.
void copyResponse(const std::vector<uint8_t>& source, uint8_t* response, uint16_t* responseLength) {
    std::memcpy(response, source.data(), source.size());
    *responseLength = static_cast<uint16_t>(source.size());
}

}  // namespace

void _COSUpdateSEMediaWrapper_writeLogMessage(COSUpdateLogLevel level, const std::string& message) {
    if (!g_log) {
        return;
    }
    try {
        g_log->writeLogMessage(level, "[COSUpdateLib] " + message);
    } catch (...) {
        // A sink that fails must not take the APDU exchange down with it.
    }
}

void COSUpdateSEMediaWrapper_init(std::shared_ptr<COSUpdateLogInterface> log,
                                  std::shared_ptr<COSUpdateSEMediaInterface> seMedia) {
    if (!seMedia) {
        throw COSUpdateException("Invalid SEMedia");
    }
    g_log = std::move(log);
    NATIVECOSPATCH_SEMEDIA_COMPONENT component;
    std::memset(&component, 0, sizeof(component));
    component.start = _COSUpdateSEMediaWrapper_start;
    component.isStarted = _COSUpdateSEMediaWrapper_isStarted;
    component.openConnection = _COSUpdateSEMediaWrapper_openConnection;
    component.isConnected = _COSUpdateSEMediaWrapper_isConnected;
    component.transmitApdu = _COSUpdateSEMediaWrapper_transmitApdu;
    component.closeConnection = _COSUpdateSEMediaWrapper_closeConnection;
    component.stop = _COSUpdateSEMediaWrapper_stop;
    if (!PatchKernel::initSEMediaManager(component)) {
        throw COSUpdateException("Unable to initialize SEMedia Wrapper");
    }
    g_seMedia = std::move(seMedia);
}

void COSUpdateSEMediaWrapper_release() {
    if (g_seMedia) {
        PatchKernel::cleanupSEMediaManager();
        g_seMedia.reset();
    }
    if (g_log) {
        g_log.reset();
    }
}

bool _COSUpdateSEMediaWrapper_start() {
    verbose("++ _COSUpdateSEMediaWrapper_start()");
    bool result = false;
    if (!g_seMedia) {
        warning("_COSUpdateSEMediaWrapper_start : no SEMedia defined");
    } else if (g_started) {
        warning("_COSUpdateSEMediaWrapper_start : SEMedia already started");
    } else {
        g_started = true;
        verbose("_COSUpdateSEMediaWrapper_start() => SEMedia started");
        verbose("_COSUpdateSEMediaWrapper_start() => res=true");
        result = true;
    }
    verbose("-- _COSUpdateSEMediaWrapper_start()");
    return result;
}

bool _COSUpdateSEMediaWrapper_isStarted(bool* started) {
    if (started == nullptr) {
        return false;
    }
    *started = g_started;
    return true;
}

bool _COSUpdateSEMediaWrapper_openConnection(uint8_t* aid, uint16_t aidLength, uint8_t* response,
                                             uint16_t responseMax, uint16_t* responseLength) {
    verbose("++ _COSUpdateSEMediaWrapper_openConnection()");
    bool result = false;
    try {
        if (!g_started) {
            fail("SEMedia not started");
        }
        if (aid == nullptr || aidLength == 0 || response == nullptr ||
            responseMax < kStatusWordSize || responseLength == nullptr) {
            fail("One or more invalid parameter");
        }
        if (!g_seMedia) {
            fail(kNoSEMediaSpelledEd);
        }
        const std::vector<uint8_t> aidBytes(aid, aid + aidLength);
        std::vector<uint8_t> answer;
        verbose("_COSUpdateSEMediaWrapper_openConnection : calling SEMedia->openConnection() ...");
        g_seMedia->openConnection(aidBytes, answer);
        // A transport that could not connect says so here; the kernel only
        // needs the false.
        if (g_seMedia->isConnected()) {
            if (answer.size() < kStatusWordSize) {
                fail("Invalid openConnection() response size");
            }
            if (responseMax < answer.size()) {
                fail("Buffer too small to write openConnection() response");
            }
            copyResponse(answer, response, responseLength);
            result = true;
        }
    } catch (...) {
        logCallbackError("_COSUpdateSEMediaWrapper_openConnection", std::current_exception());
    }
    verbose("-- _COSUpdateSEMediaWrapper_openConnection()");
    return result;
}

bool _COSUpdateSEMediaWrapper_isConnected(bool* connected) {
    if (!g_seMedia || connected == nullptr) {
        return false;
    }
    try {
        *connected = g_seMedia->isConnected();
        return true;
    } catch (...) {
        logCallbackError("_COSUpdateSEMediaWrapper_isConnected", std::current_exception());
    }
    return false;
}

bool _COSUpdateSEMediaWrapper_transmitApdu(uint8_t* command, uint16_t commandLength,
                                           uint8_t* response, uint16_t responseMax,
                                           uint16_t* responseLength) {
    verbose("++ _COSUpdateSEMediaWrapper_transmitApdu()");
    bool result = false;
    try {
        if (command == nullptr || commandLength < kApduHeaderSize || response == nullptr ||
            responseMax < kStatusWordSize || responseLength == nullptr) {
            fail("One or more invalid parameter(s)");
        }
        if (!g_seMedia) {
            fail(kNoSEMedia);
        }
        verbose("_COSUpdateSEMediaWrapper_transmitApdu : calling SEMedia->isConnected() ...");
        if (!g_seMedia->isConnected()) {
            fail(kNotConnected);
        }
        const std::vector<uint8_t> commandBytes(command, command + commandLength);
        std::vector<uint8_t> answer;
        verbose("_COSUpdateSEMediaWrapper_transmitApdu : calling SEMedia->transmitApdu() ...");
        g_seMedia->transmitApdu(commandBytes, answer);
        if (answer.size() < kStatusWordSize) {
            fail("Invalid transmitApdu() response size");
        }
        if (responseMax < answer.size()) {
            fail("Buffer too small to write transmitApdu() response");
        }
        copyResponse(answer, response, responseLength);
        verbose("_COSUpdateSEMediaWrapper_transmitApdu() => res=true");
        result = true;
    } catch (...) {
        logCallbackError("_COSUpdateSEMediaWrapper_transmitApdu", std::current_exception());
    }
    verbose("-- _COSUpdateSEMediaWrapper_transmitApdu()");
    return result;
}

bool _COSUpdateSEMediaWrapper_closeConnection() {
    verbose("++ _COSUpdateSEMediaWrapper_closeConnection()");
    bool result = false;
    try {
        if (!g_seMedia) {
            fail(kNoSEMediaSpelledEd);
        }
        // The line has always named transmitApdu although only isConnected()
        // is asked; log parsers in the field match it as it stands.
        verbose("_COSUpdateSEMediaWrapper_closeConnection : calling SEMedia->transmitApdu() ...");
        if (!g_seMedia->isConnected()) {
            fail(kNotConnected);
        }
        verbose(
            "_COSUpdateSEMediaWrapper_closeConnection : calling SEMedia->closeConnection() ...");
        g_seMedia->closeConnection();
        verbose("_COSUpdateSEMediaWrapper_closeConnection() => res=true");
        result = true;
    } catch (...) {
        logCallbackError("_COSUpdateSEMediaWrapper_closeConnection", std::current_exception());
    }
    verbose("-- _COSUpdateSEMediaWrapper_closeConnection()");
    return result;
}

bool _COSUpdateSEMediaWrapper_stop() {
    verbose("++ _COSUpdateSEMediaWrapper_stop()");
    bool result = false;
    if (g_started) {
        verbose("++ _COSUpdateSEMediaWrapper_stop() : SEMedia is started");
        try {
            verbose("_COSUpdateSEMediaWrapper_stop : calling SEMedia->isConnected() ...");
            if (!g_seMedia) {
                // Released while started: nothing to ask, and no crash.
                fail(kNoSEMedia);
            }
            if (g_seMedia->isConnected()) {
                verbose("_COSUpdateSEMediaWrapper_stop : calling SEMedia->closeConnection() ...");
                g_seMedia->closeConnection();
            }
            g_started = false;
            result = true;
        } catch (const COSUpdateException& e) {
            // Only our own exception type is absorbed here: anything else goes
            // back to the kernel's caller, as it always has.
            warning(std::string("COSUpdateException on _COSUpdateSEMediaWrapper_stop() : ") +
                    e.what());
        }
    } else {
        warning("_COSUpdateSEMediaWrapper_stop : SEMedia not started or already stopped");
    }
    verbose("-- _COSUpdateSEMediaWrapper_stop()");
    return result;
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
