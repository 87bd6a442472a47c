#include "XmlSupport.h"

#include <cstring>

#include "KernelError.h"

namespace simkernel {

namespace {

bool isBlankText(const char* text) {
    for (; *text != '\0'; ++text) {
        if (std::strchr(" \t\r\n", *text) == nullptr) {
            return false;
        }
    }
    return true;
}

std::string trimmed(const std::string& text) {
    const char* blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return std::string();
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

void failAt(const std::string& where, int line, const std::string& message) {
    throw KernelError(where + ", line " + std::to_string(line) + ": " + message);
}

void parseDocument(tinyxml2::XMLDocument& document, const char* xml, const std::string& what) {
    if (document.Parse(xml) != tinyxml2::XML_SUCCESS) {
        const char* detail = document.ErrorStr();
        failAt(what, document.ErrorLineNum(),
               std::string("not well-formed XML (") + (detail != nullptr ? detail : "") + ")");
    }
    if (document.RootElement() == nullptr) {
        failAt(what, 1, "no root element");
    }
}

void checkAttributes(const tinyxml2::XMLElement& element,
                     std::initializer_list<const char*> allowed, const std::string& where) {
    for (const tinyxml2::XMLAttribute* a = element.FirstAttribute(); a != nullptr; a = a->Next()) {
        bool known = false;
        for (const char* name : allowed) {
            known = known || std::strcmp(name, a->Name()) == 0;
        }
        if (!known) {
            failAt(
                where, a->GetLineNum(),
                std::string("unknown attribute '") + a->Name() + "' on <" + element.Name() + ">");
        }
    }
}

void checkNoText(const tinyxml2::XMLElement& element, const std::string& where) {
    for (const tinyxml2::XMLNode* node = element.FirstChild(); node != nullptr;
         node = node->NextSibling()) {
        const tinyxml2::XMLText* text = node->ToText();
        if (text != nullptr && !isBlankText(text->Value())) {
            failAt(where, node->GetLineNum(),
                   std::string("unexpected text inside <") + element.Name() + ">");
        }
    }
}

std::string textContent(const tinyxml2::XMLElement& element, const std::string& where) {
    std::string text;
    for (const tinyxml2::XMLNode* node = element.FirstChild(); node != nullptr;
         node = node->NextSibling()) {
        if (node->ToElement() != nullptr) {
            failAt(where, node->GetLineNum(),
                   std::string("<") + element.Name() +
                       "> holds its XML as text (CDATA or escaped), found element <" +
                       node->Value() + ">");
        }
        if (const tinyxml2::XMLText* part = node->ToText()) {
            text += part->Value();
        }
    }
    return trimmed(text);
}

}  // namespace simkernel
