// How every operation of the interface reports the kernel's own failures: a
// log line and the operation's failure value. Anything else thrown, from the
// caller's callbacks, goes back to the caller as it is.

#ifndef SIMKERNEL_ENTRY_POINT_H
#define SIMKERNEL_ENTRY_POINT_H

#include <new>

#include "KernelError.h"
#include "Log.h"

namespace simkernel {

template <typename Result, typename Body>
Result guarded(const char* operation, Result failure, Body&& body) {
    try {
        return body();
    } catch (const KernelError& e) {
        logLine(kError, "%s: %s", operation, e.what());
    } catch (const std::bad_alloc&) {
        logLine(kError, "%s: out of memory", operation);
    }
    return failure;
}

}  // namespace simkernel

#endif  // SIMKERNEL_ENTRY_POINT_H
