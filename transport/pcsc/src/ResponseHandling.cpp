#include "ResponseHandling.h"

#include <string>

#include "LengthFields.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "cosupdate/apdu/Hex.h"
#include "cosupdate/apdu/StatusWords.h"

namespace cosupdate {
namespace pcsc {

namespace {

using apdu::statusWordOf;
using apdu::sw1;
using apdu::sw2;
using Zelmar::Device::COS::V1_0::COSUpdateException;
namespace sw = apdu::sw;

// What the card sent, once it is known to end in a status word.
Bytes checkedAnswer(Bytes answer) {
    if (answer.size() < apdu::kStatusWordSize) {
        throw COSUpdateException("card answered " + std::to_string(answer.size()) +
                                 " byte(s), no status word");
    }
    return answer;
}

// One exchange, repeated once with the Le the card asked for on 6Cxx.
Bytes sendFixingLe(const Bytes& command, const RawTransmit& send) {
    Bytes answer = checkedAnswer(send(command));
    const uint16_t status = statusWordOf(answer);
    if (sw1(status) != sw::kWrongLeSw1) {
        return answer;
    }
    const std::optional<Bytes> fixed = withLe(command, sw2(status));
    if (!fixed) {
        return answer;  // nothing we can resend: the caller judges the 6Cxx
    }
    return checkedAnswer(send(*fixed));
}

}  // namespace

bool isSuccess(const Bytes& answer) {
    return statusWordOf(answer) == sw::kOk;
}

Bytes transceive(const Bytes& command, const RawTransmit& send, uint8_t getResponseCla) {
    Bytes answer = sendFixingLe(command, send);
    Bytes collected;
    for (size_t rounds = 0; sw1(statusWordOf(answer)) == sw::kMoreDataSw1; ++rounds) {
        if (rounds == kMaxGetResponseRounds) {
            throw COSUpdateException("card still answered " +
                                     apdu::encodeHexU16(statusWordOf(answer)) + " after " +
                                     std::to_string(rounds) + " GET RESPONSE commands");
        }
        const Bytes data = apdu::dataOf(answer);
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
