#include "cosim/Protocol.h"

#include <stdexcept>

namespace cosim {

namespace aid {
const Bytes kFC{0xF0, 0x5A, 0x4C, 0x4D, 0x00, 0xFC};
const Bytes kFD{0xF0, 0x5A, 0x4C, 0x4D, 0x00, 0xFD};
const Bytes kFE{0xF0, 0x5A, 0x4C, 0x4D, 0x00, 0xFE};
const Bytes kLoader{0xF0, 0x5A, 0x4C, 0x4D, 0x00, 0x10};
}  // namespace aid

namespace {

constexpr size_t kHeaderAndLcSize = 5;

Bytes caseThree(uint8_t claByte, uint8_t insByte, uint8_t p1, uint8_t p2, const Bytes& data) {
    if (data.size() > kMaxShortData) {
        throw std::invalid_argument("command data does not fit a short APDU");
    }
    Bytes apdu;
    apdu.reserve(kHeaderAndLcSize + data.size() + 1);
    for (uint8_t b : {claByte, insByte, p1, p2, static_cast<uint8_t>(data.size())}) {
        apdu.push_back(b);
    }
    apdu.insert(apdu.end(), data.begin(), data.end());
    return apdu;
}

}  // namespace

Bytes selectCommand(const Bytes& aidBytes) {
    Bytes apdu = caseThree(cla::kIso, ins::kSelect, kSelectByName, 0x00, aidBytes);
    apdu.push_back(0x00);  // Le: whatever the FCI holds
    return apdu;
}

Bytes readBinaryCommand(uint16_t offset, uint8_t le) {
    return Bytes{cla::kIso, ins::kReadBinary, static_cast<uint8_t>(offset >> 8),
                 static_cast<uint8_t>(offset), le};
}

Bytes beginPatchCommand(uint16_t baseVersion, uint16_t targetVersion, uint32_t imageLength,
                        uint32_t imageCrc) {
    Bytes data;
    apdu::appendU16(data, baseVersion);
    apdu::appendU16(data, targetVersion);
    apdu::appendU32(data, imageLength);
    apdu::appendU32(data, imageCrc);
    return caseThree(cla::kProprietary, ins::kBeginPatch, 0x00, 0x00, data);
}

Bytes loadBlockCommand(uint32_t offset, const uint8_t* data, size_t size) {
    Bytes body;
    apdu::appendU32(body, offset);
    body.insert(body.end(), data, data + size);
    return caseThree(cla::kProprietary, ins::kLoadBlock, 0x00, 0x00, body);
}

Bytes commitCommand() {
    return Bytes{cla::kProprietary, ins::kCommit, 0x00, 0x00};
}

Bytes installServiceCommand(const Bytes& serviceAid) {
    return caseThree(cla::kProprietary, ins::kInstallService, 0x00, 0x00, serviceAid);
}

const Bytes& answerToReset() {
    // TS direct convention; T0: TD1 follows, six historical bytes; TD1: T=0,
    // TD2 follows; TD2: T=1. Historical bytes "ZLMSIM", then the check byte.
    static const Bytes kAtr = [] {
        Bytes atr{0x3B, 0x86, 0x80, 0x01, 'Z', 'L', 'M', 'S', 'I', 'M'};
        uint8_t check = 0;
        for (size_t i = 1; i < atr.size(); ++i) {
            check ^= atr[i];
        }
        atr.push_back(check);
        return atr;
    }();
    return kAtr;
}

}  // namespace cosim
