// Byte strings and their hexadecimal text form, as the chip model, the state
// file and the tools exchange them.

#ifndef COSIM_BYTES_H
#define COSIM_BYTES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cosim {

using Bytes = std::vector<uint8_t>;

// The value of one hex digit of either case, or -1 for any other character.
int hexDigitValue(char c);

// Upper-case hex, two digits per byte, no separators.
std::string toHex(const uint8_t* data, size_t size);
std::string toHex(const Bytes& bytes);

// Reads pairs of hex digits; blanks between pairs are skipped. Throws
// std::invalid_argument on any other character or an odd digit count.
Bytes fromHex(std::string_view text);

// Big-endian encodings used throughout the APDU protocol.
void appendU16(Bytes& out, uint16_t value);
void appendU32(Bytes& out, uint32_t value);
uint16_t readU16(const uint8_t* data);
uint32_t readU32(const uint8_t* data);

}  // namespace cosim

#endif  // COSIM_BYTES_H
