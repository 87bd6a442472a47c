// The kernel's operations as this library defines them: the shared
// declaration, with every operation exported. Entry-point files include this
// and never nativeCOSPatchKernel.h directly, so the declarations they define
// always carry default visibility.

#ifndef SIMKERNEL_KERNEL_API_H
#define SIMKERNEL_KERNEL_API_H

#pragma GCC visibility push(default)
#include "nativeCOSPatchKernel.h"
#pragma GCC visibility pop

#endif  // SIMKERNEL_KERNEL_API_H
