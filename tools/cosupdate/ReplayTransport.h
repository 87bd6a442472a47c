// --transport replay:FILE[,timing]: the secure element as a trace recorded
// it (cosupdate --record), with no chip and no reader.

#ifndef COSUPDATE_CLI_REPLAY_TRANSPORT_H
#define COSUPDATE_CLI_REPLAY_TRANSPORT_H

#include <memory>

#include "Transport.h"

namespace cosupdate::cli {

std::unique_ptr<Transport> openReplayTransport(const TransportSettings& settings);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_REPLAY_TRANSPORT_H
