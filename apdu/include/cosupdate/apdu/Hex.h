// Hex text of byte strings: written in upper case, two digits a byte; read as
// pairs of digits of either case, with whatever separators the format allows
// between two bytes (never inside one). One codec for update files, chip
// state files, command lines and log lines.

#ifndef COSUPDATE_APDU_HEX_H
#define COSUPDATE_APDU_HEX_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "cosupdate/apdu/Bytes.h"

namespace cosupdate::apdu {

// Separators decodeHex() may skip between two bytes.
constexpr std::string_view kNoSeparators{};
constexpr std::string_view kBlanks = " \t\r\n";  // as text formats wrap and indent hex

struct HexError {
    enum class Kind {
        BadDigit,       // where a byte starts: neither a digit nor a separator
        UnpairedDigit,  // a byte's first digit without its second
    };
    Kind kind;
    // The character at fault; the text's size when the text ends inside a byte.
    size_t offset;
};

struct HexDecoded {
    Bytes bytes;  // empty when there is an error
    std::optional<HexError> error;
};

HexDecoded decodeHex(std::string_view text, std::string_view separators = kNoSeparators);

// For messages: "not a hex digit: 'G'" or "odd number of hex digits".
std::string describe(const HexError& error, std::string_view text);

std::string encodeHex(const uint8_t* data, size_t size);
std::string encodeHex(const Bytes& bytes);

// A 16-bit value (a COS version, a status word) as four digits: "0102".
std::string encodeHexU16(uint16_t value);
// The value of 1 to 4 hex digits and nothing else; empty otherwise.
std::optional<uint16_t> decodeHexU16(std::string_view text);

// The value of one hex digit of either case; empty for any other character.
std::optional<uint8_t> hexDigitValue(char c);

}  // namespace cosupdate::apdu

#endif  // COSUPDATE_APDU_HEX_H
