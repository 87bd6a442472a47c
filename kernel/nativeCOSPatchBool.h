// Reading a bool the patch kernel returned or wrote: the kernel is C, its
// bools may carry any bit pattern, and only the lowest bit counts.

#ifndef NATIVE_COS_PATCH_BOOL_H
#define NATIVE_COS_PATCH_BOOL_H

namespace nativeCOSPatchBool {

// The byte is read through a volatile char, so that the compiler cannot assume
// the bool holds 0 or 1 and test the whole byte instead (clang does at -O2).
inline bool lowestBit(const bool& value) {
    return (*reinterpret_cast<const volatile unsigned char*>(&value) & 1u) != 0;
}

}  // namespace nativeCOSPatchBool

#endif  // NATIVE_COS_PATCH_BOOL_H
