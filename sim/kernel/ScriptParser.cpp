#include <cstring>
#include <sstream>

#include "KernelError.h"
#include "Script.h"
#include "XmlSupport.h"
#include "cosupdate/apdu/Hex.h"
#include "cosupdate/apdu/StatusWords.h"

namespace simkernel {

namespace {

namespace apdu = cosupdate::apdu;

constexpr size_t kStatusWordDigits = 4;
constexpr size_t kMinApduSize = 4;

std::string whereOf(ScriptKind kind) {
    return scriptKindName(kind);
}

Bytes hexAttribute(const tinyxml2::XMLElement& element, const char* name, ScriptKind kind) {
    const char* text = element.Attribute(name);
    apdu::HexDecoded bytes = apdu::decodeHex(text, apdu::kBlanks);
    if (bytes.error) {
        failAt(whereOf(kind), element.GetLineNum(),
               std::string("bad hex in ") + name + "=\"" + text + "\"");
    }
    return std::move(bytes.bytes);
}

std::optional<StatusWordPattern> parsePattern(const std::string& token) {
    if (token.size() != kStatusWordDigits) {
        return std::nullopt;
    }
    StatusWordPattern pattern{0, 0};
    for (char c : token) {
        pattern.value = static_cast<uint16_t>(pattern.value << 4);
        pattern.mask = static_cast<uint16_t>(pattern.mask << 4);
        if (c == 'X' || c == 'x') {
            continue;
        }
        const std::optional<uint8_t> digit = apdu::hexDigitValue(c);
        if (!digit) {
            return std::nullopt;
        }
        pattern.value = static_cast<uint16_t>(pattern.value | *digit);
        pattern.mask = static_cast<uint16_t>(pattern.mask | 0xF);
    }
    return pattern;
}

std::vector<StatusWordPattern> patternsAttribute(const tinyxml2::XMLElement& element,
                                                 const char* name, ScriptKind kind) {
    std::vector<StatusWordPattern> patterns;
    std::istringstream tokens(element.Attribute(name));
    std::string token;
    while (tokens >> token) {
        const std::optional<StatusWordPattern> pattern = parsePattern(token);
        if (!pattern) {
            failAt(whereOf(kind), element.GetLineNum(),
                   std::string("bad status word '") + token + "' in " + name);
        }
        patterns.push_back(*pattern);
    }
    if (patterns.empty()) {
        failAt(whereOf(kind), element.GetLineNum(), std::string(name) + " lists no status word");
    }
    return patterns;
}

// sw, done-sw, data and mask: what an answer must look like.
void parseChecks(const tinyxml2::XMLElement& element, ScriptKind kind, Step& step) {
    step.expected = element.Attribute("sw") != nullptr
                        ? patternsAttribute(element, "sw", kind)
                        : std::vector<StatusWordPattern>{StatusWordPattern{apdu::sw::kOk, 0xFFFF}};
    if (element.Attribute("done-sw") != nullptr) {
        step.done = patternsAttribute(element, "done-sw", kind);
    }
    if (element.Attribute("data") != nullptr) {
        step.data = hexAttribute(element, "data", kind);
        step.mask = Bytes(step.data->size(), 0xFF);
    }
    if (element.Attribute("mask") != nullptr) {
        if (!step.data) {
            failAt(whereOf(kind), element.GetLineNum(), "mask without data");
        }
        step.mask = hexAttribute(element, "mask", kind);
        if (step.mask.size() != step.data->size()) {
            failAt(whereOf(kind), element.GetLineNum(), "mask and data differ in length");
        }
    }
}

Bytes requiredHex(const tinyxml2::XMLElement& element, const char* name, ScriptKind kind) {
    if (element.Attribute(name) == nullptr) {
        failAt(whereOf(kind), element.GetLineNum(),
               std::string("<") + element.Name() + "> needs " + name + "=\"...\"");
    }
    return hexAttribute(element, name, kind);
}

Step parseStep(const tinyxml2::XMLElement& element, ScriptKind kind) {
    const std::string where = whereOf(kind);
    checkNoText(element, where);
    if (element.FirstChildElement() != nullptr) {
        failAt(where, element.FirstChildElement()->GetLineNum(),
               std::string("<") + element.Name() + "> holds no element");
    }
    Step step;
    step.line = element.GetLineNum();
    const std::string name = element.Name();
    if (name == "open") {
        checkAttributes(element, {"aid", "sw", "done-sw", "data", "mask"}, where);
        step.kind = StepKind::Open;
        step.bytes = requiredHex(element, "aid", kind);
        if (step.bytes.empty()) {
            failAt(where, step.line, "empty AID");
        }
        parseChecks(element, kind, step);
    } else if (name == "apdu") {
        checkAttributes(element, {"cmd", "sw", "done-sw", "data", "mask"}, where);
        step.kind = StepKind::Apdu;
        step.bytes = requiredHex(element, "cmd", kind);
        if (step.bytes.size() < kMinApduSize) {
            failAt(where, step.line,
                   "APDU of " + std::to_string(step.bytes.size()) +
                       " bytes, at least CLA INS P1 P2 needed");
        }
        parseChecks(element, kind, step);
    } else if (name == "close") {
        checkAttributes(element, {}, where);
        step.kind = StepKind::Close;
    } else {
        failAt(where, step.line,
               "unknown element <" + name + ">, expected <open>, <apdu> or <close>");
    }
    return step;
}

}  // namespace

const char* scriptKindName(ScriptKind kind) {
    return kind == ScriptKind::Update ? "script" : "audit script";
}

Steps parseSteps(const char* xml, ScriptKind kind) {
    const std::string where = whereOf(kind);
    if (xml == nullptr) {
        throw KernelError(where + ": no text");
    }
    tinyxml2::XMLDocument document;
    parseDocument(document, xml, where);
    const tinyxml2::XMLElement& root = *document.RootElement();
    const char* rootName = kind == ScriptKind::Update ? "script" : "audit";
    if (std::strcmp(root.Name(), rootName) != 0) {
        failAt(where, root.GetLineNum(),
               std::string("root element <") + root.Name() + ">, expected <" + rootName + ">");
    }
    checkAttributes(root, {}, where);
    checkNoText(root, where);
    Steps steps;
    for (const tinyxml2::XMLElement* element = root.FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement()) {
        steps.push_back(parseStep(*element, kind));
    }
    return steps;
}

}  // namespace simkernel
