// Which manifest entry applies to the chip in hand: platform, current version
// and customer must match, a Service only while its audit says it is missing,
// Services before Patches, customer-specific entries before neutral ones, the
// first match in list order.

#include <cstring>

#include "COSUpdateMessages.h"
#include "ZelmarNativeCOSUpdate.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

namespace {

// Base-16 text as std::stoi reads it (blanks, sign and 0x accepted, stops at
// the first non-hex character; throws std::invalid_argument or
// std::out_of_range), compared on its low 16 bits.
uint16_t manifestVersion(const char* text) {
    return static_cast<uint16_t>(std::stoi(text, nullptr, 16));
}

bool customerMatches(const std::string& customerId, const char* entryCustomerId) {
    if (customerId.empty() && entryCustomerId == nullptr) {
        return true;
    }
    return entryCustomerId != nullptr && customerId == entryCustomerId;
}

}  // namespace

bool COSUpdate::isUpdateAvailable() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "++ COSUpdate::isUpdateAvailable()");
    bool available = false;
    _requireInitialized();
    if (!m_multiscript) {
        throw COSUpdateException("No COSUpdate file loaded");
    }
    bool seMediaReady = false;
    if (!kernelSucceeded(nativeCOSPatch_seMediaManager_isComponentInitialized(&seMediaReady))) {
        throw COSUpdateException("Unable to retrieve SEMediaManager component status");
    }
    if (!seMediaReady) {
        throw COSUpdateException("SEMediaManager component status not initialized");
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Check if an update is available ...");

    if (m_selectedManifest != nullptr) {
        _writeLogMessage(COSUPDATE_LOG_INFO, "An update is already selected -> no need to search");
        available = true;
    } else {
        _checkFETagAIDDefined();
        bool wasStarted = false;
        bool startedLocally = false;
        try {
            _startLocallySEMediaIfNotYetStarted(&wasStarted, &startedLocally);
            _retrieveChipState();
            m_selectedManifest = _selectRefUpdateScript();
            available = m_selectedManifest != nullptr;
            _stopSEMediaIfStartedLocally(&startedLocally);
        } catch (const COSUpdateException& e) {
            _writeLogMessage(
                COSUPDATE_LOG_WARNING,
                std::string("COSUpdate::isUpdateAvailable() -> Exception : ") + e.what());
            _stopSEMediaIfStartedLocally(&startedLocally);
            throw;
        } catch (...) {
            // A manifest version that is not base-16 text ends up here.
            _writeLogMessage(COSUPDATE_LOG_WARNING,
                             "COSUpdate::isUpdateAvailable() -> Exception detected");
            _stopSEMediaIfStartedLocally(&startedLocally);
            throw COSUpdateException("Exception detected during COSUpdate::isUpdateAvailable()");
        }
    }

    _writePrefixedLogMessage(COSUPDATE_LOG_INFO,
                             std::string("Update available : ") + (available ? "Yes" : "No"));
    if (available) {
        _writePrefixedLogMessage(COSUPDATE_LOG_INFO, Messages::kUpdateAvailable);
    }
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "-- COSUpdate::isUpdateAvailable()");
    return available;
}

void COSUpdate::_checkFETagAIDDefined() {
    uint16_t aidSize = 0;
    if (!kernelSucceeded(nativeCOSPatch_seContextManager_getCOSTagAIDSize(
            NATIVECOSPATCH_COS_DATA_TYPE_FE, &aidSize))) {
        throw COSUpdateException("Unable to verify AID size of FE tag");
    }
    if (aidSize == 0) {
        throw COSUpdateException(" AID for COS FE tag not defined");
    }
}

// The platform is read once per loaded file, the version on every search.
void COSUpdate::_retrieveChipState() {
    if (m_platformId.empty()) {
        _retrievePlatformId();
    } else {
        _writeLogMessage(COSUPDATE_LOG_DEBUG, Messages::kPlatformAlreadyRetrieved);
    }
    _retrieveCOSVersion();
}

void COSUpdate::_retrievePlatformId() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, " * Retrieving SE COS Platform ...");
    char buffer[NATIVECOSPATCH_ID_BUFFER_SIZE] = {};
    if (!kernelSucceeded(
            nativeCOSPatch_seContextManager_readCOSPlatformId(buffer, sizeof(buffer)))) {
        throw COSUpdateException("Unable to retrieve SE COS PlatformId");
    }
    m_platformId = kernelText(buffer, sizeof(buffer));
    _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG, " >>> SE COS PlatformId : " + m_platformId);
}

void COSUpdate::_retrieveCOSVersion() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, " * Retrieving SE COS Version ...");
    if (!kernelSucceeded(nativeCOSPatch_seContextManager_readCOSVersion(&m_cosVersion))) {
        throw COSUpdateException("Unable to retrieve SE COS Version");
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG,
                             " >>> SE COS Version : " + std::to_string(m_cosVersion));
}

