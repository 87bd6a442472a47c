#include "Hex.h"

#include <cstdio>

#include "Errors.h"
#include "cosim/Bytes.h"

namespace cosupdate::cli {

namespace {

bool isSeparator(char c) {
    return c == ' ' || c == '\t' || c == ':';
}

UsageError notHex(const std::string& text, const std::string& what, const std::string& why) {
    return UsageError(what + ": '" + text + "' is not hex (" + why + ")");
}

}  // namespace

std::string toHex(const Bytes& bytes) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

Bytes parseHex(const std::string& text, const std::string& what) {
    Bytes bytes;
    size_t i = 0;
    while (i < text.size()) {
        if (isSeparator(text[i])) {
            ++i;
            continue;
        }
        const int high = cosim::hexDigitValue(text[i]);
        if (high < 0) {
            throw notHex(text, what, std::string("bad digit '") + text[i] + "'");
        }
        if (i + 1 >= text.size() || cosim::hexDigitValue(text[i + 1]) < 0) {
            throw notHex(text, what, "digits must come in pairs");
        }
        bytes.push_back(static_cast<uint8_t>(high << 4 | cosim::hexDigitValue(text[i + 1])));
        i += 2;
    }
    return bytes;
}

std::string formatVersion(uint16_t version) {
    char text[5];
    std::snprintf(text, sizeof text, "%04X", static_cast<unsigned>(version));
    return text;
}

std::optional<uint16_t> readVersion(const std::string& text) {
    constexpr size_t kMaxDigits = 4;
    if (text.empty() || text.size() > kMaxDigits) {
        return std::nullopt;
    }
    unsigned value = 0;
    for (char c : text) {
        const int digit = cosim::hexDigitValue(c);
        if (digit < 0) {
            return std::nullopt;
        }
        value = value << 4 | static_cast<unsigned>(digit);
    }
    return static_cast<uint16_t>(value);
}

uint16_t parseVersion(const std::string& text, const std::string& what) {
    if (const std::optional<uint16_t> version = readVersion(text)) {
        return *version;
    }
    throw UsageError(what + ": '" + text + "' is not a version of 1 to 4 hex digits");
}

}  // namespace cosupdate::cli
