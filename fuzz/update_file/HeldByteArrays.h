// The byte arrays of COS data that the kernel has handed the engine and not
// got back. The program defines the kernel's readCOSData and freeContent
// itself, ahead of the kernel in symbol lookup, and forwards both to it: so
// the harness knows which array the engine keeps, of which type and size,
// where the kernel's report at cleanup only counts them.

#ifndef COSUPDATE_FUZZ_HELD_BYTE_ARRAYS_H
#define COSUPDATE_FUZZ_HELD_BYTE_ARRAYS_H

#include <cstdint>
#include <vector>

#include "nativeCOSPatchKernel.h"

namespace fuzzing {

struct HeldByteArray {
    NATIVECOSPATCH_COS_DATA_TYPE type;
    uint8_t* data;
    uint16_t size;
};

// Handed out by readCOSData and not yet given to freeContent, oldest first.
const std::vector<HeldByteArray>& heldByteArrays();

// Gives `array` back through freeContent, as its holder would.
void giveBack(const HeldByteArray& array);

}  // namespace fuzzing

#endif  // COSUPDATE_FUZZ_HELD_BYTE_ARRAYS_H
