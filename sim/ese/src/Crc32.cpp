#include "cosim/Crc32.h"

#include <zlib.h>

namespace cosim {

void Crc32::update(const uint8_t* data, size_t size) {
    m_value = static_cast<uint32_t>(crc32_z(m_value, data, size));
}

uint32_t crc32(const uint8_t* data, size_t size) {
    Crc32 crc;
    crc.update(data, size);
    return crc.value();
}

}  // namespace cosim
