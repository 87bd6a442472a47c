#include "LineObject.h"

#include <algorithm>
#include <set>

#include "cosupdate/apdu/Hex.h"

namespace cosupdate::trace {

namespace {

using nlohmann::json;

const std::string kNotJson = "it is not JSON a trace holds: ";

// A trace is ASCII: a byte above 7F is not something the recorder writes.
void requireAscii(const std::string& text) {
    const auto raw = std::find_if(text.begin(), text.end(),
                                  [](char c) { return static_cast<unsigned char>(c) > 0x7F; });
    if (raw != text.end()) {
        const auto byte = static_cast<uint8_t>(*raw);
        throw LineFault(kNotJson + "byte " + apdu::encodeHex(&byte, 1) + " at column " +
                        std::to_string(raw - text.begin() + 1) + " is not ASCII");
    }
}

// The parser's reason from where it stopped on: "at column 12: syntax error
// ..."; the line number it gives is always 1, the line alone being parsed.
std::string reason(const json::parse_error& e) {
    const std::string text = e.what();
    const size_t column = text.find("column ");
    return column == std::string::npos ? text : "at " + text.substr(column);
}

json parseObject(const std::string& text) {
    std::set<std::string> keys;
    bool twice = false;
    const json::parser_callback_t noteKeys = [&](int depth, json::parse_event_t event,
                                                 json& parsed) {
        if (event == json::parse_event_t::key && depth == 1) {
            twice = !keys.insert(parsed.get<std::string>()).second || twice;
        }
        return true;
    };
    json object;
    try {
        object = json::parse(text, noteKeys);
    } catch (const json::parse_error& e) {
        throw LineFault(kNotJson + reason(e));
    }
    if (!object.is_object()) {
        throw LineFault(kNotJson + "it is not an object");
    }
    if (twice) {
        throw LineFault(kNotJson + "a member comes twice");
    }
    return object;
}

// U+0000..U+00FF as UTF-8: one byte below 80, else C2 or C3 and one more.
std::string bytesOf(const std::string& utf8, const char* key) {
    std::string bytes;
    bytes.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size(); ++i) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        if (lead < 0x80) {
            bytes.push_back(utf8[i]);
            continue;
        }
        const auto next = i + 1 < utf8.size() ? static_cast<unsigned char>(utf8[i + 1]) : 0;
        if ((lead != 0xC2 && lead != 0xC3) || (next & 0xC0) != 0x80) {
            throw LineFault(kNotJson + "its \"" + key + "\" holds a character above \\u00FF");
        }
        bytes.push_back(static_cast<char>((lead & 0x03) << 6 | (next & 0x3F)));
        ++i;
    }
    return bytes;
}

}  // namespace

LineObject LineObject::parse(const std::string& text) {
    requireAscii(text);
    return LineObject(parseObject(text));
}

template <>
std::optional<uint64_t> LineObject::member(const char* key) const {
    const auto found = m_object.find(key);
    if (found == m_object.end() || !found->is_number_unsigned()) {
        return std::nullopt;
    }
    return found->get<uint64_t>();
}

template <>
std::optional<bool> LineObject::member(const char* key) const {
    const auto found = m_object.find(key);
    if (found == m_object.end() || !found->is_boolean()) {
        return std::nullopt;
    }
    return found->get<bool>();
}

template <>
std::optional<std::string> LineObject::member(const char* key) const {
    const auto found = m_object.find(key);
    if (found == m_object.end() || !found->is_string()) {
        return std::nullopt;
    }
    return bytesOf(found->get_ref<const std::string&>(), key);
}

}  // namespace cosupdate::trace
