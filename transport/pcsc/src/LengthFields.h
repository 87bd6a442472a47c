// The length fields of a command APDU (ISO 7816-4 cases 1 to 4, short and
// extended) and the rewrites the transport makes to them.

#ifndef COSUPDATE_PCSC_LENGTH_FIELDS_H
#define COSUPDATE_PCSC_LENGTH_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <optional>

#include "RawTransmit.h"

namespace cosupdate {
namespace pcsc {

constexpr size_t kApduHeaderSize = 4;  // CLA INS P1 P2

enum class ApduCase {
    One,
    TwoShort,
    ThreeShort,
    FourShort,
    TwoExtended,
    ThreeExtended,
    FourExtended
};

// Empty when the length bytes do not describe the command's size.
std::optional<ApduCase> apduCase(const Bytes& command);

// The command asking for exactly `le` bytes (00: 256), as a card's 6Cxx
// answer demands. Empty when the command's layout is not understood.
std::optional<Bytes> withLe(const Bytes& command, uint8_t le);

// T=0 carries a short case 4 command as case 3, the card then offers its data
// with 61xx: the Le byte is dropped. Any other command goes as it is.
Bytes forT0(const Bytes& command);

// GET RESPONSE on the channel that `cla` addresses, asking for `le` bytes.
Bytes getResponseCommand(uint8_t cla, uint8_t le);

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_LENGTH_FIELDS_H
