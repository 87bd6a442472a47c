// The ISO 7816 recovery the transport performs on the card's behalf: 61xx
// (more data: GET RESPONSE until the card is done) and 6Cxx (wrong Le: send
// the command again asking for xx bytes). Works over a RawTransmit so that it
// can be exercised without a reader.

#ifndef COSUPDATE_PCSC_RESPONSE_HANDLING_H
#define COSUPDATE_PCSC_RESPONSE_HANDLING_H

#include <cstddef>
#include <cstdint>

#include "RawTransmit.h"

namespace cosupdate {
namespace pcsc {

// A card that keeps answering 61xx is broken: after this many GET RESPONSE
// rounds (64 KiB at 256 bytes a round, an extended APDU's worth) the exchange
// fails rather than loop forever.
constexpr size_t kMaxGetResponseRounds = 256;

// True when the answer ends in 9000 (the answer must hold a status word).
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
