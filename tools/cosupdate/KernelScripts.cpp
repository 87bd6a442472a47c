#include "KernelScripts.h"

#include "nativeCOSPatchBool.h"

namespace cosupdate::cli {

namespace {

using nativeCOSPatchBool::lowestBit;

std::optional<std::string> text(const char* value) {
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace

KernelMultiscript::KernelMultiscript(const std::string& text)
    : m_multiscript(nativeCOSPatch_xml_multiscript_loadFromString(text.c_str())) {}

KernelMultiscript::~KernelMultiscript() {
    if (m_multiscript != nullptr) {
        nativeCOSPatch_multiscriptManager_freeMultiscript(m_multiscript);
    }
}

std::vector<ManifestEntry> KernelMultiscript::manifest() const {
    std::vector<ManifestEntry> entries;
    if (m_multiscript == nullptr) {
        return entries;
    }
    for (const NATIVECOSPATCH_LIST_NODE* node = m_multiscript->scriptManifests; node != nullptr;
         node = node->next) {
        const auto* entry =
            static_cast<const NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST*>(node->data);
        if (entry == nullptr) {
            entries.emplace_back();
            continue;
        }
        entries.push_back(ManifestEntry{text(entry->scriptName), entry->scriptType,
                                        text(entry->auditScriptName), text(entry->cosVersion)});
    }
    return entries;
}

const char* KernelMultiscript::scriptContent(const std::string& name) const {
    const NATIVECOSPATCH_MULTISCRIPT__SCRIPT* script =
        m_multiscript == nullptr
            ? nullptr
            : nativeCOSPatch_multiscriptManager_script_selectRefScript(m_multiscript, name.c_str());
    return script != nullptr ? script->content : nullptr;
}

const char* KernelMultiscript::auditScriptContent(const std::string& name) const {
    const NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT* script =
        m_multiscript == nullptr ? nullptr
                                 : nativeCOSPatch_multiscriptManager_script_selectRefAuditScript(
                                       m_multiscript, name.c_str());
    return script != nullptr ? script->content : nullptr;
}

ScriptVerdict checkUpdateScript(const char* content) {
    NATIVECOSPATCH_SCRIPT* script = nativeCOSPatch_xml_script_loadFromString(content);
    if (script == nullptr) {
        return ScriptVerdict::NotParsed;
    }
    const bool consistent = lowestBit(nativeCOSPatch_scriptManager_isConsistency(script));
    nativeCOSPatch_scriptManager_freeScript(script);
    return consistent ? ScriptVerdict::Runnable : ScriptVerdict::Inconsistent;
}

ScriptVerdict checkAuditScript(const char* content) {
    NATIVECOSPATCH_AUDIT_SCRIPT* script = nativeCOSPatch_xml_audit_script_loadFromString(content);
    if (script == nullptr) {
        return ScriptVerdict::NotParsed;
    }
    nativeCOSPatch_auditScriptManager_freeAuditScript(script);
    return ScriptVerdict::Runnable;
}

}  // namespace cosupdate::cli
