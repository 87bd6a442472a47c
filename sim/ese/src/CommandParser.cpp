#include "CommandParser.h"

namespace cosim {

namespace {
constexpr size_t kHeaderSize = 4;
constexpr size_t kLcOffset = 4;
constexpr size_t kMaxShortNe = 256;

size_t shortNe(uint8_t le) {
    return le == 0 ? kMaxShortNe : le;
}
}  // namespace

std::optional<CommandApdu> parseCommandApdu(const Bytes& apdu) {
    if (apdu.size() < kHeaderSize) {
        return std::nullopt;
    }
    CommandApdu command;
    command.cla = apdu[0];
    command.ins = apdu[1];
    command.p1 = apdu[2];
    command.p2 = apdu[3];
    if (apdu.size() == kHeaderSize) {
        return command;
    }
    if (apdu.size() == kHeaderSize + 1) {
        command.ne = shortNe(apdu[kLcOffset]);
        return command;
    }
    const size_t lc = apdu[kLcOffset];
    if (lc == 0) {
        return std::nullopt;  // extended length
    }
    const size_t dataEnd = kLcOffset + 1 + lc;
    if (apdu.size() != dataEnd && apdu.size() != dataEnd + 1) {
        return std::nullopt;
    }
    command.data.assign(apdu.begin() + kLcOffset + 1, apdu.begin() + dataEnd);
    if (apdu.size() == dataEnd + 1) {
        command.ne = shortNe(apdu[dataEnd]);
    }
    return command;
}

}  // namespace cosim
