// Construction, initialize/release and destruction: the patch kernel's
// components come up and go down in a fixed order.

#include <cstring>

#include "COSUpdateMessages.h"
#include "ZelmarNativeCOSUpdate.h"
#include "ZelmarNativeCOSUpdateLogWrapper.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"
#include "ZelmarNativeCOSUpdateVersion.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

namespace {

constexpr const char kConstructorLine[] = "+ COSUpdate::COSUpdate()";

// Teardown goes on whatever one step throws (a log sink may throw, also from
// inside the kernel through the log bridge): a destructor that let it out would
// end the host process.
template <typename Step>
void teardownStep(Step&& step) noexcept {
    try {
        step();
    } catch (...) {
    }
}

}  // namespace

COSUpdate::COSUpdate(std::shared_ptr<COSUpdateLogInterface> log)
    : m_initialized(false), m_selectedManifest(nullptr), m_logPrefix(Messages::kManagerPrefix) {
    if (!log) {
        throw COSUpdateException("COSUpdateLog not exist");
    }
    m_logInterface = log;
    _writeLogMessage(COSUPDATE_LOG_DEBUG, kConstructorLine);
    _writeLogMessage(COSUPDATE_LOG_INFO,
                     std::string(" - COSUpdate library version : ") + kLibraryVersion);

    PatchKernel::initMemory();
    NATIVECOSPATCH_LOG_COMPONENT logComponent;
    std::memset(&logComponent, 0, sizeof(logComponent));
    COSUpdateLogWrapper_init(log, &logComponent);
    if (!PatchKernel::initLogManager(logComponent)) {
        throw COSUpdateException("Unable to initialize logManager");
    }
    if (!PatchKernel::openLogManager()) {
        throw COSUpdateException("Unable to open logManager");
    }
    m_logInterface = log;
    PatchKernel::initSEContext();
    _writeLogMessage(COSUPDATE_LOG_DEBUG, kConstructorLine);
}

COSUpdate::~COSUpdate() {
    teardownStep([this] { _writeLogMessage(COSUPDATE_LOG_DEBUG, "++ COSUpdate::~COSUpdate()"); });
    m_selectedManifest = nullptr;
    teardownStep([this] { _clearMultiscript(); });
    m_multiscript.reset();  // still held only if the log line before the free threw
    teardownStep([] { PatchKernel::cleanupSEContext(); });
    teardownStep([] { COSUpdateSEMediaWrapper_release(); });
    teardownStep([] { PatchKernel::cleanupMemory(); });
    teardownStep([] { COSUpdateLogWrapper_release(); });
    teardownStep([this] { _writeLogMessage(COSUPDATE_LOG_DEBUG, "-- COSUpdate::~COSUpdate()"); });
    teardownStep([] {
        if (PatchKernel::isLogManagerInitialized()) {
            PatchKernel::cleanupLogManager();
        }
    });
}

void COSUpdate::initialize(std::shared_ptr<COSUpdateSEMediaInterface> seMedia) {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "++ COSUpdate::initialize()");
    if (m_initialized) {
        throw COSUpdateException("COSUpdate component already initialized");
    }
    if (!seMedia) {
        throw COSUpdateException("SEMedia component is null");
    }
    COSUpdateSEMediaWrapper_init(m_logInterface, seMedia);
    m_seMedia = seMedia;
    if (!seMedia->isInitialized()) {
        _writeLogMessage(COSUPDATE_LOG_DEBUG,
                         "COSUpdate::initialize() -> Do SEMedia initialization ...");
        seMedia->initialize();
    }
    m_chip.forgetAll();
    m_selectedManifest = nullptr;
    m_initialized = true;
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "-- COSUpdate::initialize()");
}

bool COSUpdate::isInitialized() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "++ COSUpdate::isInitialized()");
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "-- COSUpdate::isInitialized()");
    return m_initialized;
}

void COSUpdate::release() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "++ COSUpdate::release()");
    _requireInitialized();
    m_selectedManifest = nullptr;
    _clearMultiscript();
    COSUpdateSEMediaWrapper_release();
    m_chip.forgetPlatformAndVersion();
    m_initialized = false;
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "-- COSUpdate::release()");
}

void COSUpdate::_writeLogMessage(COSUpdateLogLevel level, const std::string& message) {
    if (m_logInterface) {
        m_logInterface->writeLogMessage(level, message);
    }
}

void COSUpdate::_writePrefixedLogMessage(COSUpdateLogLevel level, const std::string& message) {
    _writeLogMessage(level, m_logPrefix + message);
}

void COSUpdate::_requireInitialized() {
    if (!m_initialized) {
        throw COSUpdateException(Messages::kNotInitialized);
    }
}

void COSUpdate::_clearMultiscript() {
    if (m_multiscript) {
        _writeLogMessage(COSUPDATE_LOG_INFO, Messages::kClearExistingMultiscript);
        m_multiscript.reset();
    }
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
