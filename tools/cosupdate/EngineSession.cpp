#include "EngineSession.h"

#include <vector>

#include "Errors.h"
#include "UpdateFileCheck.h"
#include "cosupdate/transport/CountingSEMedia.h"

namespace cosupdate::cli {

namespace {

constexpr char kRunFaults[] =
    "the library accepts the file, but it has faults an update would stop on or skip";

}  // namespace

EngineSession::EngineSession(std::shared_ptr<EngineLog> log,
                             std::shared_ptr<api::COSUpdateSEMediaInterface> media,
                             const AidSet& aids)
    : m_log(log), m_engine(api::COSUpdateFactory::create(log)) {
    RunTracker& tracker = m_log->tracker();
    m_engine->initialize(std::make_shared<transport::CountingSEMedia>(
        std::move(media), [&tracker] { tracker.exchanged(); }));
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

void EngineSession::loadUpdateFile(UpdateFile& file) {
    const size_t errorsBefore = m_log->tracker().errors().size();
    try {
        m_engine->loadCOSUpdateFileOnMemory(file.stream());
    } catch (const api::COSUpdateException& e) {
        const auto& errors = m_log->tracker().errors();
        std::vector<std::string> faults(errors.begin() + static_cast<ptrdiff_t>(errorsBefore),
                                        errors.end());
        throw InvalidUpdateFile(file.path(), e.what(), std::move(faults));
    }
    std::vector<std::string> faults = findRunFaults(file.bytes(), m_log->tracker());
    if (!faults.empty()) {
        throw InvalidUpdateFile(file.path(), kRunFaults, std::move(faults));
    }
}

CosIdentity EngineSession::readIdentity() {
    Bytes fe;
    m_engine->getCOSInfo(api::COSUPDATE_TAG_FE, fe);
    return decodeFe(fe);
}

}  // namespace cosupdate::cli
