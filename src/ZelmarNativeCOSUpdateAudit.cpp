// Running an audit script: does the chip hold the service it checks for?
// The caller has started the SE media.

#include "COSUpdateMessages.h"
#include "ZelmarNativeCOSUpdate.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

bool COSUpdate::_executeAuditScript(const char* name) {
    if (name == nullptr) {
        throw COSUpdateException("AuditScript name not declared");
    }
    const std::string auditName = name;
    _eventLoadAuditScript(auditName);
    const NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT* reference =
        nativeCOSPatch_multiscriptManager_script_selectRefAuditScript(m_multiscript.get(), name);
    if (reference == nullptr) {
        throw COSUpdateException("Unable to retreive content of Audit script '" + auditName + "'");
    }
    // The kernel answers a null text with a null result.
    AuditScriptOwner auditScript(
        nativeCOSPatch_xml_audit_script_loadFromString(reference->content));
    if (!auditScript) {
        throw COSUpdateException("Unable to load of Audit script '" + auditName + "'");
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Audit script ready to be executed");
    _eventExecuteAuditScript(auditName);
    const bool passed =
        kernelSucceeded(nativeCOSPatch_auditscriptRunner_executeAuditScript(auditScript.get()));
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO,
                             std::string("Audit script execution result : ") +
                                 (passed ? Messages::kSuccess : Messages::kFailed));
    return passed;
}

void COSUpdate::_eventLoadAuditScript(const std::string& name) {
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Loading <" + name + "> audit script ...");
}

void COSUpdate::_eventExecuteAuditScript(const std::string& name) {
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Running <" + name + "> audit script ...");
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
