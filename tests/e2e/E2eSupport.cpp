#include "E2eSupport.h"

#include <fstream>
#include <stdexcept>

#include "cosim/Protocol.h"

namespace e2e {

void CapturingLog::writeLogMessage(api::COSUpdateLogLevel level, const std::string& message) {
    m_lines.push_back(std::to_string(level) + " " + message);
}

bool CapturingLog::contains(const std::string& text) const {
    for (const std::string& line : m_lines) {
        if (line.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::string CapturingLog::dump() const {
    std::string text;
    for (const std::string& line : m_lines) {
        text += line + "\n";
    }
    return text;
}

std::string examplePath(const std::string& name) {
    return std::string(COSUPDATE_EXAMPLES_DIR) + "/" + name;
}

Bench::Bench(cosim::ChipState state)
    : m_chip(std::make_shared<cosim::Chip>(std::move(state))),
      m_media(std::make_shared<cosim::SimulatedSEMedia>(m_chip)) {}

api::COSUpdateInterface& Bench::startEngine(const std::string& updateFile) {
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

void Bench::stopEngine() {
    if (m_engine) {
        m_engine->release();
        m_engine.reset();
    }
}

void Bench::load(const std::string& updateFile) {
    std::ifstream file(updateFile, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot open " + updateFile);
    }
    m_engine->loadCOSUpdateFileOnMemory(file);
}

}  // namespace e2e
