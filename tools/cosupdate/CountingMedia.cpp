#include "CountingMedia.h"

namespace cosupdate::cli {

void CountingMedia::openConnection(const std::vector<uint8_t>& aid,
                                   std::vector<uint8_t>& response) {
    m_inner->openConnection(aid, response);
    m_onExchange();
}

void CountingMedia::transmitApdu(const std::vector<uint8_t>& command,
                                 std::vector<uint8_t>& response) {
    m_inner->transmitApdu(command, response);
    m_onExchange();
}

}  // namespace cosupdate::cli
