// The kernel's own failures. Every entry point turns one into a false or null
// result and a log line; exceptions from the caller's callbacks are not ours
// and travel on untouched.

#ifndef SIMKERNEL_KERNEL_ERROR_H
#define SIMKERNEL_KERNEL_ERROR_H

#include <stdexcept>

namespace simkernel {

class KernelError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace simkernel

#endif  // SIMKERNEL_KERNEL_ERROR_H
