// Work the COS loader has accepted but not committed: either one patch (its
// blocks checked on the fly against the declared length and CRC-32) or a set
// of services to install. Lives in RAM only: a power loss or a new selection
// drops it, and only commit() touches the chip's persistent state.

#ifndef COSIM_STAGED_WORK_H
#define COSIM_STAGED_WORK_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "cosim/ChipState.h"
#include "cosim/Crc32.h"

namespace cosim {

class StagedWork {
  public:
    // Each returns the status word of the command.
    uint16_t beginPatch(const ChipState& state, const Bytes& data);
    uint16_t loadBlock(const Bytes& data);
    uint16_t installService(const ChipState& state, const Bytes& serviceAid);
    // All or nothing: on success `state` takes the staged change in one
    // assignment and the staged work is gone.
    uint16_t commit(ChipState& state);
    void discard();

  private:
    struct Patch {
        uint16_t baseVersion = 0;
        uint16_t targetVersion = 0;
        uint32_t length = 0;
        uint32_t crc = 0;
        uint32_t received = 0;
        Crc32 runningCrc;
    };

    uint16_t commitPatch(ChipState& state);
    uint16_t commitServices(ChipState& state);

    std::optional<Patch> m_patch;
    std::vector<Bytes> m_services;
};

}  // namespace cosim

#endif  // COSIM_STAGED_WORK_H
