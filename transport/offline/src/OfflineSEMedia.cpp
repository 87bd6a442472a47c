#include "cosupdate/transport/OfflineSEMedia.h"

namespace cosupdate::transport {

void OfflineSEMedia::openConnection(const std::vector<uint8_t>&, std::vector<uint8_t>&) {
    throw api::COSUpdateException(m_refusal);
}

void OfflineSEMedia::transmitApdu(const std::vector<uint8_t>&, std::vector<uint8_t>&) {
    throw api::COSUpdateException(m_refusal);
}

}  // namespace cosupdate::transport
