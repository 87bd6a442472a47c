// A transport with no secure element behind it, for what the engine does
// without one: loading and checking an update file needs no chip, no reader
// and no state. It initializes, is never connected, and every exchange
// throws COSUpdateException with the text its owner chose.
//
//   engine->initialize(std::make_shared<cosupdate::transport::OfflineSEMedia>(
//       "no secure element while validating"));

#ifndef COSUPDATE_TRANSPORT_OFFLINE_SE_MEDIA_H
#define COSUPDATE_TRANSPORT_OFFLINE_SE_MEDIA_H

#include <string>
#include <utility>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::transport {

namespace api = Zelmar::Device::COS::V1_0;

class OfflineSEMedia final : public api::COSUpdateSEMediaInterface {
  public:
    // `refusal`: the text of the exception every exchange throws.
    explicit OfflineSEMedia(std::string refusal) : m_refusal(std::move(refusal)) {}

    void initialize() override { m_initialized = true; }
    bool isInitialized() override { return m_initialized; }
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override { return false; }
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override {}

  private:
    std::string m_refusal;
    bool m_initialized = false;
};

}  // namespace cosupdate::transport

#endif  // COSUPDATE_TRANSPORT_OFFLINE_SE_MEDIA_H
