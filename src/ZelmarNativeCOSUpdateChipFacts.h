// What the engine has read from the chip in hand and keeps between
// operations, and what each step of the engine's life forgets of it.

#ifndef ZELMAR_NATIVE_COS_UPDATE_CHIP_FACTS_H
#define ZELMAR_NATIVE_COS_UPDATE_CHIP_FACTS_H

#include <cstdint>
#include <string>

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

struct COSChipFacts {
    // The marker for a COS version that is not known. A member, never changed:
    // the version is reset by copying it.
    const uint16_t undefinedCOSVersion = 0xFFFF;
    std::string platformId;                     // read once per loaded file
    std::string customerId;                     // read at most once per loaded file
    uint16_t cosVersion = undefinedCOSVersion;  // as last read or verified

    // initialize: the new transport may lead to another chip.
    void forgetAll() {
        platformId.clear();
        customerId.clear();
        cosVersion = undefinedCOSVersion;
    }
    // release and unload: the customer id stays, a fact of the chip rather
    // than of the session.
    void forgetPlatformAndVersion() {
        platformId.clear();
        cosVersion = undefinedCOSVersion;
    }
    // load: the ids are read again for the new file; the version stays the
    // reference a Patch must raise.
    void forgetIds() {
        platformId.clear();
        customerId.clear();
    }
};

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_CHIP_FACTS_H
