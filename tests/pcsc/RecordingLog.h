// A log sink that keeps the engine's lines for the test to search.

#ifndef COSUPDATE_PCSC_E2E_RECORDING_LOG_H
#define COSUPDATE_PCSC_E2E_RECORDING_LOG_H

#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace pcsce2e {

class RecordingLog : public Zelmar::Device::COS::V1_0::COSUpdateLogInterface {
  public:
    void writeLogMessage(Zelmar::Device::COS::V1_0::COSUpdateLogLevel level,
                         const std::string& message) override;
    bool contains(const std::string& text) const;
    std::string dump() const;  // for failure messages

  private:
    std::vector<std::string> m_lines;
};

}  // namespace pcsce2e

#endif  // COSUPDATE_PCSC_E2E_RECORDING_LOG_H
