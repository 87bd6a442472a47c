#include "HexArguments.h"

#include <optional>

#include "Errors.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

namespace {

// A pasted AID may come as "F0 5A 4C" or "F0:5A:4C".
constexpr std::string_view kSeparators = " \t:";

std::string reason(const std::string& text, const apdu::HexError& error) {
    if (error.kind == apdu::HexError::Kind::BadDigit) {
        return std::string("bad digit '") + text[error.offset] + "'";
    }
    return "digits must come in pairs";
}

}  // namespace

Bytes parseHex(const std::string& text, const std::string& what) {
    apdu::HexDecoded decoded = apdu::decodeHex(text, kSeparators);
    if (decoded.error) {
        throw UsageError(what + ": '" + text + "' is not hex (" + reason(text, *decoded.error) +
                         ")");
    }
    return std::move(decoded.bytes);
}

uint16_t parseVersion(const std::string& text, const std::string& what) {
    if (const std::optional<uint16_t> version = apdu::decodeHexU16(text)) {
        return *version;
    }
    throw UsageError(what + ": '" + text + "' is not a version of 1 to 4 hex digits");
}

}  // namespace cosupdate::cli
