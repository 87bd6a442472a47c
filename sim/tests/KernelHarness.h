// Drives the simulation kernel through its C interface, as the library does:
// a log component that keeps every line and an SE media component wired to a
// simulated chip.

#ifndef SIMKERNEL_TEST_KERNEL_HARNESS_H
#define SIMKERNEL_TEST_KERNEL_HARNESS_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cosim/Chip.h"
#include "nativeCOSPatchKernel.h"

namespace harness {

using LogLine = std::pair<NATIVECOSPATCH_LOG_MESSAGE_LEVEL, std::string>;

// Registers the log and SE media components and the FC/FD/FE AIDs; the chip
// is powered and factory-fresh. Undoes it all when destroyed.
class KernelFixture {
  public:
    KernelFixture();
    ~KernelFixture();

    cosim::Chip& chip();
    const std::vector<LogLine>& log() const;
    bool logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const std::string& text) const;
    std::string dump() const;
    // Makes every exchange from now on fail in the transport.
    void breakTransport(bool broken);
    int closes() const;  // closeConnection calls so far
};

NATIVECOSPATCH_SCRIPT* loadScript(const std::string& xml);

}  // namespace harness

#endif  // SIMKERNEL_TEST_KERNEL_HARNESS_H
