#include "E2eSupport.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "cosim/Protocol.h"

namespace e2e {

const cosim::Bytes kTransitServiceAid{0xF0, 0x5A, 0x4C, 0x4D, 0x53, 0x00, 0x00, 0x01};

void CapturingLog::writeLogMessage(api::COSUpdateLogLevel level, const std::string& message) {
    m_lines.emplace_back(level, message);
}

bool CapturingLog::contains(api::COSUpdateLogLevel level, const std::string& text) const {
    for (const auto& [lineLevel, line] : m_lines) {
        if (lineLevel == level && line.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool CapturingLog::contains(const std::string& text) const {
    for (const auto& line : m_lines) {
        if (line.second.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::string CapturingLog::dump() const {
    std::ostringstream out;
    for (const auto& [level, line] : m_lines) {
        out << level << ' ' << line << '\n';
    }
    return out.str();
}

std::string examplePath(const std::string& name) {
    return std::string(COSUPDATE_EXAMPLES_DIR) + "/" + name;
}

cosim::ChipState updatedFactoryState() {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.cosVersion = 0x0102;
    state.services.insert(kTransitServiceAid);
    return state;
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

int doUpdateCatching(api::COSUpdateInterface& engine) {
    try {
        return engine.doUpdate();
    } catch (const api::COSUpdateException&) {
        return kThrew;
    }
}

}  // namespace e2e
