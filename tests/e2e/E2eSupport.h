// What the end-to-end tests share: a log sink that keeps every line, and a
// bench of simulated chip, transport and engine driven through the public API.

#ifndef COSUPDATE_E2E_SUPPORT_H
#define COSUPDATE_E2E_SUPPORT_H

#include <fstream>
#include <memory>
#include <string>

#include "ZelmarNativeCOSUpdateApi.h"
#include "cosim/Chip.h"
#include "cosim/Protocol.h"
#include "cosupdate/sim/SimulatedSEMedia.h"

namespace e2e {

namespace api = Zelmar::Device::COS::V1_0;

class CapturingLog : public api::COSUpdateLogInterface {
  public:
    void writeLogMessage(api::COSUpdateLogLevel level, const std::string& message) override {
        text += std::to_string(level) + " " + message + "\n";
    }
    bool contains(const std::string& part) const { return text.find(part) != std::string::npos; }
    std::string text;  // one "LEVEL message" line per message
};

inline std::string examplePath(const std::string& name) {
    return std::string(COSUPDATE_EXAMPLES_DIR) + "/" + name;
}

// One chip, its transport and at most one engine at a time.
class Bench {
  public:
    explicit Bench(cosim::ChipState state = cosim::ChipState::factoryDefault())
        : m_chip(std::make_shared<cosim::Chip>(std::move(state))),
          m_media(std::make_shared<cosupdate::sim::SimulatedSEMedia>(m_chip)) {}

    // Replaces the engine with a new one with a new log, initialised and
    // configured (FC, FD, FE AIDs), and loads `updateFile` if given.
    api::COSUpdateInterface& startEngine(const std::string& updateFile = "") {
        stopEngine();
        m_log = std::make_shared<CapturingLog>();
        m_engine = api::COSUpdateFactory::create(m_log);
        m_engine->initialize(m_media);
        m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FC, cosim::aid::kFC);
        m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FD, cosim::aid::kFD);
        m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FE, cosim::aid::kFE);
        if (!updateFile.empty()) {
            load(updateFile);
        }
        return *m_engine;
    }
    void stopEngine() {
        if (m_engine) {
            m_engine->release();
            m_engine.reset();
        }
    }
    void load(const std::string& updateFile) {
        std::ifstream file(updateFile, std::ios::binary);
        m_engine->loadCOSUpdateFileOnMemory(file);
    }

    cosim::Chip& chip() { return *m_chip; }
    cosupdate::sim::SimulatedSEMedia& media() { return *m_media; }
    CapturingLog& log() { return *m_log; }

  private:
    std::shared_ptr<cosim::Chip> m_chip;
    std::shared_ptr<cosupdate::sim::SimulatedSEMedia> m_media;
    std::shared_ptr<CapturingLog> m_log;
    std::unique_ptr<api::COSUpdateInterface> m_engine;
};

}  // namespace e2e

#endif  // COSUPDATE_E2E_SUPPORT_H
