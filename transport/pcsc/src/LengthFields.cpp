#include "LengthFields.h"

namespace cosupdate {
namespace pcsc {

namespace {

constexpr size_t kLcOffset = kApduHeaderSize;
constexpr size_t kShortLcSize = 1;
constexpr size_t kExtendedLcSize = 3;  // 00 then two length bytes
constexpr size_t kExtendedLeSize = 2;  // after data: two bytes
constexpr size_t kExtendedCaseTwoSize = kApduHeaderSize + 3;
constexpr uint8_t kGetResponseIns = 0xC0;
// A short Le of 00 asks for 256 bytes; an extended Le says so in two bytes.
constexpr uint16_t kShortLeMaximum = 256;

std::optional<ApduCase> extendedCase(const Bytes& command) {
    if (command.size() == kExtendedCaseTwoSize) {
        return ApduCase::TwoExtended;
    }
    if (command.size() < kExtendedCaseTwoSize) {
        return std::nullopt;
    }
    const size_t lc = size_t{command[kLcOffset + 1]} << 8 | command[kLcOffset + 2];
    const size_t dataEnd = kLcOffset + kExtendedLcSize + lc;
    if (lc == 0) {
        return std::nullopt;
    }
    if (command.size() == dataEnd) {
        return ApduCase::ThreeExtended;
    }
    if (command.size() == dataEnd + kExtendedLeSize) {
        return ApduCase::FourExtended;
    }
    return std::nullopt;
}

void appendExtendedLe(Bytes& command, uint8_t le) {
    const uint16_t ne = le == 0 ? kShortLeMaximum : le;
    command.push_back(static_cast<uint8_t>(ne >> 8));
    command.push_back(static_cast<uint8_t>(ne));
}

}  // namespace

std::optional<ApduCase> apduCase(const Bytes& command) {
    if (command.size() < kApduHeaderSize) {
        return std::nullopt;
    }
    if (command.size() == kApduHeaderSize) {
        return ApduCase::One;
    }
    if (command.size() == kApduHeaderSize + 1) {
        return ApduCase::TwoShort;
    }
    const size_t lc = command[kLcOffset];
    if (lc == 0) {
        return extendedCase(command);
    }
    const size_t dataEnd = kLcOffset + kShortLcSize + lc;
    if (command.size() == dataEnd) {
        return ApduCase::ThreeShort;
    }
    if (command.size() == dataEnd + 1) {
        return ApduCase::FourShort;
    }
    return std::nullopt;
}

std::optional<Bytes> withLe(const Bytes& command, uint8_t le) {
    const std::optional<ApduCase> kind = apduCase(command);
    if (!kind) {
        return std::nullopt;
    }
    Bytes fixed = command;
    switch (*kind) {
        case ApduCase::One:
        case ApduCase::ThreeShort:
            fixed.push_back(le);
            break;
        case ApduCase::TwoShort:
        case ApduCase::FourShort:
            fixed.back() = le;
            break;
        case ApduCase::TwoExtended:
        case ApduCase::FourExtended:
            fixed.resize(fixed.size() - kExtendedLeSize);
            appendExtendedLe(fixed, le);
            break;
        case ApduCase::ThreeExtended:
            appendExtendedLe(fixed, le);
            break;
    }
    return fixed;
}

Bytes forT0(const Bytes& command) {
    if (apduCase(command) != ApduCase::FourShort) {
        return command;
    }
    return Bytes(command.begin(), command.end() - 1);
}

Bytes getResponseCommand(uint8_t cla, uint8_t le) {
    return Bytes{cla, kGetResponseIns, 0x00, 0x00, le};
}

}  // namespace pcsc
}  // namespace cosupdate
