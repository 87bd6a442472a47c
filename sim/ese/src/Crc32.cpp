#include "cosim/Crc32.h"

#include <array>

namespace cosim {

namespace {

constexpr uint32_t kReflectedPolynomial = 0xEDB88320u;

std::array<uint32_t, 256> makeTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < table.size(); ++i) {
        uint32_t c = i;
        for (int bit = 0; bit < 8; ++bit) {
            c = (c & 1u) ? (c >> 1) ^ kReflectedPolynomial : c >> 1;
        }
        table[i] = c;
    }
    return table;
}

}  // namespace

void Crc32::update(const uint8_t* data, size_t size) {
    static const std::array<uint32_t, 256> kTable = makeTable();
    uint32_t c = m_state;
    for (size_t i = 0; i < size; ++i) {
        c = kTable[(c ^ data[i]) & 0xFFu] ^ (c >> 8);
    }
    m_state = c;
}

uint32_t crc32(const uint8_t* data, size_t size) {
    Crc32 crc;
    crc.update(data, size);
    return crc.value();
}

}  // namespace cosim
