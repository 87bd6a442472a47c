// ISO 7816-4 status words the simulated chip answers with.

#ifndef COSIM_STATUS_WORDS_H
#define COSIM_STATUS_WORDS_H

#include <cstdint>

namespace cosim {
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

}  // namespace sw
}  // namespace cosim

#endif  // COSIM_STATUS_WORDS_H
