// A secure element in a PC/SC card reader, reached through pcscd. Compiled
// only into builds that have the PC/SC transport.

#ifndef COSUPDATE_CLI_PCSC_TRANSPORT_H
#define COSUPDATE_CLI_PCSC_TRANSPORT_H

#include <memory>

#include "Transport.h"

namespace cosupdate::cli {

std::unique_ptr<Transport> openPcscTransport(const TransportSettings& settings);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_PCSC_TRANSPORT_H
