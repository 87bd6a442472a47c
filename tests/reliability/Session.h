// A realistic session against the kernel test double, operation by operation,
// and a child process to run it in with fresh module state.

#ifndef TESTS_RELIABILITY_SESSION_H
#define TESTS_RELIABILITY_SESSION_H

#include <functional>
#include <string>
#include <vector>

#include "CapturingLog.h"
#include "FakeTransport.h"
#include "KernelDouble.h"

namespace reliability {

struct OpRecord {
    std::string name;
    size_t firstKernelCall = 0, kernelCalls = 0;  // in the kernel's journal
    std::string outcome;  // "ok", "true", "false", "result:N", "throw:TEXT", "foreign:TEXT"
};

// Create, initialize, set the FE/FC/FD AIDs, load the three-script file, check,
// update, read FC and FD, unload, release, destroy (the rest skipped without
// an engine). Adds to `violations` a kernel object leaked or freed twice, an
// exception let out other than the library's or the caller's own, and the SE
// media left changed where the engine's contract does not allow it.
std::vector<OpRecord> runSession(const std::shared_ptr<testsupport::CapturingLog>& log,
                                 const std::shared_ptr<testsupport::FakeTransport>& transport,
                                 std::vector<std::string>& violations);

// Runs `body` in a forked child and returns the lines it returned; a child
// that dies adds a line of its own.
std::vector<std::string> inChild(const std::function<std::vector<std::string>()>& body);

}  // namespace reliability

#endif  // TESTS_RELIABILITY_SESSION_H
