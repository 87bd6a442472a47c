#include "Sanitize.h"

#include <cstdio>

namespace cosupdate::cli {

namespace {

constexpr unsigned kDelete = 0x7F;
constexpr unsigned kFirstC1 = 0x80;
constexpr unsigned kLastC1 = 0x9F;

std::string escaped(const char* format, unsigned value) {
    char text[8];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

void appendAscii(std::string& out, unsigned char c) {
    switch (c) {
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        case '\\':
            out += "\\\\";
            return;
        default:
            break;
    }
    if (c < 0x20 || c == kDelete) {
        out += escaped("\\x%02X", c);
    } else {
        out += static_cast<char>(c);
    }
}

// The code point of a two-byte sequence, for telling C1 controls apart.
unsigned twoByteCodePoint(std::string_view text, size_t pos) {
    return (static_cast<unsigned char>(text[pos]) & 0x1Fu) << 6 |
           (static_cast<unsigned char>(text[pos + 1]) & 0x3Fu);
}

// Length of the well-formed UTF-8 sequence at text[pos] (1 to 4), or 0.
size_t utf8SequenceLength(std::string_view text, size_t pos) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(pos);
    if (lead < 0x80) {
        return 1;
    }
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
    unsigned code = lead & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((byte(pos + i) & 0xC0) != 0x80) {
            return 0;
        }
        code = code << 6 | (byte(pos + i) & 0x3Fu);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < min || code > 0x10FFFF || surrogate ? 0 : length;
}

}  // namespace

std::string sanitize(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t pos = 0; pos < text.size();) {
        const size_t length = utf8SequenceLength(text, pos);
        if (length == 1) {
            appendAscii(out, static_cast<unsigned char>(text[pos]));
        } else if (length == 0) {
            out += escaped("\\x%02X", static_cast<unsigned char>(text[pos]));
            pos += 1;
            continue;
        } else if (length == 2 && twoByteCodePoint(text, pos) >= kFirstC1 &&
                   twoByteCodePoint(text, pos) <= kLastC1) {
            out += escaped("\\u%04X", twoByteCodePoint(text, pos));
        } else {
            out.append(text, pos, length);
        }
        pos += length;
    }
    return out;
}

}  // namespace cosupdate::cli
