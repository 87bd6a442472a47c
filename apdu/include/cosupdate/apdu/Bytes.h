// Byte strings as every party to an APDU exchange holds them (commands,
// answers, AIDs), and the big-endian integers written inside them.

#ifndef COSUPDATE_APDU_BYTES_H
#define COSUPDATE_APDU_BYTES_H

#include <cstdint>
#include <vector>

namespace cosupdate::apdu {

using Bytes = std::vector<uint8_t>;

void appendU16(Bytes& out, uint16_t value);
void appendU32(Bytes& out, uint32_t value);

// `data` must hold two (four) readable bytes.
uint16_t readU16(const uint8_t* data);
uint32_t readU32(const uint8_t* data);

}  // namespace cosupdate::apdu

#endif  // COSUPDATE_APDU_BYTES_H
