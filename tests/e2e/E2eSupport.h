// What the end-to-end tests share: a log sink that keeps every line, and a
// bench of simulated chip, transport and engine driven through the public API.

#ifndef COSUPDATE_E2E_SUPPORT_H
#define COSUPDATE_E2E_SUPPORT_H

#include <memory>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"
#include "cosim/Chip.h"
#include "cosim/SimulatedSEMedia.h"

namespace e2e {

namespace api = Zelmar::Device::COS::V1_0;

class CapturingLog : public api::COSUpdateLogInterface {
  public:
    void writeLogMessage(api::COSUpdateLogLevel level, const std::string& message) override;
    bool contains(const std::string& text) const;
    std::string dump() const;  // for failure messages

  private:
    std::vector<std::string> m_lines;
};

std::string examplePath(const std::string& name);

// One chip, its transport and at most one engine at a time.
class Bench {
  public:
    explicit Bench(cosim::ChipState state = cosim::ChipState::factoryDefault());

    // Creates, initialises and configures (FC, FD, FE AIDs) a new engine with
    // a new log, replacing the previous engine, and loads `updateFile` if given.
    api::COSUpdateInterface& startEngine(const std::string& updateFile = "");
    void stopEngine();
    void load(const std::string& updateFile);

    cosim::Chip& chip() { return *m_chip; }
    cosim::SimulatedSEMedia& media() { return *m_media; }
    CapturingLog& log() { return *m_log; }

  private:
    std::shared_ptr<cosim::Chip> m_chip;
    std::shared_ptr<cosim::SimulatedSEMedia> m_media;
    std::shared_ptr<CapturingLog> m_log;
    std::unique_ptr<api::COSUpdateInterface> m_engine;
};

}  // namespace e2e

#endif  // COSUPDATE_E2E_SUPPORT_H
