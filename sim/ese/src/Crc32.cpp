#include "cosim/Crc32.h"

#include <array>

namespace cosim {

namespace {

constexpr uint32_t kReflectedPolynomial = 0xEDB88320u;

// Slicing by eight: table k gives the CRC of a byte followed by k zero bytes,
// so eight bytes fold in with eight independent look-ups. Every LOAD BLOCK
// runs through here.
using Tables = std::array<std::array<uint32_t, 256>, 8>;

Tables makeTables() {
    Tables tables{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int bit = 0; bit < 8; ++bit) {
            c = (c & 1u) ? (c >> 1) ^ kReflectedPolynomial : c >> 1;
        }
        tables[0][i] = c;
    }
    for (size_t k = 1; k < tables.size(); ++k) {
        for (uint32_t i = 0; i < 256; ++i) {
            const uint32_t previous = tables[k - 1][i];
            tables[k][i] = (previous >> 8) ^ tables[0][previous & 0xFFu];
        }
    }
    return tables;
}

// Little-endian whatever the host: the byte order the tables are made for.
uint32_t littleEndian32(const uint8_t* bytes) {
    return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 |
           uint32_t{bytes[3]} << 24;
}

}  // namespace

void Crc32::update(const uint8_t* data, size_t size) {
    static const Tables kTables = makeTables();
    uint32_t c = m_state;
    size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        const uint32_t low = littleEndian32(data + i) ^ c;
        const uint32_t high = littleEndian32(data + i + 4);
        c = kTables[7][low & 0xFFu] ^ kTables[6][(low >> 8) & 0xFFu] ^
            kTables[5][(low >> 16) & 0xFFu] ^ kTables[4][low >> 24] ^ kTables[3][high & 0xFFu] ^
            kTables[2][(high >> 8) & 0xFFu] ^ kTables[1][(high >> 16) & 0xFFu] ^
            kTables[0][high >> 24];
    }
    for (; i < size; ++i) {
        c = kTables[0][(c ^ data[i]) & 0xFFu] ^ (c >> 8);
    }
    m_state = c;
}

uint32_t crc32(const uint8_t* data, size_t size) {
    Crc32 crc;
    crc.update(data, size);
    return crc.value();
}

}  // namespace cosim
