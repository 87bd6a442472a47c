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
        PatchKernel::selectRefAuditScript(m_multiscript.get(), name);
    if (reference == nullptr) {
        throw COSUpdateException("Unable to retreive content of Audit script '" + auditName + "'");
    }
    // The kernel answers a null text with a null result.
    const PatchKernel::AuditScriptOwner auditScript =
        PatchKernel::loadAuditScript(reference->content);
    if (!auditScript) {
        throw COSUpdateException("Unable to load of Audit script '" + auditName + "'");
    }
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Audit script ready to be executed");
    _eventExecuteAuditScript(auditName);
    const bool passed = PatchKernel::executeAuditScript(auditScript.get());
    _writePrefixedLogMessage(
        COSUPDATE_LOG_INFO,
        std::string(Messages::kAuditResult) + (passed ? Messages::kSuccess : Messages::kFailed));
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
