// A short command APDU taken apart (ISO 7816-4 cases 1 to 4).

#ifndef COSIM_COMMAND_PARSER_H
#define COSIM_COMMAND_PARSER_H

#include <cstddef>
#include <cstdint>
#include <optional>

#include "cosim/Protocol.h"

namespace cosim {

struct CommandApdu {
    uint8_t cla = 0;
    uint8_t ins = 0;
    uint8_t p1 = 0;
    uint8_t p2 = 0;
    Bytes data;
    std::optional<size_t> ne;  // Le present: the number of bytes asked for (00 is 256)
};

// Empty when the length bytes do not describe the command's size, or the
// command uses extended lengths, which the chip does not support.
std::optional<CommandApdu> parseCommandApdu(const Bytes& apdu);

}  // namespace cosim

#endif  // COSIM_COMMAND_PARSER_H
