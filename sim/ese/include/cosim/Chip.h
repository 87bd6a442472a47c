// The simulated secure element: answers command APDUs as the real chip's COS
// would. Holds a persistent ChipState (what survives power loss) and the RAM
// state of a session: the selected application and any staged loader work.
//
//   cosim::Chip chip;                       // factory state, unpowered
//   chip.powerOn();                         // answer to reset
//   Bytes rsp = chip.transmit(cosim::selectCommand(cosim::aid::kFE));
//   // rsp: response data followed by the two status word bytes
//
// Not thread-safe: one exchange at a time, like the real chip.

#ifndef COSIM_CHIP_H
#define COSIM_CHIP_H

#include <cstdint>
#include <memory>

#include "cosim/ChipState.h"

namespace cosim {

class StagedWork;

class Chip {
  public:
    explicit Chip(ChipState state = ChipState::factoryDefault());
    ~Chip();
    Chip(const Chip&) = delete;
    Chip& operator=(const Chip&) = delete;

    // Cold reset: RAM state cleared, nothing selected. Returns the ATR.
    const Bytes& powerOn();
    // Power loss: everything staged is lost; the persistent state is intact.
    void powerOff();
    bool isPowered() const { return m_powered; }

    // One command APDU in, response data plus status word out. Throws
    // std::logic_error when the chip is not powered.
    Bytes transmit(const Bytes& apdu);

    const ChipState& state() const { return m_state; }
    // Replaces the persistent state (validated, std::invalid_argument
    // otherwise) and drops the RAM state, as a fresh chip would have it.
    void setState(ChipState state);
    // Goes up by one on every change of the persistent state.
    uint64_t stateGeneration() const { return m_generation; }

  private:
    enum class Application { None, FC, FD, FE, Loader, Service };

    Bytes dispatch(const Bytes& apdu);
    Bytes select(const Bytes& aidBytes, uint8_t p1, uint8_t p2);
    Bytes readBinary(uint8_t p1, uint8_t p2, const Bytes& data, bool hasLe, size_t ne) const;
    Bytes loaderCommand(uint8_t ins, const Bytes& data);
    Bytes currentObject() const;
    void resetSession();

    ChipState m_state;
    uint64_t m_generation = 0;
    bool m_powered = false;
    Application m_selected = Application::None;
    std::unique_ptr<StagedWork> m_staged;
};

}  // namespace cosim

#endif  // COSIM_CHIP_H
