// The simulated chip's APDU protocol: the AIDs it answers to, its commands and
// builders for them. docs/simulated-chip.md describes every command.

#ifndef COSIM_PROTOCOL_H
#define COSIM_PROTOCOL_H

#include <cstddef>
#include <cstdint>

#include "cosupdate/apdu/Bytes.h"
#include "cosupdate/apdu/StatusWords.h"

namespace cosim {

// Byte strings and status words are those every party to an exchange uses.
namespace apdu = cosupdate::apdu;
using apdu::Bytes;
namespace sw = apdu::sw;

// Applications and data objects built into the chip, selected by AID.
namespace aid {
extern const Bytes kFC;      // F05A4C4D00FC
extern const Bytes kFD;      // F05A4C4D00FD
extern const Bytes kFE;      // F05A4C4D00FE
extern const Bytes kLoader;  // F05A4C4D0010: the COS loader (patches, services)
}  // namespace aid

namespace cla {
constexpr uint8_t kIso = 0x00;
constexpr uint8_t kProprietary = 0x80;
constexpr uint8_t kChannelMask = 0x03;
}  // namespace cla

namespace ins {
constexpr uint8_t kSelect = 0xA4;
constexpr uint8_t kReadBinary = 0xB0;
constexpr uint8_t kBeginPatch = 0x50;
constexpr uint8_t kLoadBlock = 0x52;
constexpr uint8_t kCommit = 0x54;
constexpr uint8_t kInstallService = 0xE6;
}  // namespace ins

constexpr uint8_t kSelectByName = 0x04;

// Limits of the chip.
constexpr size_t kMinAidSize = 5;
constexpr size_t kMaxAidSize = 16;
constexpr size_t kMaxServices = 32;
constexpr uint32_t kMaxImageSize = 16u * 1024 * 1024;
constexpr size_t kMaxReadLength = 256;  // Le 00
constexpr size_t kMaxShortData = 255;
constexpr size_t kBlockHeaderSize = 4;  // offset in LOAD BLOCK
constexpr size_t kMaxBlockData = kMaxShortData - kBlockHeaderSize;
constexpr size_t kBeginPatchDataSize = 12;  // base, target, length, CRC-32

// FE object: three BER-TLVs, in this order.
namespace fe {
constexpr uint8_t kPlatformIdTag = 0xC1;
constexpr uint8_t kCosVersionTag = 0xC2;
constexpr uint8_t kCustomerIdTag = 0xC3;
}  // namespace fe

// Command builders (short APDUs).
Bytes selectCommand(const Bytes& aid);
Bytes readBinaryCommand(uint16_t offset, uint8_t le);
Bytes beginPatchCommand(uint16_t baseVersion, uint16_t targetVersion, uint32_t imageLength,
                        uint32_t imageCrc);
Bytes loadBlockCommand(uint32_t offset, const uint8_t* data, size_t size);
Bytes commitCommand();
Bytes installServiceCommand(const Bytes& serviceAid);

// The chip's answer to reset.
const Bytes& answerToReset();

}  // namespace cosim

#endif  // COSIM_PROTOCOL_H
