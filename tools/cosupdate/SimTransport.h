// The simulated chip as a transport: its state loaded from the chip state
// file (a factory chip when the file is new) and saved back after every
// exchange that changed it, so that the next run sees the same chip.

#ifndef COSUPDATE_CLI_SIM_TRANSPORT_H
#define COSUPDATE_CLI_SIM_TRANSPORT_H

#include <memory>

#include "Transport.h"

namespace cosupdate::cli {

std::unique_ptr<Transport> openSimTransport(const TransportSettings& settings);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_SIM_TRANSPORT_H
