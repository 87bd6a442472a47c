// What the simulated chip keeps across power cycles: its identity, its COS
// version, the FC/FD data objects and the services installed on it.

#ifndef COSIM_CHIP_STATE_H
#define COSIM_CHIP_STATE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "cosim/Protocol.h"

namespace cosim {

constexpr size_t kMaxIdLength = 127;  // platform id, customer id: ASCII
constexpr size_t kMaxFcSize = 1024;
constexpr size_t kFdSize = 4;

struct ChipState {
    std::string platformId;
    uint16_t cosVersion = 0;
    std::string customerId;  // empty: no customer
    Bytes fc;
    std::array<uint8_t, kFdSize> fd{};
    std::set<Bytes> services;  // AIDs of the installed services

    // The chip as it leaves the factory: platform "ZLM-P1", COS 0x0100,
    // customer "ACME", no service.
    static ChipState factoryDefault();

    friend bool operator==(const ChipState& a, const ChipState& b);
    friend bool operator!=(const ChipState& a, const ChipState& b) { return !(a == b); }
};

// Throws std::invalid_argument, naming the field, when the state breaks a
// limit of the chip.
void validate(const ChipState& state);

// Content of the FE object: platform id, COS version, customer id as BER-TLVs.
Bytes encodeFe(const ChipState& state);

// One line for logs and test failures.
std::string describe(const ChipState& state);

}  // namespace cosim

#endif  // COSIM_CHIP_STATE_H
