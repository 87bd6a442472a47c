#include "cosim/Bytes.h"

#include <stdexcept>

namespace cosim {

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

}  // namespace

int hexDigitValue(char c) {
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

std::string toHex(const uint8_t* data, size_t size) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(size * 2);
    for (size_t i = 0; i < size; ++i) {
        text.push_back(kDigits[data[i] >> 4]);
        text.push_back(kDigits[data[i] & 0x0F]);
    }
    return text;
}

std::string toHex(const Bytes& bytes) {
    return toHex(bytes.data(), bytes.size());
}

Bytes fromHex(std::string_view text) {
    Bytes bytes;
    bytes.reserve(text.size() / 2);
    int high = -1;
    for (char c : text) {
        if (isBlank(c)) {
            if (high >= 0) {
                throw std::invalid_argument("blank inside a hex byte");
            }
            continue;
        }
        const int value = hexDigitValue(c);
        if (value < 0) {
            throw std::invalid_argument(std::string("not a hex digit: '") + c + "'");
        }
        if (high < 0) {
            high = value;
        } else {
            bytes.push_back(static_cast<uint8_t>(high << 4 | value));
            high = -1;
        }
    }
    if (high >= 0) {
        throw std::invalid_argument("odd number of hex digits");
    }
    return bytes;
}

void appendU16(Bytes& out, uint16_t value) {
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

void appendU32(Bytes& out, uint32_t value) {
    appendU16(out, static_cast<uint16_t>(value >> 16));
    appendU16(out, static_cast<uint16_t>(value));
}

uint16_t readU16(const uint8_t* data) {
    return static_cast<uint16_t>(data[0] << 8 | data[1]);
}

uint32_t readU32(const uint8_t* data) {
    return uint32_t{readU16(data)} << 16 | readU16(data + 2);
}

}  // namespace cosim
