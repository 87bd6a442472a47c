// Hex text as update files write APDUs, AIDs and status words.

#ifndef SIMKERNEL_HEX_H
#define SIMKERNEL_HEX_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simkernel {

using Bytes = std::vector<uint8_t>;

// Pairs of hex digits, blanks allowed between pairs. Empty on a bad digit, a
// blank inside a pair or an odd digit count.
std::optional<Bytes> parseHex(std::string_view text);

// Upper-case hex; beyond `limit` bytes the text ends in "..(N bytes)".
std::string hexText(const uint8_t* data, size_t size, size_t limit = SIZE_MAX);
inline std::string hexText(const Bytes& bytes, size_t limit = SIZE_MAX) {
    return hexText(bytes.data(), bytes.size(), limit);
}

}  // namespace simkernel

#endif  // SIMKERNEL_HEX_H
