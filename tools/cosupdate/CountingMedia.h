// A transport wrapped so that the tool sees every exchange, whatever the
// transport: each SELECT sent by openConnection() and each transmitApdu()
// that returns is one exchange.

#ifndef COSUPDATE_CLI_COUNTING_MEDIA_H
#define COSUPDATE_CLI_COUNTING_MEDIA_H

#include <functional>
#include <memory>
#include <utility>

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::cli {

namespace api = Zelmar::Device::COS::V1_0;

class CountingMedia : public api::COSUpdateSEMediaInterface {
  public:
    CountingMedia(std::shared_ptr<api::COSUpdateSEMediaInterface> inner,
                  std::function<void()> onExchange)
        : m_inner(std::move(inner)), m_onExchange(std::move(onExchange)) {}

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

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_COUNTING_MEDIA_H
