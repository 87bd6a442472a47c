#include "cosupdate/apdu/Hex.h"

#include <array>

namespace cosupdate::apdu {

namespace {

constexpr char kDigits[] = "0123456789ABCDEF";
constexpr size_t kU16Digits = 4;
constexpr int8_t kNotADigit = -1;

// By table rather than by comparisons: a patch script carries megabytes of
// hex, decoded on every load of the script.
constexpr std::array<int8_t, 256> makeDigitTable() {
    std::array<int8_t, 256> table{};
    for (int8_t& value : table) {
        value = kNotADigit;
    }
    for (int digit = 0; digit < 10; ++digit) {
        table['0' + digit] = static_cast<int8_t>(digit);
    }
    for (int digit = 0; digit < 6; ++digit) {
        table['a' + digit] = static_cast<int8_t>(10 + digit);
        table['A' + digit] = static_cast<int8_t>(10 + digit);
    }
    return table;
}

constexpr std::array<int8_t, 256> kDigitTable = makeDigitTable();

int8_t digitOf(char c) {
    return kDigitTable[static_cast<unsigned char>(c)];
}

HexDecoded failure(HexError::Kind kind, size_t offset) {
    return HexDecoded{Bytes(), HexError{kind, offset}};
}

}  // namespace

HexDecoded decodeHex(std::string_view text, std::string_view separators) {
    // Sized once for the densest text, trimmed at the end.
    Bytes bytes(text.size() / 2);
    uint8_t* out = bytes.data();
    size_t i = 0;
    while (i < text.size()) {
        const int8_t high = digitOf(text[i]);
        if (high == kNotADigit) {
            if (separators.find(text[i]) == std::string_view::npos) {
                return failure(HexError::Kind::BadDigit, i);
            }
            ++i;
            continue;
        }
        if (i + 1 == text.size() || digitOf(text[i + 1]) == kNotADigit) {
            return failure(HexError::Kind::UnpairedDigit, i + 1);
        }
        *out++ = static_cast<uint8_t>(high << 4 | digitOf(text[i + 1]));
        i += 2;
    }
    bytes.resize(static_cast<size_t>(out - bytes.data()));
    return HexDecoded{std::move(bytes), std::nullopt};
}

std::string describe(const HexError& error, std::string_view text) {
    if (error.offset >= text.size()) {
        return "odd number of hex digits";
    }
    return std::string("not a hex digit: '") + text[error.offset] + "'";
}

std::string encodeHex(const uint8_t* data, size_t size) {
    std::string text;
    text.reserve(size * 2);
    for (size_t i = 0; i < size; ++i) {
        text.push_back(kDigits[data[i] >> 4]);
        text.push_back(kDigits[data[i] & 0x0F]);
    }
    return text;
}

std::string encodeHex(const Bytes& bytes) {
    return encodeHex(bytes.data(), bytes.size());
}

std::string encodeHexU16(uint16_t value) {
    Bytes bytes;
    appendU16(bytes, value);
    return encodeHex(bytes);
}

std::optional<uint16_t> decodeHexU16(std::string_view text) {
    if (text.empty() || text.size() > kU16Digits) {
        return std::nullopt;
    }
    unsigned value = 0;
    for (char c : text) {
        const int8_t digit = digitOf(c);
        if (digit == kNotADigit) {
            return std::nullopt;
        }
        value = value << 4 | static_cast<unsigned>(digit);
    }
    return static_cast<uint16_t>(value);
}

std::optional<uint8_t> hexDigitValue(char c) {
    const int8_t digit = digitOf(c);
    if (digit == kNotADigit) {
        return std::nullopt;
    }
    return static_cast<uint8_t>(digit);
}

}  // namespace cosupdate::apdu
