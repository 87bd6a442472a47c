#include "cosupdate/apdu/Bytes.h"

namespace cosupdate::apdu {

void appendU16(Bytes& out, uint16_t value) {
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

void appendU32(Bytes& out, uint32_t value) {
    appendU16(out, static_cast<uint16_t>(value >> 16));
    appendU16(out, static_cast<uint16_t>(value));
}

uint16_t readU16(const uint8_t* data) {
    return static_cast<uint16_t>(data[0] << 8 | data[1]);
}

uint32_t readU32(const uint8_t* data) {
    return uint32_t{readU16(data)} << 16 | readU16(data + 2);
}

}  // namespace cosupdate::apdu
