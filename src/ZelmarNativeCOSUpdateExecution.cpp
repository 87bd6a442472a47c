// Running the update: the selected script, then every script selected after
// it, each verified on the chip before the next is chosen.

#include "COSUpdateMessages.h"
#include "ZelmarNativeCOSUpdateSEMediaControl.h"

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
    _checkFETagAIDDefined();
    SEMediaUse media(*this,
                     {m_logPrefix + "COSUpdateException detected on COSUpdate::doUpdate() : "});
    media.guard([&] {
        _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Starting doUpdate() ...");
        media.start();
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
    });
    // Outside the handler: a failure of the closing stop reaches the caller
    // unlogged.
    media.stop();
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
        _writeLogMessage(COSUPDATE_LOG_INFO, std::to_string(deployed) + Messages::kScriptsDeployed);
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
    PatchKernel::ScriptOwner script = _loadUpdateScript(name);
    if (!script) {
        _writePrefixedLogMessage(COSUPDATE_LOG_ERROR, "Unable to prepare script for execution");
        result = kUpdateFailed;
        return Iteration::Stop;
    }
    if (!PatchKernel::isConsistent(script.get())) {
        _writePrefixedLogMessage(COSUPDATE_LOG_ERROR, "Patch script is invalid");
        result = kUpdateFailed;
        return Iteration::Stop;
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Script <" + name + "> ready to be executed");
    try {
        _eventExecuteUpdateScript(name, type);
        const bool executed = PatchKernel::executeScript(script.get());
        _writePrefixedLogMessage(COSUPDATE_LOG_INFO,
                                 std::string(Messages::kScriptResult) +
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

PatchKernel::ScriptOwner COSUpdate::_loadUpdateScript(const std::string& name) {
    const NATIVECOSPATCH_MULTISCRIPT__SCRIPT* reference =
        PatchKernel::selectRefScript(m_multiscript.get(), name.c_str());
    if (reference == nullptr || reference->content == nullptr) {
        _writePrefixedLogMessage(COSUPDATE_LOG_ERROR,
                                 "Unable to found content of script <" + name + ">");
        return nullptr;
    }
    return PatchKernel::loadScript(reference->content);
}

// Reads the version back and checks that the script did what it is for.
bool COSUpdate::_verifyScript(const ScriptManifest* entry, ScriptType type, uint16_t& deployed) {
    uint16_t newVersion = 0;
    _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG, "* Retrieving SE COS Version ...");
    if (!PatchKernel::readCOSVersion(newVersion)) {
        throw COSUpdateException("Unable to retrieve SE COS Version after script execution");
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO,
                             Messages::kVersionAfterScript + std::to_string(newVersion));
    switch (type) {
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH:
            // A strict rise; the unknown-version marker 0xFFFF can never be passed.
            if (uint32_t{newVersion} < uint32_t{m_chip.cosVersion} + 1) {
                _writePrefixedLogMessage(COSUPDATE_LOG_ERROR,
                                         "Incorrect COSVersion after script execution");
                return false;
            }
            _writePrefixedLogMessage(COSUPDATE_LOG_DEBUG,
                                     " >>> COSVersion incrementation is correct");
            m_chip.cosVersion = newVersion;
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
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO,
                             Messages::kLoading(name) +
                                 Messages::kScriptType(_getUpdateTypeAsString(type)) +
                                 Messages::kEllipsis);
}

// The type is named only for the two types the engine knows how to verify.
void COSUpdate::_eventExecuteUpdateScript(const std::string& name, ScriptType type) {
    std::string typeText;
    switch (type) {
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH:
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE:
            typeText = Messages::kScriptType(_getUpdateTypeAsString(type));
            break;
        case NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_UNKNOWN:
            break;
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO,
                             Messages::kRunning(name) + typeText + Messages::kEllipsis);
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
