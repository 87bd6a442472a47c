// Entry points: multiscripts, scripts and audit scripts.

#include <memory>

#include "EntryPoint.h"
#include "KernelApi.h"
#include "Multiscript.h"
#include "Script.h"

using simkernel::guarded;
using simkernel::KernelError;
using simkernel::Multiscript;
using simkernel::ScriptKind;

namespace {

Multiscript& multiscriptOf(NATIVECOSPATCH_MULTISCRIPT* record) {
    Multiscript* multiscript = Multiscript::fromRecord(record);
    if (multiscript == nullptr) {
        throw KernelError("not a multiscript of this kernel");
    }
    return *multiscript;
}

void requireName(const char* name) {
    if (name == nullptr) {
        throw KernelError("no name given");
    }
}

}  // namespace

NATIVECOSPATCH_MULTISCRIPT* nativeCOSPatch_xml_multiscript_loadFromString(const char* xml) {
    return guarded("multiscript_loadFromString", static_cast<NATIVECOSPATCH_MULTISCRIPT*>(nullptr),
                   [&] { return simkernel::parseMultiscript(xml).release()->record(); });
}

bool nativeCOSPatch_multiscriptManager_freeMultiscript(NATIVECOSPATCH_MULTISCRIPT* multiscript) {
    return guarded("freeMultiscript", false, [&] {
        std::unique_ptr<Multiscript> owner(&multiscriptOf(multiscript));
        return true;
    });
}

bool nativeCOSPatch_multiscriptManager_isScriptWithNameExist(
    NATIVECOSPATCH_MULTISCRIPT* multiscript, const char* name, bool* exists) {
    return guarded("isScriptWithNameExist", false, [&] {
        requireName(name);
        if (exists == nullptr) {
            throw KernelError("no output given");
        }
        *exists = multiscriptOf(multiscript).findScript(name) != nullptr;
        return true;
    });
}

bool nativeCOSPatch_multiscriptManager_isAuditScriptWithNameExist(
    NATIVECOSPATCH_MULTISCRIPT* multiscript, const char* name, bool* exists) {
    return guarded("isAuditScriptWithNameExist", false, [&] {
        requireName(name);
        if (exists == nullptr) {
            throw KernelError("no output given");
        }
        *exists = multiscriptOf(multiscript).findAuditScript(name) != nullptr;
        return true;
    });
}

NATIVECOSPATCH_MULTISCRIPT__SCRIPT* nativeCOSPatch_multiscriptManager_script_selectRefScript(
    NATIVECOSPATCH_MULTISCRIPT* multiscript, const char* name) {
    return guarded("selectRefScript", static_cast<NATIVECOSPATCH_MULTISCRIPT__SCRIPT*>(nullptr),
                   [&] {
                       requireName(name);
                       return multiscriptOf(multiscript).findScript(name);
                   });
}

NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT*
nativeCOSPatch_multiscriptManager_script_selectRefAuditScript(
    NATIVECOSPATCH_MULTISCRIPT* multiscript, const char* name) {
    return guarded("selectRefAuditScript",
                   static_cast<NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT*>(nullptr), [&] {
                       requireName(name);
                       return multiscriptOf(multiscript).findAuditScript(name);
                   });
}

NATIVECOSPATCH_SCRIPT* nativeCOSPatch_xml_script_loadFromString(const char* xml) {
    return guarded("script_loadFromString", static_cast<NATIVECOSPATCH_SCRIPT*>(nullptr), [&] {
        auto script = std::make_unique<NATIVECOSPATCH_SCRIPT>();
        script->steps = simkernel::parseSteps(xml, ScriptKind::Update);
        return script.release();  // back with scriptManager_freeScript
    });
}

bool nativeCOSPatch_scriptManager_isConsistency(NATIVECOSPATCH_SCRIPT* script) {
    return guarded("isConsistency", false, [&] {
        if (script == nullptr) {
            throw KernelError("no script given");
        }
        if (const std::optional<std::string> fault = simkernel::findInconsistency(script->steps)) {
            throw KernelError("script inconsistent: " + *fault);
        }
        return true;
    });
}

bool nativeCOSPatch_scriptRunner_executeScript(NATIVECOSPATCH_SCRIPT* script) {
    return guarded("executeScript", false, [&] {
        if (script == nullptr) {
            throw KernelError("no script given");
        }
        return simkernel::runSteps(script->steps, ScriptKind::Update);
    });
}

bool nativeCOSPatch_scriptManager_freeScript(NATIVECOSPATCH_SCRIPT* script) {
    if (script == nullptr) {
        return false;
    }
    std::unique_ptr<NATIVECOSPATCH_SCRIPT> owner(script);
    return true;
}

NATIVECOSPATCH_AUDIT_SCRIPT* nativeCOSPatch_xml_audit_script_loadFromString(const char* xml) {
    return guarded("audit_script_loadFromString",
                   static_cast<NATIVECOSPATCH_AUDIT_SCRIPT*>(nullptr), [&] {
                       auto script = std::make_unique<NATIVECOSPATCH_AUDIT_SCRIPT>();
                       script->steps = simkernel::parseSteps(xml, ScriptKind::Audit);
                       return script.release();  // back with freeAuditScript
                   });
}

bool nativeCOSPatch_auditscriptRunner_executeAuditScript(NATIVECOSPATCH_AUDIT_SCRIPT* script) {
    return guarded("executeAuditScript", false, [&] {
        if (script == nullptr) {
            throw KernelError("no audit script given");
        }
        return simkernel::runSteps(script->steps, ScriptKind::Audit);
    });
}

bool nativeCOSPatch_auditScriptManager_freeAuditScript(NATIVECOSPATCH_AUDIT_SCRIPT* script) {
    if (script == nullptr) {
        return false;
    }
    std::unique_ptr<NATIVECOSPATCH_AUDIT_SCRIPT> owner(script);
    return true;
}