// The customer id is read at most once per loaded file, and only when some
// entry carries the chip's platform: otherwise no entry could match anyway.
void COSUpdate::_retrieveCustomerIdIfUseful() {
    if (!m_customerId.empty()) {
        _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG,
                                 " >>> Current SE CustomerId : " + m_customerId);
        return;
    }
    bool platformInFile = false;
    for (const NATIVECOSPATCH_LIST_NODE* node = m_multiscript->scriptManifests; node != nullptr;
         node = node->next) {
        const auto* entry = static_cast<const ScriptManifest*>(node->data);
        if (entry != nullptr && entry->platformId != nullptr && m_platformId == entry->platformId) {
            platformInFile = true;
            break;
        }
    }
    if (!platformInFile) {
        return;
    }
    _writeLogMessage(COSUPDATE_LOG_DEBUG, " * Retrieving SE COS CustomerId ...");
    char buffer[NATIVECOSPATCH_ID_BUFFER_SIZE] = {};
    if (!kernelSucceeded(
            nativeCOSPatch_seContextManager_readCOSCustomerId(buffer, sizeof(buffer)))) {
        throw COSUpdateException("Unable to retrieve SE COS CustomerId");
    }
    m_customerId = kernelText(buffer, sizeof(buffer));
    _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG, " >>> Current SE CustomerId : " + m_customerId);
}

ScriptManifest* COSUpdate::_selectRefUpdateScript() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG,
                     " >>> Current SE COS Version : " + std::to_string(m_cosVersion));
    _writeLogMessage(COSUPDATE_LOG_DEBUG, " >>> Current SE PlatformId : " + m_platformId);
    _retrieveCustomerIdIfUseful();
    if (ScriptManifest* service =
            _selectRefUpdateScript(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE)) {
        return service;
    }
    return _selectRefUpdateScript(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH);
}

ScriptManifest* COSUpdate::_selectRefUpdateScript(ScriptType type) {
    if (!m_customerId.empty()) {
        if (ScriptManifest* entry = _selectRefUpdateScript(m_customerId, type)) {
            return entry;
        }
    }
    return _selectRefUpdateScript(std::string(), type);
}

ScriptManifest* COSUpdate::_selectRefUpdateScript(std::string customerId, ScriptType type) {
    for (NATIVECOSPATCH_LIST_NODE* node = m_multiscript->scriptManifests; node != nullptr;
         node = node->next) {
        auto* entry = static_cast<ScriptManifest*>(node->data);
        if (entry == nullptr || entry->scriptType != type) {
            continue;
        }
        if (entry->platformId == nullptr || m_platformId != entry->platformId) {
            continue;
        }
        if (entry->cosVersion == nullptr || manifestVersion(entry->cosVersion) != m_cosVersion) {
            continue;
        }
        if (!customerMatches(customerId, entry->customerId)) {
            continue;
        }
        const std::string name = entry->scriptName != nullptr ? entry->scriptName : "";
        if (type == NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH) {
            _writeLogMessage(COSUPDATE_LOG_DEBUG,
                             "Patch <" + name + "> matching with search constraint -> Select it");
            return entry;
        }
        if (type != NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE) {
            continue;
        }
        _writeLogMessage(COSUPDATE_LOG_DEBUG,
                         "Service <" + name +
                             "> matching with search constraint -> Execute it to check if "
                             "Service was deployed");
        if (!_isServiceContainsAuditScript(entry)) {
            _writeLogMessage(COSUPDATE_LOG_DEBUG,
                             "Service do not contains an Audit Script -> Select it");
            return entry;
        }
        _writeLogMessage(COSUPDATE_LOG_DEBUG,
                         "Service contains an Audit Script -> Execute it to check if Service was "
                         "deployed");
        if (!_isServiceAlreadyDeployed(entry)) {
            _writeLogMessage(COSUPDATE_LOG_DEBUG, "Service not yet deployed -> Select it");
            return entry;
        }
    }
    return nullptr;
}

bool COSUpdate::_isServiceContainsAuditScript(ScriptManifest* entry) {
    return entry != nullptr && entry->auditScriptName != nullptr;
}

bool COSUpdate::_isServiceAlreadyDeployed(ScriptManifest* entry) {
    if (entry == nullptr) {
        throw COSUpdateException(
            "No manifest script entry selected -> unable to check service status");
    }
    return entry->auditScriptName != nullptr && _executeAuditScript(entry->auditScriptName);
}

std::string COSUpdate::_getUpdateTypeAsString(ScriptType type) {
    switch (type) {
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_UNKNOWN:
            return "Unknown";
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH:
            return "Patch";
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE:
            return "Service";
    }
    return "??";
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
