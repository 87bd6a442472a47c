// Waits out a modelled link latency: sleeps for the bulk, then spins, since a
// plain sleep overshoots by far more than one APDU takes on a fast link.

#ifndef COSIM_LATENCY_H
#define COSIM_LATENCY_H

#include <chrono>

namespace cosim {

void waitPrecisely(std::chrono::nanoseconds duration);

}  // namespace cosim

#endif  // COSIM_LATENCY_H
