// Status words (ISO 7816-4): where they stand in an answer, and the ones the
// simulated chip answers with and the transports act on, named once.

#ifndef COSUPDATE_APDU_STATUS_WORDS_H
#define COSUPDATE_APDU_STATUS_WORDS_H

#include <cstddef>
#include <cstdint>

#include "cosupdate/apdu/Bytes.h"

namespace cosupdate::apdu {

// SW1 SW2 end every answer.
constexpr size_t kStatusWordSize = 2;

// The status word that ends `answer`. Throws std::invalid_argument when the
// answer is shorter than a status word.
uint16_t statusWordOf(const Bytes& answer);
// `answer` without its status word; throws as statusWordOf().
Bytes dataOf(const Bytes& answer);

constexpr uint8_t sw1(uint16_t statusWord) {
    return static_cast<uint8_t>(statusWord >> 8);
}
constexpr uint8_t sw2(uint16_t statusWord) {
    return static_cast<uint8_t>(statusWord);
}

namespace sw {

constexpr uint16_t kOk = 0x9000;
constexpr uint16_t kWrongLength = 0x6700;
constexpr uint16_t kLogicalChannelNotSupported = 0x6881;
constexpr uint16_t kConditionsNotSatisfied = 0x6985;
constexpr uint16_t kNoCurrentObject = 0x6986;
constexpr uint16_t kWrongData = 0x6A80;
constexpr uint16_t kNotFound = 0x6A82;
constexpr uint16_t kNotEnoughMemory = 0x6A84;
constexpr uint16_t kIncorrectP1P2 = 0x6A86;
constexpr uint16_t kAlreadyExists = 0x6A89;
constexpr uint16_t kOffsetOutOfRange = 0x6B00;
constexpr uint16_t kInsNotSupported = 0x6D00;
constexpr uint16_t kClaNotSupported = 0x6E00;
constexpr uint16_t kNoPreciseDiagnosis = 0x6F00;

// Answers a transport resolves for the card's caller; SW2 carries a length.
constexpr uint8_t kMoreDataSw1 = 0x61;  // SW2: bytes still available (00: 256 or more)
constexpr uint8_t kWrongLeSw1 = 0x6C;   // SW2: the exact Le to ask for

}  // namespace sw

}  // namespace cosupdate::apdu

#endif  // COSUPDATE_APDU_STATUS_WORDS_H
