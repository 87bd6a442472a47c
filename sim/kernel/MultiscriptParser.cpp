// The update file: <COSUpdate> with up to one <manifest>, <scripts> and
// <auditScripts> each. docs/update-file-format.md describes it.

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "KernelError.h"
#include "Multiscript.h"
#include "XmlSupport.h"

namespace simkernel {

namespace {

const std::string kWhere = "update file";
constexpr char kFormatVersion[] = "1";

std::optional<std::string> optionalAttribute(const tinyxml2::XMLElement& element,
                                             const char* name) {
    const char* value = element.Attribute(name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

// "Patch", "Service", "Unknown" or a decimal number, passed on as given.
int32_t scriptTypeValue(const char* text, int line) {
    if (std::strcmp(text, "Patch") == 0) {
        return NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH;
    }
    if (std::strcmp(text, "Service") == 0) {
        return NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE;
    }
    if (std::strcmp(text, "Unknown") == 0) {
        return NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_UNKNOWN;
    }
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || errno == ERANGE || value < INT32_MIN ||
        value > INT32_MAX) {
        failAt(kWhere, line,
               std::string("scriptType '") + text + "' is not Patch, Service or a number");
    }
    return static_cast<int32_t>(value);
}

ManifestEntry parseEntry(const tinyxml2::XMLElement& element) {
    checkAttributes(
        element,
        {"scriptName", "scriptType", "auditScriptName", "customerId", "cosVersion", "platformId"},
        kWhere);
    checkNoText(element, kWhere);
    if (element.FirstChildElement() != nullptr) {
        failAt(kWhere, element.FirstChildElement()->GetLineNum(), "<entry> holds no element");
    }
    ManifestEntry entry;
    entry.scriptName = optionalAttribute(element, "scriptName");
    if (const char* type = element.Attribute("scriptType")) {
        entry.scriptType = scriptTypeValue(type, element.GetLineNum());
    }
    entry.auditScriptName = optionalAttribute(element, "auditScriptName");
    entry.customerId = optionalAttribute(element, "customerId");
    entry.cosVersion = optionalAttribute(element, "cosVersion");
    entry.platformId = optionalAttribute(element, "platformId");
    return entry;
}

NamedScript parseScript(const tinyxml2::XMLElement& element) {
    checkAttributes(element, {"name"}, kWhere);
    NamedScript script;
    script.name = optionalAttribute(element, "name");
    script.content = textContent(element, kWhere);
    script.line = element.GetLineNum();
    return script;
}

// Children of a section, each required to be `childName`.
template <typename Item, typename Parse>
void parseSection(const tinyxml2::XMLElement& section, const char* childName,
                  std::vector<Item>& items, Parse parse) {
    checkAttributes(section, {}, kWhere);
    checkNoText(section, kWhere);
    for (const tinyxml2::XMLElement* child = section.FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        if (std::strcmp(child->Name(), childName) != 0) {
            failAt(kWhere, child->GetLineNum(),
                   std::string("unknown element <") + child->Name() + "> in <" + section.Name() +
                       ">, expected <" + childName + ">");
        }
        items.push_back(parse(*child));
    }
}

class UpdateFileReader {
  public:
    std::unique_ptr<Multiscript> read(const tinyxml2::XMLElement& root) {
        if (std::strcmp(root.Name(), "COSUpdate") != 0) {
            failAt(kWhere, root.GetLineNum(),
                   std::string("root element <") + root.Name() + ">, expected <COSUpdate>");
        }
        checkAttributes(root, {"format"}, kWhere);
        const char* format = root.Attribute("format");
        if (format != nullptr && std::strcmp(format, kFormatVersion) != 0) {
            failAt(kWhere, root.GetLineNum(), std::string("unsupported format '") + format + "'");
        }
        checkNoText(root, kWhere);
        for (const tinyxml2::XMLElement* section = root.FirstChildElement(); section != nullptr;
             section = section->NextSiblingElement()) {
            readSection(*section);
        }
        return std::make_unique<Multiscript>(std::move(m_entries), std::move(m_scripts),
                                             std::move(m_auditScripts));
    }

  private:
    void readSection(const tinyxml2::XMLElement& section) {
        const std::string name = section.Name();
        if (name == "manifest") {
            once(m_seenManifest, section);
            parseSection(section, "entry", m_entries, parseEntry);
        } else if (name == "scripts") {
            once(m_seenScripts, section);
            parseSection(section, "script", m_scripts, parseScript);
        } else if (name == "auditScripts") {
            once(m_seenAuditScripts, section);
            parseSection(section, "auditScript", m_auditScripts, parseScript);
        } else {
            failAt(
                kWhere, section.GetLineNum(),
                "unknown element <" + name + ">, expected <manifest>, <scripts> or <auditScripts>");
        }
    }

    static void once(bool& seen, const tinyxml2::XMLElement& section) {
        if (seen) {
            failAt(kWhere, section.GetLineNum(),
                   std::string("second <") + section.Name() + "> section");
        }
        seen = true;
    }

    bool m_seenManifest = false;
    bool m_seenScripts = false;
    bool m_seenAuditScripts = false;
    std::vector<ManifestEntry> m_entries;
    std::vector<NamedScript> m_scripts;
    std::vector<NamedScript> m_auditScripts;
};

}  // namespace

std::unique_ptr<Multiscript> parseMultiscript(const char* xml) {
    if (xml == nullptr) {
        throw KernelError("update file: no text");
    }
    tinyxml2::XMLDocument document;
    parseDocument(document, xml, kWhere);
    return UpdateFileReader().read(*document.RootElement());
}

}  // namespace simkernel
