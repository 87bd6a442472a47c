#include "OfflineMedia.h"

namespace cosupdate::cli {

namespace {
constexpr const char kNoChip[] = "cosupdate: no secure element while validating";
}

void OfflineMedia::openConnection(const std::vector<uint8_t>&, std::vector<uint8_t>&) {
    throw api::COSUpdateException(kNoChip);
}

void OfflineMedia::transmitApdu(const std::vector<uint8_t>&, std::vector<uint8_t>&) {
    throw api::COSUpdateException(kNoChip);
}

}  // namespace cosupdate::cli
