// One line of a trace read as a JSON object. Its strings are byte strings:
// the recorder writes every byte outside printable ASCII as \u00XX, which a
// JSON parser reads as the code point U+00XX; member<std::string> maps each
// code point back to its byte.

#ifndef COSUPDATE_TRACE_LINE_OBJECT_H
#define COSUPDATE_TRACE_LINE_OBJECT_H

#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

namespace cosupdate::trace {

// What is wrong with one line of a trace.
class LineFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class LineObject {
  public:
    // `text`: one JSON object and nothing else. Throws LineFault when it is
    // not one, holds a byte outside ASCII or names a member twice.
    static LineObject parse(const std::string& text);

    // The member `key` when the line has it as a T: a whole number
    // (uint64_t), a boolean (bool) or a string (std::string, as bytes).
    // Throws LineFault when a string holds a character above \u00FF, which
    // the recorder never writes.
    template <typename T>
    std::optional<T> member(const char* key) const;

  private:
    explicit LineObject(nlohmann::json object) : m_object(std::move(object)) {}

    nlohmann::json m_object;
};

template <>
std::optional<uint64_t> LineObject::member(const char* key) const;
template <>
std::optional<bool> LineObject::member(const char* key) const;
template <>
std::optional<std::string> LineObject::member(const char* key) const;

}  // namespace cosupdate::trace

#endif  // COSUPDATE_TRACE_LINE_OBJECT_H
