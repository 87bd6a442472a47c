// Every status word the transport acts on, and the ISO 7816 recovery it
// performs on the card's behalf: 61xx (more data: GET RESPONSE until the card
// is done) and 6Cxx (wrong Le: send the command again asking for xx bytes).
// Works over a RawTransmit so that it can be exercised without a reader.

#ifndef COSUPDATE_PCSC_RESPONSE_HANDLING_H
#define COSUPDATE_PCSC_RESPONSE_HANDLING_H

#include <cstddef>
#include <cstdint>

#include "Apdu.h"

namespace cosupdate {
namespace pcsc {

namespace sw {
constexpr uint16_t kSuccess = 0x9000;
constexpr uint8_t kMoreDataSw1 = 0x61;  // SW2: bytes still available (00: 256 or more)
constexpr uint8_t kWrongLeSw1 = 0x6C;   // SW2: the exact Le to ask for
}  // namespace sw

constexpr size_t kStatusWordSize = 2;

// A card that keeps answering 61xx is broken: after this many GET RESPONSE
// rounds (64 KiB at 256 bytes a round, an extended APDU's worth) the exchange
// fails rather than loop forever.
constexpr size_t kMaxGetResponseRounds = 256;

// The status word of an answer; throws COSUpdateException when the answer is
// shorter than a status word.
uint16_t statusWordOf(const Bytes& answer);
// The answer without its status word (the answer must hold one).
Bytes dataOf(const Bytes& answer);
bool isSuccess(const Bytes& answer);

// Sends `command` and returns the card's complete answer: the data of every
// 61xx round concatenated, followed by the last status word. GET RESPONSE is
// sent with class byte `getResponseCla` (the channel the command went on). A
// 6Cxx answer is retried once with Le = xx; a second 6Cxx is returned as it is.
// Throws COSUpdateException on an answer without a status word or an endless
// 61xx chain, and lets the failures of `send` through.
Bytes transceive(const Bytes& command, const RawTransmit& send, uint8_t getResponseCla);

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_RESPONSE_HANDLING_H
