#include "Json.h"

#include <cstdio>

namespace cosupdate::cli {

namespace {

// Length of the valid UTF-8 sequence starting at text[pos], or 0.
size_t utf8Length(const std::string& text, size_t pos) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(pos);
    size_t length = 0;
    unsigned min = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        min = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        min = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        min = 0x10000;
    } else {
        return 0;
    }
    if (pos + length > text.size()) {
        return 0;
    }
    unsigned code = lead & (0x7F >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((byte(pos + i) & 0xC0) != 0x80) {
            return 0;
        }
        code = code << 6 | (byte(pos + i) & 0x3F);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < min || code > 0x10FFFF || surrogate ? 0 : length;
}

void appendEscaped(std::string& out, unsigned char c) {
    switch (c) {
        case '"':
            out += "\\\"";
            return;
        case '\\':
            out += "\\\\";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            break;
    }
    if (c < 0x20 || c == 0x7F) {
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(c));
        out += escape;
    } else {
        out += static_cast<char>(c);
    }
}

}  // namespace

std::string jsonString(const std::string& text) {
    std::string out = "\"";
    for (size_t pos = 0; pos < text.size();) {
        const auto c = static_cast<unsigned char>(text[pos]);
        if (c < 0x80) {
            appendEscaped(out, c);
            ++pos;
            continue;
        }
        const size_t length = utf8Length(text, pos);
        if (length == 0) {
            out += "\\uFFFD";
            ++pos;
        } else {
            out.append(text, pos, length);
            pos += length;
        }
    }
    return out + "\"";
}

JsonObject& JsonObject::setRaw(const std::string& key, std::string raw) {
    for (auto& member : m_members) {
        if (member.first == key) {
            member.second = std::move(raw);
            return *this;
        }
    }
    m_members.emplace_back(key, std::move(raw));
    return *this;
}

JsonObject& JsonObject::set(const std::string& key, const std::string& value) {
    return setRaw(key, jsonString(value));
}

JsonObject& JsonObject::set(const std::string& key, const char* value) {
    return setRaw(key, jsonString(value));
}

JsonObject& JsonObject::set(const std::string& key, int64_t value) {
    return setRaw(key, std::to_string(value));
}

JsonObject& JsonObject::set(const std::string& key, uint64_t value) {
    return setRaw(key, std::to_string(value));
}

JsonObject& JsonObject::set(const std::string& key, bool value) {
    return setRaw(key, value ? "true" : "false");
}

JsonObject& JsonObject::set(const std::string& key, const JsonObject& value) {
    return setRaw(key, value.text());
}

JsonObject& JsonObject::set(const std::string& key, const JsonArray& value) {
    return setRaw(key, value.text());
}

JsonObject& JsonObject::setNull(const std::string& key) {
    return setRaw(key, "null");
}

JsonObject& JsonObject::merge(const JsonObject& other) {
    for (const auto& [key, value] : other.m_members) {
        setRaw(key, value);
    }
    return *this;
}

std::string JsonObject::text() const {
    std::string out = "{";
    for (const auto& [key, value] : m_members) {
        if (out.size() > 1) {
            out += ',';
        }
        out += jsonString(key) + ':' + value;
    }
    return out + "}";
}

JsonArray& JsonArray::add(const std::string& value) {
    m_items.push_back(jsonString(value));
    return *this;
}

JsonArray& JsonArray::add(const JsonObject& value) {
    m_items.push_back(value.text());
    return *this;
}

std::string JsonArray::text() const {
    std::string out = "[";
    for (const std::string& item : m_items) {
        if (out.size() > 1) {
            out += ',';
        }
        out += item;
    }
    return out + "]";
}

}  // namespace cosupdate::cli
