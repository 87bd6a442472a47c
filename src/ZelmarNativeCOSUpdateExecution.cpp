// Running the update: the selected script, then every script selected after
// it, each verified on the chip before the next is chosen.

#include "COSUpdateMessages.h"
#include "ZelmarNativeCOSUpdate.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

namespace {
constexpr int kUpdateFailed = -1;
constexpr int kNoUpdate = 0;
constexpr int kUpdateDeployed = 1;
}  // namespace

int COSUpdate::doUpdate() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "++ COSUpdate::doUpdate()");
    int result = kUpdateFailed;
    _requireInitialized();
    if (!m_multiscript) {
        throw COSUpdateException("COSUpdate data not loaded from file");
    }
    bool wasStarted = false;
    bool startedLocally = false;
    _checkFETagAIDDefined();
    try {
        _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Starting doUpdate() ...");
        _startLocallySEMediaIfNotYetStarted(&wasStarted, &startedLocally);
        // A selection made earlier (by isUpdateAvailable, or a run that stopped
        // on a failure) is used as it stands, against the version stored then.
        if (m_selectedManifest == nullptr) {
            _retrieveChipState();
            m_selectedManifest = _selectRefUpdateScript();
            if (m_selectedManifest != nullptr) {
                _writePrefixedLogMessage(COSUPDATE_LOG_INFO, Messages::kUpdateAvailable);
            }
        }
        if (m_selectedManifest == nullptr) {
            result = kNoUpdate;
            _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "No update available");
        } else {
            result = _runSelectedScripts();
        }
    } catch (const COSUpdateException& e) {
        _writePrefixedLogMessage(
            COSUPDATE_LOG_WARNING,
            std::string("COSUpdateException detected on COSUpdate::doUpdate() : ") + e.what());
        _stopSEMediaIfStartedLocally(&startedLocally);
        throw;
    }
    _stopSEMediaIfStartedLocally(&startedLocally);
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "-- COSUpdate::doUpdate()");
    return result;
}

int COSUpdate::_runSelectedScripts() {
    int result = kUpdateFailed;
    uint16_t deployed = 0;
    ScriptManifest* previous = nullptr;
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Script selected for execution");
    while (m_selectedManifest != nullptr) {
        if (_runSelectedScript(previous, deployed, result) == Iteration::Stop) {
            break;
        }
    }
    if (deployed >= 1) {
        _writeLogMessage(COSUPDATE_LOG_INFO,
                         std::to_string(deployed) + " script(s) deployed successfully");
    }
    return result;
}

COSUpdate::Iteration COSUpdate::_runSelectedScript(ScriptManifest*& previous, uint16_t& deployed,
                                                   int& result) {
    ScriptManifest* entry = m_selectedManifest;
    if (entry->scriptName == nullptr) {
        throw COSUpdateException("Script name not defined");
    }
    const ScriptType type = entry->scriptType;
    const std::string name = entry->scriptName;
    _eventLoadUpdateScript(name, type);
    ScriptOwner script = _loadUpdateScript(name);
    if (!script) {
        _writePrefixedLogMessage(COSUPDATE_LOG_ERROR, "Unable to prepare script for execution");
        result = kUpdateFailed;
        return Iteration::Stop;
    }
    if (!kernelSucceeded(nativeCOSPatch_scriptManager_isConsistency(script.get()))) {
        _writePrefixedLogMessage(COSUPDATE_LOG_ERROR, "Patch script is invalid");
        result = kUpdateFailed;
        return Iteration::Stop;
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Script <" + name + "> ready to be executed");
    try {
        _eventExecuteUpdateScript(name, type);
        const bool executed =
            kernelSucceeded(nativeCOSPatch_scriptRunner_executeScript(script.get()));
        _writePrefixedLogMessage(COSUPDATE_LOG_INFO,
                                 std::string("Script execution result : ") +
                                     (executed ? Messages::kSuccess : Messages::kFailed));
        previous = entry;
        _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG, "Unload script after execution ...");
        script.reset();
        if (!executed) {
            result = kUpdateFailed;
            return Iteration::Stop;
        }
        if (!_verifyScript(entry, type, deployed)) {
            result = kUpdateFailed;
            return Iteration::Stop;
        }
        return _selectNextScript(type, previous, result);
    } catch (const COSUpdateException& e) {
        // The entry that failed stays selected and runs again; a failure of the
        // next-script selection has already cleared it and ends the run.
        _writePrefixedLogMessage(COSUPDATE_LOG_ERROR,
                                 std::string("Error during script execution : ") + e.what());
        result = kUpdateFailed;
        return Iteration::Continue;
    }
}

