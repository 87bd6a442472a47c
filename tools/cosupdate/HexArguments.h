// Hex text as the command line takes it: AIDs, chip fields, COS versions.

#ifndef COSUPDATE_CLI_HEX_ARGUMENTS_H
#define COSUPDATE_CLI_HEX_ARGUMENTS_H

#include <cstdint>
#include <string>

#include "cosupdate/apdu/Bytes.h"

namespace cosupdate::cli {

using apdu::Bytes;

// Pairs of hex digits, either case; blanks and ':' between pairs are allowed.
// Throws UsageError naming `what` on anything else.
Bytes parseHex(const std::string& text, const std::string& what);

// Throws UsageError naming `what` unless `text` is 1 to 4 hex digits.
uint16_t parseVersion(const std::string& text, const std::string& what);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_HEX_ARGUMENTS_H
