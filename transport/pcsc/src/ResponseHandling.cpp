#include "ResponseHandling.h"

#include <cstdio>
#include <string>

#include "CommandApdu.h"
#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate {
namespace pcsc {

namespace {

using Zelmar::Device::COS::V1_0::COSUpdateException;

uint8_t sw1(uint16_t statusWord) {
    return static_cast<uint8_t>(statusWord >> 8);
}

uint8_t sw2(uint16_t statusWord) {
    return static_cast<uint8_t>(statusWord);
}

std::string hexWord(uint16_t value) {
    char text[5];
    std::snprintf(text, sizeof(text), "%04X", value);
    return text;
}

// One exchange, repeated once with the Le the card asked for on 6Cxx.
Bytes sendFixingLe(const Bytes& command, const RawTransmit& send) {
    Bytes answer = send(command);
    const uint16_t status = statusWordOf(answer);
    if (sw1(status) != sw::kWrongLeSw1) {
        return answer;
    }
    const std::optional<Bytes> fixed = withLe(command, sw2(status));
    if (!fixed) {
        return answer;  // nothing we can resend: the caller judges the 6Cxx
    }
    return send(*fixed);
}

}  // namespace

uint16_t statusWordOf(const Bytes& answer) {
    if (answer.size() < kStatusWordSize) {
        throw COSUpdateException("card answered " + std::to_string(answer.size()) +
                                 " byte(s), no status word");
    }
    const size_t n = answer.size();
    return static_cast<uint16_t>(answer[n - 2] << 8 | answer[n - 1]);
}

Bytes dataOf(const Bytes& answer) {
    return Bytes(answer.begin(), answer.end() - kStatusWordSize);
}

bool isSuccess(const Bytes& answer) {
    return statusWordOf(answer) == sw::kSuccess;
}

Bytes transceive(const Bytes& command, const RawTransmit& send, uint8_t getResponseCla) {
    Bytes answer = sendFixingLe(command, send);
    Bytes collected;
    for (size_t rounds = 0; sw1(statusWordOf(answer)) == sw::kMoreDataSw1; ++rounds) {
        if (rounds == kMaxGetResponseRounds) {
            throw COSUpdateException("card still answered " + hexWord(statusWordOf(answer)) +
                                     " after " + std::to_string(rounds) + " GET RESPONSE commands");
        }
        const Bytes data = dataOf(answer);
        collected.insert(collected.end(), data.begin(), data.end());
        const uint8_t available = sw2(statusWordOf(answer));
        answer = sendFixingLe(getResponseCommand(getResponseCla, available), send);
    }
    if (collected.empty()) {
        return answer;
    }
    collected.insert(collected.end(), answer.begin(), answer.end());
    return collected;
}

}  // namespace pcsc
}  // namespace cosupdate
