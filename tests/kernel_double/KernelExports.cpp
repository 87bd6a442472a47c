// The double's nativeCOSPatch_* symbols. The kernel is C, and a C bool result
// is a byte whose bits above the lowest may be set; these definitions return
// that byte so that the double can answer 3 for true and 2 for false, which a
// C++ bool cannot hold. This file therefore must not see nativeCOSPatchKernel.h,
// which declares the same symbols with bool results: it names the records as
// incomplete types only.

#include <cstdint>

extern "C" {
struct NATIVECOSPATCH_BYTE_ARRAY;
struct NATIVECOSPATCH_LOG_COMPONENT;
struct NATIVECOSPATCH_MULTISCRIPT;
struct NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT;
struct NATIVECOSPATCH_MULTISCRIPT__SCRIPT;
struct NATIVECOSPATCH_SCRIPT;
struct NATIVECOSPATCH_AUDIT_SCRIPT;
struct NATIVECOSPATCH_SEMEDIA_COMPONENT;
enum NATIVECOSPATCH_COS_DATA_TYPE : int32_t;
}

#include "KernelCalls.h"

extern "C" {
#define KERNEL_DOUBLE_EXPORT(result, name, params, args)           \
    kerneldouble::Raw<result>::type nativeCOSPatch_##name params { \
        return kerneldouble::call_##name args;                     \
    }
KERNEL_DOUBLE_FUNCTIONS(KERNEL_DOUBLE_EXPORT)
#undef KERNEL_DOUBLE_EXPORT
}
