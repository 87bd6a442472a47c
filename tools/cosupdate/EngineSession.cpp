#include "EngineSession.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "CountingMedia.h"
#include "Errors.h"

namespace cosupdate::cli {

std::ifstream openUpdateFile(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw ToolError("update file " + path + ": is a directory");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw ToolError("update file " + path + ": " + std::strerror(errno));
    }
    return file;
}

EngineSession::EngineSession(std::shared_ptr<EngineLog> log,
                             std::shared_ptr<api::COSUpdateSEMediaInterface> media,
                             const AidSet& aids)
    : m_log(log), m_engine(api::COSUpdateFactory::create(log)) {
    RunTracker& tracker = m_log->tracker();
    m_engine->initialize(
        std::make_shared<CountingMedia>(std::move(media), [&tracker] { tracker.exchanged(); }));
    m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FC, aids.fc);
    m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FD, aids.fd);
    m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FE, aids.fe);
}

EngineSession::~EngineSession() {
    // release() frees the loaded file too; nothing here may throw.
    try {
        if (m_engine->isInitialized()) {
            m_engine->release();
        }
    } catch (...) {
    }
}

void EngineSession::loadUpdateFile(std::ifstream& file, const std::string& path) {
    const size_t errorsBefore = m_log->tracker().errors().size();
    try {
        m_engine->loadCOSUpdateFileOnMemory(file);
    } catch (const api::COSUpdateException& e) {
        const auto& errors = m_log->tracker().errors();
        std::vector<std::string> faults(errors.begin() + static_cast<ptrdiff_t>(errorsBefore),
                                        errors.end());
        throw InvalidUpdateFile(path, e.what(), std::move(faults));
    }
}

CosIdentity EngineSession::readIdentity() {
    Bytes fe;
    m_engine->getCOSInfo(api::COSUPDATE_TAG_FE, fe);
    return decodeFe(fe);
}

}  // namespace cosupdate::cli
