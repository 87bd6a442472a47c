#include "commands/CommandContext.h"

#include <stdexcept>

#include "ChipFile.h"
#include "Errors.h"
#include "OfflineMedia.h"

namespace cosupdate::cli {

std::string CommandContext::chipFile() const {
    return m_options.chipFile.empty() ? defaultChipFile() : m_options.chipFile;
}

Transport& CommandContext::transport() {
    if (!m_transport) {
        m_transport = openTransport(parseTransportChoice(m_options.transport), chipFile());
    }
    return *m_transport;
}

EngineSession& CommandContext::openSession() {
    return startSession(transport().media());
}

EngineSession& CommandContext::openOfflineSession() {
    return startSession(std::make_shared<OfflineMedia>());
}

EngineSession& CommandContext::startSession(std::shared_ptr<api::COSUpdateSEMediaInterface> media) {
    if (m_session) {
        throw std::logic_error("one engine session per command");
    }
    auto log = std::make_shared<EngineLog>(m_options.log, m_console);
    m_session = std::make_unique<EngineSession>(std::move(log), std::move(media), m_options.aids);
    return *m_session;
}

Json identityJson(const CosIdentity& identity) {
    return Json{{"platformId", identity.platformId},
                {"cosVersion", formatVersion(identity.cosVersion)},
                {"customerId", identity.customerId}};
}

}  // namespace cosupdate::cli
