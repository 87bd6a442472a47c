#include "UpdateFileCheck.h"

#include <tinyxml2.h>

#include <algorithm>
#include <set>

#include "KernelScripts.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

namespace {

// A file with thousands of bad entries says so without thousands of lines.
constexpr size_t kMaxFindings = 20;

class Findings {
  public:
    void add(const std::string& text) {
        if (m_texts.size() < kMaxFindings) {
            m_texts.push_back(text);
        } else {
            ++m_more;
        }
    }
    std::vector<std::string> take() {
        if (m_more > 0) {
            m_texts.push_back("... and " + std::to_string(m_more) + " more");
        }
        return std::move(m_texts);
    }

  private:
    std::vector<std::string> m_texts;
    size_t m_more = 0;
};

// Names in the order first seen, each once.
class NameList {
  public:
    void add(const std::string& name) {
        if (m_seen.insert(name).second) {
            m_names.push_back(name);
        }
    }
    const std::vector<std::string>& names() const { return m_names; }

  private:
    std::set<std::string> m_seen;
    std::vector<std::string> m_names;
};

std::string lineOf(const std::string& bytes, size_t pos) {
    const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(pos);
    return std::to_string(1 + std::count(bytes.begin(), end, '\n'));
}

// The kernel reads the text up to its first NUL byte, and one root element.
void checkDocumentEnd(const std::string& bytes, Findings& findings) {
    const size_t nul = bytes.find('\0');
    if (nul != std::string::npos) {
        findings.add("update file, line " + lineOf(bytes, nul) +
                     ": a NUL byte; the kernel reads nothing after it");
    }
    tinyxml2::XMLDocument document;
    if (document.Parse(bytes.data(), std::min(nul, bytes.size())) != tinyxml2::XML_SUCCESS) {
        return;  // the kernel could not parse it either: the library said so
    }
    const tinyxml2::XMLElement* root = document.RootElement();
    const tinyxml2::XMLElement* second = root != nullptr ? root->NextSiblingElement() : nullptr;
    if (second != nullptr) {
        findings.add("update file, line " + std::to_string(second->GetLineNum()) +
                     ": a second root element <" + second->Name() + ">; the kernel ignores it");
    }
}

std::string entryLabel(size_t index, const ManifestEntry& entry) {
    std::string label = "manifest entry " + std::to_string(index);
    if (entry.scriptName) {
        label += " ('" + *entry.scriptName + "')";
    }
    return label;
}

// Versions and audit scripts; collects the scripts the entries name.
void checkManifest(const KernelMultiscript& multiscript, Findings& findings, NameList& scripts,
                   NameList& auditScripts) {
    size_t index = 0;
    for (const ManifestEntry& entry : multiscript.manifest()) {
        const std::string label = entryLabel(++index, entry);
        if (entry.cosVersion && !apdu::decodeHexU16(*entry.cosVersion)) {
            findings.add(label + ": cosVersion '" + *entry.cosVersion +
                         "' is not a COS version of 1 to 4 hex digits");
        }
        if (entry.scriptName) {
            scripts.add(*entry.scriptName);
        }
        const std::optional<std::string>& audit = entry.auditScriptName;
        if (!audit || audit->empty()) {
            continue;
        }
        if (multiscript.auditScriptContent(*audit) == nullptr) {
            findings.add(label + ": audit script '" + *audit + "' not present");
        } else {
            auditScripts.add(*audit);
        }
    }
}

// What the kernel logged since `errorsBefore`, as the reason for a refusal.
std::string kernelReason(const RunTracker& tracker, size_t errorsBefore) {
    std::string reason;
    for (size_t i = errorsBefore; i < tracker.errors().size(); ++i) {
        reason += (reason.empty() ? ": " : "; ") + tracker.errors()[i];
    }
    return reason;
}

void checkScript(const std::string& label, const char* content, ScriptVerdict (*check)(const char*),
                 const RunTracker& tracker, Findings& findings) {
    if (content == nullptr) {
        return;  // the library refuses a missing script or one without text
    }
    const size_t errorsBefore = tracker.errors().size();
    switch (check(content)) {
        case ScriptVerdict::Runnable:
            return;
        case ScriptVerdict::NotParsed:
            findings.add(label + ": the kernel cannot parse it" +
                         kernelReason(tracker, errorsBefore));
            return;
        case ScriptVerdict::Inconsistent:
            findings.add(label + ": the kernel finds it inconsistent" +
                         kernelReason(tracker, errorsBefore));
            return;
    }
}

}  // namespace

std::vector<std::string> findRunFaults(const std::string& bytes, const RunTracker& tracker) {
    Findings findings;
    checkDocumentEnd(bytes, findings);
    const KernelMultiscript multiscript(bytes);
    if (!multiscript.loaded()) {
        findings.add("update file: the kernel cannot parse it");
        return findings.take();
    }
    NameList scripts;
    NameList auditScripts;
    checkManifest(multiscript, findings, scripts, auditScripts);
    for (const std::string& name : scripts.names()) {
        checkScript("script '" + name + "'", multiscript.scriptContent(name), checkUpdateScript,
                    tracker, findings);
    }
    for (const std::string& name : auditScripts.names()) {
        checkScript("audit script '" + name + "'", multiscript.auditScriptContent(name),
                    checkAuditScript, tracker, findings);
    }
    return findings.take();
}

}  // namespace cosupdate::cli
