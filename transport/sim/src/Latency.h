// Waits out a modelled link latency: sleeps for the bulk, then spins, since a
// plain sleep overshoots by far more than one APDU takes on a fast link.

#ifndef COSUPDATE_SIM_LATENCY_H
#define COSUPDATE_SIM_LATENCY_H

#include <chrono>

namespace cosupdate::sim {

void waitPrecisely(std::chrono::nanoseconds duration);

}  // namespace cosupdate::sim

#endif  // COSUPDATE_SIM_LATENCY_H
