// The one primitive the APDU logic is built on: sending a command to the card
// and getting its raw answer back.

#ifndef COSUPDATE_PCSC_RAW_TRANSMIT_H
#define COSUPDATE_PCSC_RAW_TRANSMIT_H

#include <functional>

#include "cosupdate/apdu/Bytes.h"

namespace cosupdate {
namespace pcsc {

using apdu::Bytes;

// Sends one command APDU as it is and returns the card's answer as it came
// (data and status word, nothing fetched or retried). Throws on a link failure.
using RawTransmit = std::function<Bytes(const Bytes& command)>;

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_RAW_TRANSMIT_H
