#include "Hex.h"

#include <array>

namespace simkernel {

namespace {

// What a character is worth in hex text: a digit's value, or one of these.
constexpr int8_t kNotHex = -1;
constexpr int8_t kBlank = -2;

// By table rather than by comparisons: a patch script carries megabytes of
// hex, decoded on every load of the script.
constexpr std::array<int8_t, 256> makeDigitTable() {
    std::array<int8_t, 256> table{};
    for (size_t c = 0; c < table.size(); ++c) {
        table[c] = kNotHex;
    }
    for (int digit = 0; digit < 10; ++digit) {
        table['0' + digit] = static_cast<int8_t>(digit);
    }
    for (int digit = 0; digit < 6; ++digit) {
        table['a' + digit] = static_cast<int8_t>(10 + digit);
        table['A' + digit] = static_cast<int8_t>(10 + digit);
    }
    for (const char blank : {' ', '\t', '\n', '\r'}) {
        table[static_cast<unsigned char>(blank)] = kBlank;
    }
    return table;
}

constexpr std::array<int8_t, 256> kDigitTable = makeDigitTable();

int8_t digitValue(char c) {
    return kDigitTable[static_cast<unsigned char>(c)];
}

}  // namespace

std::optional<Bytes> parseHex(std::string_view text) {
    Bytes bytes(text.size() / 2);
    uint8_t* out = bytes.data();
    size_t i = 0;
    while (i < text.size()) {
        const int8_t high = digitValue(text[i]);
        if (high == kBlank) {
            ++i;
            continue;
        }
        // A bad digit, a pair cut by a blank or by the end of the text.
        if (high < 0 || i + 1 == text.size()) {
            return std::nullopt;
        }
        const int8_t low = digitValue(text[i + 1]);
        if (low < 0) {
            return std::nullopt;
        }
        *out++ = static_cast<uint8_t>(high << 4 | low);
        i += 2;
    }
    bytes.resize(static_cast<size_t>(out - bytes.data()));
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
