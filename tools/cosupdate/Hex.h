// Hexadecimal text as the command line takes it and the tool prints it.

#ifndef COSUPDATE_CLI_HEX_H
#define COSUPDATE_CLI_HEX_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace cosupdate::cli {

using Bytes = std::vector<uint8_t>;

// Upper-case, two digits a byte, no separator.
std::string toHex(const Bytes& bytes);

// Pairs of hex digits, either case; blanks and ':' between pairs are allowed.
// Throws UsageError naming `what` on anything else.
Bytes parseHex(const std::string& text, const std::string& what);

// A COS version as the update file writes it: four hex digits ("0102").
std::string formatVersion(uint16_t version);
// The version `text` gives when it is 1 to 4 hex digits and nothing else.
std::optional<uint16_t> readVersion(const std::string& text);
// Throws UsageError naming `what` unless `text` is 1 to 4 hex digits.
uint16_t parseVersion(const std::string& text, const std::string& what);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_HEX_H