ScriptOwner COSUpdate::_loadUpdateScript(const std::string& name) {
    const NATIVECOSPATCH_MULTISCRIPT__SCRIPT* reference =
        nativeCOSPatch_multiscriptManager_script_selectRefScript(m_multiscript.get(), name.c_str());
    if (reference == nullptr || reference->content == nullptr) {
        _writePrefixedLogMessage(COSUPDATE_LOG_ERROR,
                                 "Unable to found content of script <" + name + ">");
        return ScriptOwner();
    }
    return ScriptOwner(nativeCOSPatch_xml_script_loadFromString(reference->content));
}

// Reads the version back and checks that the script did what it is for.
bool COSUpdate::_verifyScript(const ScriptManifest* entry, ScriptType type, uint16_t& deployed) {
    uint16_t newVersion = 0;
    _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG, "* Retrieving SE COS Version ...");
    if (!kernelSucceeded(nativeCOSPatch_seContextManager_readCOSVersion(&newVersion))) {
        throw COSUpdateException("Unable to retrieve SE COS Version after script execution");
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, ">>> SE COS Version after script execution : " +
                                                     std::to_string(newVersion));
    switch (type) {
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH:
            // A strict rise; the unknown-version marker 0xFFFF can never be passed.
            if (uint32_t{newVersion} < uint32_t{m_cosVersion} + 1) {
                _writePrefixedLogMessage(COSUPDATE_LOG_ERROR,
                                         "Incorrect COSVersion after script execution");
                return false;
            }
            _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG,
                                     " >>> COSVersion incrementation is correct");
            m_cosVersion = newVersion;
            ++deployed;
            return true;
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE:
            return _verifyService(entry, deployed);
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_UNKNOWN:
            break;
    }
    return true;
}

bool COSUpdate::_verifyService(const ScriptManifest* entry, uint16_t& deployed) {
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "COSVersion not checked after Service execution");
    if (entry->auditScriptName == nullptr) {
        _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "No audit script present");
        ++deployed;
        return true;
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Audit script declared -> Manage it");
    bool present = false;
    try {
        present = _executeAuditScript(entry->auditScriptName);
    } catch (const COSUpdateException& e) {
        _writePrefixedLogMessage(COSUPDATE_LOG_ERROR,
                                 std::string("Error during Audit script execution : ") + e.what());
        return false;
    }
    if (!present) {
        _writePrefixedLogMessage(
            COSUPDATE_LOG_ERROR,
            ">>> Audit script execution failed -> Service not correctly executed");
        return false;
    }
    // An audited Service is not counted as deployed: only Patches and
    // unaudited Services are.
    _writePrefixedLogMessage(
        COSUPDATE_LOG_INFO,
        ">>> Audit script execution done successfully -> Service correctly executed");
    return true;
}

COSUpdate::Iteration COSUpdate::_selectNextScript(ScriptType lastType,
                                                  const ScriptManifest* previous, int& result) {
    m_selectedManifest = nullptr;
    _writeLogMessage(COSUPDATE_LOG_INFO, "Searching next script ...");
    // After a Service only Patches are looked for: the Service just run would
    // otherwise be audited again.
    m_selectedManifest = lastType == NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE
                             ? _selectRefUpdateScript(NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH)
                             : _selectRefUpdateScript();
    if (m_selectedManifest == nullptr) {
        _writePrefixedLogMessage(COSUPDATE_LOG_INFO, ">>> No more update available");
        result = kUpdateDeployed;
        return Iteration::Stop;
    }
    if (previous != nullptr && m_selectedManifest == previous) {
        // Reported, but the entry runs once more and that run decides the result.
        _writePrefixedLogMessage(COSUPDATE_LOG_ERROR,
                                 "Selecting again previous script manifest entry");
        result = kUpdateFailed;
        return Iteration::Continue;
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, ">>> Another Update available");
    return Iteration::Continue;
}

void COSUpdate::_eventLoadUpdateScript(const std::string& name, ScriptType type) {
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Loading <" + name + "> script (type:" +
                                                     _getUpdateTypeAsString(type) + ") ...");
}

void COSUpdate::_eventExecuteUpdateScript(const std::string& name, ScriptType type) {
    switch (type) {
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH:
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE:
            _writePrefixedLogMessage(
                COSUPDATE_LOG_INFO,
                "Running <" + name + "> script (type:" + _getUpdateTypeAsString(type) + ") ...");
            return;
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_UNKNOWN:
            break;
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Running <" + name + "> script ...");
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
