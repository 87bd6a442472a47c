#include "LogicalChannel.h"

#include <cstdio>
#include <string>

#include "ResponseHandling.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "cosupdate/apdu/StatusWords.h"

namespace cosupdate {
namespace pcsc {

namespace {

using Zelmar::Device::COS::V1_0::COSUpdateException;

constexpr uint8_t kInvalidCla = 0xFF;
constexpr uint8_t kProprietaryBit = 0x80;
constexpr uint8_t kFurtherLayoutBit = 0x40;  // channels 4-19
constexpr uint8_t kChainingBit = 0x10;
// First layout: b6 reserved, b4-b3 secure messaging, b2-b1 channel.
constexpr uint8_t kFirstReservedBit = 0x20;
constexpr uint8_t kFirstSmMask = 0x0C;
constexpr uint8_t kFirstSmShift = 2;
constexpr uint8_t kFirstLastChannel = 3;
// Further layout: b6 secure messaging, b4-b1 channel minus 4.
constexpr uint8_t kFurtherSmBit = 0x20;
constexpr uint8_t kFurtherFirstChannel = 4;
// Secure messaging indications of the first layout.
constexpr uint8_t kSmNone = 0x0;
constexpr uint8_t kSmHeaderNotProcessed = 0x2;  // the only one the further layout has

constexpr uint8_t kIsoCla = 0x00;
constexpr uint8_t kManageChannelIns = 0x70;
constexpr uint8_t kManageChannelClose = 0x80;
constexpr uint8_t kSelectIns = 0xA4;
constexpr uint8_t kSelectByName = 0x04;
constexpr uint8_t kSelectFirstWithFci = 0x00;
constexpr uint8_t kLeAll = 0x00;
constexpr uint8_t kMaxShortData = 255;
constexpr size_t kSelectHeaderAndLcSize = 5;

// Secure messaging as the first layout's two bits.
uint8_t secureMessaging(uint8_t cla) {
    if ((cla & kFurtherLayoutBit) != 0) {
        return (cla & kFurtherSmBit) != 0 ? kSmHeaderNotProcessed : kSmNone;
    }
    return static_cast<uint8_t>((cla & kFirstSmMask) >> kFirstSmShift);
}

[[noreturn]] void refuse(uint8_t cla, uint8_t channel, const char* why) {
    char text[96];
    std::snprintf(text, sizeof(text), "class byte %02X cannot address logical channel %u: %s", cla,
                  channel, why);
    throw COSUpdateException(text);
}

}  // namespace

uint8_t claForChannel(uint8_t cla, uint8_t channel) {
    if (channel > kMaxChannel) {
        refuse(cla, channel, "no such channel");
    }
    if (cla == kInvalidCla) {
        refuse(cla, channel, "invalid class");
    }
    if ((cla & kFurtherLayoutBit) == 0 && (cla & kFirstReservedBit) != 0) {
        refuse(cla, channel, "reserved class");
    }
    const uint8_t kept = static_cast<uint8_t>(cla & (kProprietaryBit | kChainingBit));
    const uint8_t sm = secureMessaging(cla);
    if (channel <= kFirstLastChannel) {
        return static_cast<uint8_t>(kept | sm << kFirstSmShift | channel);
    }
    if (sm != kSmNone && sm != kSmHeaderNotProcessed) {
        refuse(cla, channel, "secure messaging not expressible beyond channel 3");
    }
    const uint8_t smBit = sm == kSmHeaderNotProcessed ? kFurtherSmBit : 0;
    return static_cast<uint8_t>(kept | kFurtherLayoutBit | smBit |
                                (channel - kFurtherFirstChannel));
}

Bytes manageChannelOpenCommand() {
    // P2 00: the card chooses the channel; Le 01: it names it in one byte.
    return Bytes{kIsoCla, kManageChannelIns, 0x00, 0x00, 0x01};
}

Bytes manageChannelCloseCommand(uint8_t channel) {
    return Bytes{kIsoCla, kManageChannelIns, kManageChannelClose, channel};
}

Bytes selectByNameCommand(uint8_t cla, const Bytes& aid) {
    if (aid.empty() || aid.size() > kMaxShortData) {
        throw COSUpdateException("cannot SELECT an AID of " + std::to_string(aid.size()) +
                                 " bytes");
    }
    Bytes command;
    command.reserve(kSelectHeaderAndLcSize + aid.size() + 1);
    for (uint8_t byte : {cla, kSelectIns, kSelectByName, kSelectFirstWithFci}) {
        command.push_back(byte);
    }
    command.push_back(static_cast<uint8_t>(aid.size()));
    command.insert(command.end(), aid.begin(), aid.end());
    command.push_back(kLeAll);
    return command;
}

std::optional<uint8_t> grantedChannel(const Bytes& answer) {
    if (!isSuccess(answer)) {
        return std::nullopt;
    }
    const Bytes data = apdu::dataOf(answer);
    if (data.size() != 1 || data[0] == kBasicChannel || data[0] > kMaxChannel) {
        throw COSUpdateException("MANAGE CHANNEL succeeded without naming a channel from 1 to " +
                                 std::to_string(kMaxChannel));
    }
    return data[0];
}

}  // namespace pcsc
}  // namespace cosupdate
