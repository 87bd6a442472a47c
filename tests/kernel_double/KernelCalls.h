// Between the double's exported nativeCOSPatch_* symbols (KernelExports.cpp)
// and the double itself (KernelDouble.cpp): one call_<name> per operation,
// with a bool answer given as the byte the engine receives.
// Include after the kernel's record types are declared.

#ifndef KERNEL_DOUBLE_KERNEL_CALLS_H
#define KERNEL_DOUBLE_KERNEL_CALLS_H

#include <cstdint>

#include "KernelFunctions.h"

namespace kerneldouble {

// A C bool may hold any byte; the double says true and false with the bytes
// KernelDouble::bits chooses. Other results pass as they are.
template <typename Result>
struct Raw {
    using type = Result;
};
template <>
struct Raw<bool> {
    using type = uint8_t;
};

#define KERNEL_DOUBLE_DECLARE_CALL(result, name, params, args) Raw<result>::type call_##name params;
KERNEL_DOUBLE_FUNCTIONS(KERNEL_DOUBLE_DECLARE_CALL)
#undef KERNEL_DOUBLE_DECLARE_CALL

}  // namespace kerneldouble

#endif  // KERNEL_DOUBLE_KERNEL_CALLS_H
