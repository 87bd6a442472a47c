// CRC-32 (IEEE 802.3, reflected): the checksum a patch declares for its COS
// image in BEGIN PATCH. zlib computes it.

#ifndef COSIM_CRC32_H
#define COSIM_CRC32_H

#include <cstddef>
#include <cstdint>

namespace cosim {

class Crc32 {
  public:
    void update(const uint8_t* data, size_t size);
    uint32_t value() const { return m_value; }

  private:
    uint32_t m_value = 0;  // the CRC of nothing
};

uint32_t crc32(const uint8_t* data, size_t size);

}  // namespace cosim

#endif  // COSIM_CRC32_H
