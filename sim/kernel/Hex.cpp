#include "Hex.h"

namespace simkernel {

namespace {

int digitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

}  // namespace

std::optional<Bytes> parseHex(std::string_view text) {
    Bytes bytes;
    bytes.reserve(text.size() / 2);
    int high = -1;
    for (char c : text) {
        if (isBlank(c)) {
            if (high >= 0) {
                return std::nullopt;
            }
            continue;
        }
        const int value = digitValue(c);
        if (value < 0) {
            return std::nullopt;
        }
        if (high < 0) {
            high = value;
        } else {
            bytes.push_back(static_cast<uint8_t>(high << 4 | value));
            high = -1;
        }
    }
    if (high >= 0) {
        return std::nullopt;
    }
    return bytes;
}

std::string hexText(const uint8_t* data, size_t size, size_t limit) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    const size_t shown = size < limit ? size : limit;
    std::string text;
    text.reserve(shown * 2 + 16);
    for (size_t i = 0; i < shown; ++i) {
        text.push_back(kDigits[data[i] >> 4]);
        text.push_back(kDigits[data[i] & 0x0F]);
    }
    if (shown < size) {
        text += "..(" + std::to_string(size) + " bytes)";
    }
    return text;
}

}  // namespace simkernel
