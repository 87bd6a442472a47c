// A transport with no secure element behind it, for what the engine does
// without one (loading and validating an update file): `validate` works with
// no chip, no reader and no chip state file. Any exchange fails.

#ifndef COSUPDATE_CLI_OFFLINE_MEDIA_H
#define COSUPDATE_CLI_OFFLINE_MEDIA_H

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::cli {

namespace api = Zelmar::Device::COS::V1_0;

class OfflineMedia : public api::COSUpdateSEMediaInterface {
  public:
    void initialize() override { m_initialized = true; }
    bool isInitialized() override { return m_initialized; }
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override { return false; }
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override {}

  private:
    bool m_initialized = false;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_OFFLINE_MEDIA_H
