#include "cosupdate/transport/CountingSEMedia.h"

#include <stdexcept>
#include <utility>

namespace cosupdate::transport {

CountingSEMedia::CountingSEMedia(std::shared_ptr<api::COSUpdateSEMediaInterface> inner,
                                 std::function<void()> onExchange)
    : m_inner(std::move(inner)), m_onExchange(std::move(onExchange)) {
    if (!m_inner || !m_onExchange) {
        throw std::invalid_argument("CountingSEMedia needs a transport and a callback");
    }
}

void CountingSEMedia::openConnection(const std::vector<uint8_t>& aid,
                                     std::vector<uint8_t>& response) {
    m_inner->openConnection(aid, response);
    m_onExchange();
}

void CountingSEMedia::transmitApdu(const std::vector<uint8_t>& command,
                                   std::vector<uint8_t>& response) {
    m_inner->transmitApdu(command, response);
    m_onExchange();
}

}  // namespace cosupdate::transport
