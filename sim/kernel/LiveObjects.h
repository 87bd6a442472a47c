// Memory component: counts the objects the kernel has handed out and not got
// back, so a caller that forgets to free one hears about it at cleanup.

#ifndef SIMKERNEL_LIVE_OBJECTS_H
#define SIMKERNEL_LIVE_OBJECTS_H

#include <cstddef>
#include <cstdint>

namespace simkernel {

enum class ObjectKind { Multiscript, Script, AuditScript, ByteArray };

void countCreated(ObjectKind kind);
void countReleased(ObjectKind kind);
size_t liveObjects(ObjectKind kind);
// Logs a warning for every kind that still has live objects; true if none.
bool reportLiveObjects();

// Byte arrays belong to the memory component until they are given back: a
// caller may leave one with the kernel (the engine does, by contract, for COS
// data it does not use), and cleanup reclaims what is still out, as the
// pool of a real kernel would.
uint8_t* allocateByteArray(size_t size);
// False for a pointer this kernel did not hand out (or already got back).
bool freeByteArray(uint8_t* data);
void reclaimByteArrays();

// Held by every kernel object: counts it for as long as it exists.
template <ObjectKind Kind>
class LiveCount {
  public:
    LiveCount() { countCreated(Kind); }
    ~LiveCount() { countReleased(Kind); }
    LiveCount(const LiveCount&) = delete;
    LiveCount& operator=(const LiveCount&) = delete;
};

}  // namespace simkernel

#endif  // SIMKERNEL_LIVE_OBJECTS_H
