// Strict reading of the kernel's XML documents: unknown elements and
// attributes, stray text and malformed XML are errors that name their line.

#ifndef SIMKERNEL_XML_SUPPORT_H
#define SIMKERNEL_XML_SUPPORT_H

#include <tinyxml2.h>

#include <initializer_list>
#include <string>

namespace simkernel {

// Parses `xml`; throws KernelError("<what>, line N: ...") when it is not
// well-formed or has no root element.
void parseDocument(tinyxml2::XMLDocument& document, const char* xml, const std::string& what);

// Throws KernelError naming `where` and the line.
[[noreturn]] void failAt(const std::string& where, int line, const std::string& message);

// Throws unless every attribute of `element` is one of `allowed`.
void checkAttributes(const tinyxml2::XMLElement& element,
                     std::initializer_list<const char*> allowed, const std::string& where);

// Throws if `element` holds text other than blanks.
void checkNoText(const tinyxml2::XMLElement& element, const std::string& where);

// All text and CDATA inside `element`, blanks trimmed at both ends. Throws if
// it holds elements.
std::string textContent(const tinyxml2::XMLElement& element, const std::string& where);

// The attribute's text, or null when absent.
inline const char* attributeOrNull(const tinyxml2::XMLElement& element, const char* name) {
    return element.Attribute(name);
}

}  // namespace simkernel

#endif  // SIMKERNEL_XML_SUPPORT_H
