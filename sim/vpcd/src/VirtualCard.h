// The simulated chip as vpcd sees a card: control messages (power, reset,
// ATR) and APDUs, with the chip's persistent state kept in a state file.

#ifndef VPCD_CARD_VIRTUAL_CARD_H
#define VPCD_CARD_VIRTUAL_CARD_H

#include <cstdint>
#include <optional>
#include <string>

#include "cosim/Chip.h"

namespace vpcd {

// One-byte messages from vpcd.
namespace control {
constexpr uint8_t kPowerOff = 0x00;
constexpr uint8_t kPowerOn = 0x01;
constexpr uint8_t kReset = 0x02;
constexpr uint8_t kGetAtr = 0x04;
}  // namespace control

class VirtualCard {
  public:
    // Loads the chip from `statePath`; a file that does not exist yet is
    // written with a factory chip. Throws cosim::StateFileError.
    explicit VirtualCard(std::string statePath);

    // The answer to send back to vpcd, if the message calls for one.
    std::optional<cosim::Bytes> handle(const cosim::Bytes& message);

    uint64_t apduCount() const { return m_apdus; }
    // Writes the chip's state if it changed since last saved.
    void save();

  private:
    cosim::Bytes executeApdu(const cosim::Bytes& apdu);
    std::optional<cosim::Bytes> control(uint8_t command);

    std::string m_statePath;
    cosim::Chip m_chip;
    uint64_t m_savedGeneration = 0;
    uint64_t m_apdus = 0;
};

}  // namespace vpcd

#endif  // VPCD_CARD_VIRTUAL_CARD_H
