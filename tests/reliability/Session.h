// A realistic session against the kernel test double, operation by operation,
// with what each operation left behind, and a way to run it in a child
// process so that each run starts with fresh module state.

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
    size_t firstKernelCall = 0;  // journal index of the operation's first kernel call
    size_t kernelCalls = 0;
    size_t firstSinkLine = 0;    // index in the sink's lines
    std::string outcome;         // "ok", "true", "false", "result:N", "throw:TEXT", "foreign:TEXT"
    bool startedBefore = false;  // SE media started flag of the bridge
    bool startedAfter = false;
};

struct SessionRun {
    std::vector<OpRecord> ops;
    std::vector<std::string> violations;
};

// Construct, initialize, register AIDs, load the three-script file, check, run
// the update, read FC and FD, unload, release and destroy. An operation that
// cannot run (no engine) is skipped. Invariants that hold whatever failed are
// checked here: nothing leaked or freed twice, only the library's exception
// type (or the caller's own) leaves an operation, release and destruction work.
SessionRun runSession(const std::shared_ptr<testsupport::CapturingLog>& log,
                      const std::shared_ptr<testsupport::FakeTransport>& transport);

// Runs `body` in a forked child and returns the violations it reported; a
// child that dies is a violation of its own.
std::vector<std::string> inChild(const std::function<std::vector<std::string>()>& body);

}  // namespace reliability

#endif  // TESTS_RELIABILITY_SESSION_H
