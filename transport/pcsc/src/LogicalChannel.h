// Logical channels (ISO 7816-4): the class byte that addresses a channel and
// the MANAGE CHANNEL and SELECT commands the transport sends.

#ifndef COSUPDATE_PCSC_LOGICAL_CHANNEL_H
#define COSUPDATE_PCSC_LOGICAL_CHANNEL_H

#include <cstdint>
#include <optional>

#include "RawTransmit.h"

namespace cosupdate {
namespace pcsc {

constexpr uint8_t kBasicChannel = 0;
constexpr uint8_t kMaxChannel = 19;

// `cla`, written for the basic channel, rewritten to address `channel`
// (0 to 19): channels 0-3 in the first interindustry layout, 4-19 in the
// further one. The proprietary bit, command chaining and secure messaging are
// kept. Throws COSUpdateException when `cla` is not a valid class byte or its
// secure messaging cannot be expressed on that channel.
uint8_t claForChannel(uint8_t cla, uint8_t channel);

Bytes manageChannelOpenCommand();
Bytes manageChannelCloseCommand(uint8_t channel);
// SELECT by DF name, first occurrence, FCI asked for (Le 00).
Bytes selectByNameCommand(uint8_t cla, const Bytes& aid);

// The channel a MANAGE CHANNEL open answer grants: empty when the card
// refused (any status word but 9000). Throws COSUpdateException when the card
// claims success but names no usable channel.
std::optional<uint8_t> grantedChannel(const Bytes& answer);

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_LOGICAL_CHANNEL_H
