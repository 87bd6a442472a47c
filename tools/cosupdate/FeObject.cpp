#include "FeObject.h"

#include <optional>

#include "Errors.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

namespace {

constexpr uint8_t kPlatformIdTag = 0xC1;
constexpr uint8_t kCosVersionTag = 0xC2;
constexpr uint8_t kCustomerIdTag = 0xC3;

[[noreturn]] void malformed(const Bytes& fe, const std::string& why) {
    throw ToolError("FE object " + apdu::encodeHex(fe) + " is malformed: " + why);
}

// BER length: one byte below 0x80, or 0x81 and one byte, or 0x82 and two.
size_t readLength(const Bytes& fe, size_t& pos) {
    if (pos >= fe.size()) {
        malformed(fe, "length missing");
    }
    const uint8_t first = fe[pos++];
    if (first < 0x80) {
        return first;
    }
    const size_t count = first & 0x7F;
    if (count == 0 || count > 2 || pos + count > fe.size()) {
        malformed(fe, "bad length");
    }
    size_t length = 0;
    for (size_t i = 0; i < count; ++i) {
        length = length << 8 | fe[pos++];
    }
    return length;
}

}  // namespace

CosIdentity decodeFe(const Bytes& fe) {
    std::optional<std::string> platform;
    std::optional<uint16_t> version;
    std::optional<std::string> customer;
    size_t pos = 0;
    while (pos < fe.size()) {
        const uint8_t tag = fe[pos++];
        const size_t length = readLength(fe, pos);
        if (length > fe.size() - pos) {
            malformed(fe, "value runs past the end");
        }
        const auto begin = fe.begin() + static_cast<ptrdiff_t>(pos);
        const auto end = begin + static_cast<ptrdiff_t>(length);
        if (tag == kPlatformIdTag) {
            platform = std::string(begin, end);
        } else if (tag == kCustomerIdTag) {
            customer = std::string(begin, end);
        } else if (tag == kCosVersionTag) {
            if (length != 2) {
                malformed(fe, "COS version of " + std::to_string(length) + " bytes");
            }
            version = static_cast<uint16_t>(fe[pos] << 8 | fe[pos + 1]);
        }
        pos += length;
    }
    if (!platform || !version) {
        malformed(fe, "platform id or COS version missing");
    }
    return CosIdentity{*platform, *version, customer.value_or("")};
}

std::string describe(const CosIdentity& identity) {
    return "platform " + identity.platformId + ", COS " + apdu::encodeHexU16(identity.cosVersion) +
           ", " + (identity.customerId.empty() ? "no customer" : "customer " + identity.customerId);
}

}  // namespace cosupdate::cli
