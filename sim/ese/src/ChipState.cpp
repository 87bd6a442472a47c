#include "cosim/ChipState.h"

#include <stdexcept>

#include "cosupdate/apdu/Hex.h"

namespace cosim {

namespace {

constexpr uint16_t kFactoryCosVersion = 0x0100;
constexpr uint8_t kTwoByteLength = 0x81;
constexpr uint8_t kLongestShortFormLength = 0x7F;

bool isPrintableAscii(const std::string& text) {
    for (char c : text) {
        if (c < 0x20 || c > 0x7E) {
            return false;
        }
    }
    return true;
}

void checkId(const std::string& text, const char* field, bool mayBeEmpty) {
    if ((!mayBeEmpty && text.empty()) || text.size() > kMaxIdLength) {
        throw std::invalid_argument(std::string(field) + ": must have " +
                                    (mayBeEmpty ? "at most" : "1 to") + " 127 characters");
    }
    if (!isPrintableAscii(text)) {
        throw std::invalid_argument(std::string(field) + ": printable ASCII only");
    }
}

bool isBuiltInAid(const Bytes& aidBytes) {
    return aidBytes == aid::kFC || aidBytes == aid::kFD || aidBytes == aid::kFE ||
           aidBytes == aid::kLoader;
}

void appendTlv(Bytes& out, uint8_t tag, const uint8_t* value, size_t size) {
    out.push_back(tag);
    if (size > kLongestShortFormLength) {
        out.push_back(kTwoByteLength);
    }
    out.push_back(static_cast<uint8_t>(size));
    out.insert(out.end(), value, value + size);
}

}  // namespace

ChipState ChipState::factoryDefault() {
    ChipState state;
    state.platformId = "ZLM-P1";
    state.cosVersion = kFactoryCosVersion;
    state.customerId = "ACME";
    state.fc = {0x5A, 0x4C, 0x4D, 0x01, 0x00, 0x00, 0x00, 0x2A};  // product, serial
    state.fd = {0x0A, 0x01, 0x00, 0x03};                          // hardware rev, ROM mask
    return state;
}

bool operator==(const ChipState& a, const ChipState& b) {
    return a.platformId == b.platformId && a.cosVersion == b.cosVersion &&
           a.customerId == b.customerId && a.fc == b.fc && a.fd == b.fd && a.services == b.services;
}

void validate(const ChipState& state) {
    checkId(state.platformId, "platform id", false);
    checkId(state.customerId, "customer id", true);
    if (state.fc.size() > kMaxFcSize) {
        throw std::invalid_argument("FC: at most 1024 bytes");
    }
    if (state.services.size() > kMaxServices) {
        throw std::invalid_argument("services: at most 32");
    }
    for (const Bytes& service : state.services) {
        if (service.size() < kMinAidSize || service.size() > kMaxAidSize) {
            throw std::invalid_argument("service " + apdu::encodeHex(service) +
                                        ": AID of 5 to 16 bytes");
        }
        if (isBuiltInAid(service)) {
            throw std::invalid_argument("service " + apdu::encodeHex(service) +
                                        ": AID of the chip itself");
        }
    }
}

Bytes encodeFe(const ChipState& state) {
    Bytes fe;
    appendTlv(fe, fe::kPlatformIdTag, reinterpret_cast<const uint8_t*>(state.platformId.data()),
              state.platformId.size());
    Bytes version;
    apdu::appendU16(version, state.cosVersion);
    appendTlv(fe, fe::kCosVersionTag, version.data(), version.size());
    appendTlv(fe, fe::kCustomerIdTag, reinterpret_cast<const uint8_t*>(state.customerId.data()),
              state.customerId.size());
    return fe;
}

std::string describe(const ChipState& state) {
    std::string text = "platform '" + state.platformId + "' COS " +
                       apdu::encodeHexU16(state.cosVersion) + " customer '" + state.customerId +
                       "' FC " + apdu::encodeHex(state.fc) + " FD " +
                       apdu::encodeHex(state.fd.data(), state.fd.size()) + " services [";
    const char* separator = "";
    for (const Bytes& service : state.services) {
        text += separator + apdu::encodeHex(service);
        separator = " ";
    }
    return text + "]";
}

}  // namespace cosim
