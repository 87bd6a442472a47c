// A transport wrapped so that its owner hears of every exchange, whatever the
// transport: each SELECT sent by openConnection() and each transmitApdu()
// that returns is one exchange; one that throws is not.
//
//   auto media = std::make_shared<cosupdate::transport::CountingSEMedia>(
//       inner, [&progress] { progress.exchanged(); });
//
// Every call goes to the inner transport on the calling thread; thread-safe
// as far as the inner transport and the callback are.

#ifndef COSUPDATE_TRANSPORT_COUNTING_SE_MEDIA_H
#define COSUPDATE_TRANSPORT_COUNTING_SE_MEDIA_H

#include <functional>
#include <memory>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::transport {

namespace api = Zelmar::Device::COS::V1_0;

class CountingSEMedia final : public api::COSUpdateSEMediaInterface {
  public:
    // `onExchange` runs after each exchange, before its answer goes back; what
    // it throws reaches the caller. Throws std::invalid_argument when `inner`
    // or `onExchange` is empty.
    CountingSEMedia(std::shared_ptr<api::COSUpdateSEMediaInterface> inner,
                    std::function<void()> onExchange);

    void initialize() override { m_inner->initialize(); }
    bool isInitialized() override { return m_inner->isInitialized(); }
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override { return m_inner->isConnected(); }
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override { m_inner->closeConnection(); }

  private:
    std::shared_ptr<api::COSUpdateSEMediaInterface> m_inner;
    std::function<void()> m_onExchange;
};

}  // namespace cosupdate::transport

#endif  // COSUPDATE_TRANSPORT_COUNTING_SE_MEDIA_H
