// Which manifest entry applies to the chip in hand: platform, current version
// and customer must match, a Service only while its audit says it is missing,
// Services before Patches, customer-specific entries before neutral ones, the
// first match in list order.

#include <cstring>

#include "COSUpdateMessages.h"
#include "ZelmarNativeCOSUpdateSEMediaControl.h"

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

bool platformInFile(const NATIVECOSPATCH_LIST_NODE* manifests, const std::string& platformId) {
    for (const NATIVECOSPATCH_LIST_NODE* node = manifests; node != nullptr; node = node->next) {
        const auto* entry = static_cast<const ScriptManifest*>(node->data);
        if (entry != nullptr && entry->platformId != nullptr && platformId == entry->platformId) {
            return true;
        }
    }
    return false;
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
    const std::optional<bool> seMediaReady = PatchKernel::isSEMediaManagerInitialized();
    if (!seMediaReady) {
        throw COSUpdateException("Unable to retrieve SEMediaManager component status");
    }
    if (!*seMediaReady) {
        throw COSUpdateException("SEMediaManager component status not initialized");
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Check if an update is available ...");

    if (m_selectedManifest != nullptr) {
        _writeLogMessage(COSUPDATE_LOG_INFO, "An update is already selected -> no need to search");
        available = true;
    } else {
        _checkFETagAIDDefined();
        // A manifest version that is not base-16 text ends up as the other
        // exception.
        SEMediaUse(*this, {"COSUpdate::isUpdateAvailable() -> Exception : ",
                           "COSUpdate::isUpdateAvailable() -> Exception detected",
                           "Exception detected during COSUpdate::isUpdateAvailable()"})
            .run([&] {
                _retrieveChipState();
                m_selectedManifest = _selectRefUpdateScript();
                available = m_selectedManifest != nullptr;
            });
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
    const std::optional<uint16_t> aidSize =
        PatchKernel::getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE_FE);
    if (!aidSize) {
        throw COSUpdateException("Unable to verify AID size of FE tag");
    }
    if (*aidSize == 0) {
        throw COSUpdateException(" AID for COS FE tag not defined");
    }
}

// The platform is read once per loaded file, the version on every search.
void COSUpdate::_retrieveChipState() {
    if (m_chip.platformId.empty()) {
        _retrievePlatformId();
    } else {
        _writeLogMessage(COSUPDATE_LOG_DEBUG, Messages::kPlatformAlreadyRetrieved);
    }
    _retrieveCOSVersion();
}

void COSUpdate::_retrievePlatformId() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, " * Retrieving SE COS Platform ...");
    const std::optional<std::string> platformId = PatchKernel::readCOSPlatformId();
    if (!platformId) {
        throw COSUpdateException("Unable to retrieve SE COS PlatformId");
    }
    m_chip.platformId = *platformId;
    _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG, " >>> SE COS PlatformId : " + m_chip.platformId);
}

void COSUpdate::_retrieveCOSVersion() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, " * Retrieving SE COS Version ...");
    if (!PatchKernel::readCOSVersion(m_chip.cosVersion)) {
        throw COSUpdateException("Unable to retrieve SE COS Version");
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG,
                             " >>> SE COS Version : " + std::to_string(m_chip.cosVersion));
}

// The customer id is read at most once per loaded file, and only when some
// entry carries the chip's platform: otherwise no entry could match anyway.
void COSUpdate::_retrieveCustomerIdIfUseful() {
    if (m_chip.customerId.empty()) {
        if (!platformInFile(m_multiscript->scriptManifests, m_chip.platformId)) {
            return;
        }
        _writeLogMessage(COSUPDATE_LOG_DEBUG, " * Retrieving SE COS CustomerId ...");
        const std::optional<std::string> customerId = PatchKernel::readCOSCustomerId();
        if (!customerId) {
            throw COSUpdateException("Unable to retrieve SE COS CustomerId");
        }
        m_chip.customerId = *customerId;
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG,
                             " >>> Current SE CustomerId : " + m_chip.customerId);
}

ScriptManifest* COSUpdate::_selectRefUpdateScript() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG,
                     " >>> Current SE COS Version : " + std::to_string(m_chip.cosVersion));
    _writeLogMessage(COSUPDATE_LOG_DEBUG, " >>> Current SE PlatformId : " + m_chip.platformId);
    _retrieveCustomerIdIfUseful();
    if (ScriptManifest* service =
            _selectRefUpdateScript(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE)) {
        return service;
    }
    return _selectRefUpdateScript(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH);
}

ScriptManifest* COSUpdate::_selectRefUpdateScript(ScriptType type) {
    if (!m_chip.customerId.empty()) {
        if (ScriptManifest* entry = _selectRefUpdateScript(m_chip.customerId, type)) {
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
        if (entry->platformId == nullptr || m_chip.platformId != entry->platformId) {
            continue;
        }
        if (entry->cosVersion == nullptr ||
            manifestVersion(entry->cosVersion) != m_chip.cosVersion) {
            continue;
        }
        if (!customerMatches(customerId, entry->customerId)) {
            continue;
        }
        const std::string name = entry->scriptName != nullptr ? entry->scriptName : "";
        if (type == NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH) {
            _writeLogMessage(COSUPDATE_LOG_DEBUG, Messages::kPatchSelected(name));
            return entry;
        }
        if (type != NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE) {
            continue;
        }
        _writeLogMessage(COSUPDATE_LOG_DEBUG, Messages::kServiceCandidate(name));
        if (!_isServiceContainsAuditScript(entry)) {
            _writeLogMessage(COSUPDATE_LOG_DEBUG, Messages::kServiceWithoutAudit);
            return entry;
        }
        _writeLogMessage(COSUPDATE_LOG_DEBUG,
                         "Service contains an Audit Script -> Execute it to check if Service was "
                         "deployed");
        if (!_isServiceAlreadyDeployed(entry)) {
            _writeLogMessage(COSUPDATE_LOG_DEBUG, Messages::kServiceNotYetDeployed);
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
