// SE context: the AIDs under which the chip's COS data objects FC, FD and FE
// are selected, and reading those objects. FE carries the chip's identity.

#ifndef SIMKERNEL_COS_OBJECTS_H
#define SIMKERNEL_COS_OBJECTS_H

#include <array>
#include <cstdint>
#include <string>

#include "KernelApi.h"
#include "cosupdate/apdu/Bytes.h"

namespace simkernel {

using cosupdate::apdu::Bytes;

struct ChipIdentity {
    std::string platformId;
    uint16_t cosVersion = 0;
    std::string customerId;  // empty when FE carries none
};

class SeContext {
  public:
    static SeContext& instance();

    void init() { m_initialized = true; }
    void cleanup();

    // Both throw KernelError on a type other than FC, FD or FE or when the
    // component is not initialised.
    void setAid(NATIVECOSPATCH_COS_DATA_TYPE type, Bytes aid);
    size_t aidSize(NATIVECOSPATCH_COS_DATA_TYPE type) const;

    // Selects the object by its AID and reads all of it. Throws KernelError.
    Bytes readObject(NATIVECOSPATCH_COS_DATA_TYPE type);
    ChipIdentity readIdentity();

  private:
    const Bytes& aidOf(NATIVECOSPATCH_COS_DATA_TYPE type) const;

    bool m_initialized = false;
    std::array<Bytes, 3> m_aids;  // FC, FD, FE
};

// FE: BER-TLVs C1 platform id, C2 COS version (2 bytes), C3 customer id, in
// any order; other tags are skipped. Throws KernelError when malformed.
ChipIdentity parseFe(const Bytes& fe);

const char* cosDataName(NATIVECOSPATCH_COS_DATA_TYPE type);

}  // namespace simkernel

#endif  // SIMKERNEL_COS_OBJECTS_H
