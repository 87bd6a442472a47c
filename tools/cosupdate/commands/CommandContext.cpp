#include "commands/CommandContext.h"

#include <stdexcept>

#include "ChipFile.h"
#include "Errors.h"
#include "StopRequest.h"
#include "cosupdate/apdu/Hex.h"
#include "cosupdate/transport/OfflineSEMedia.h"

namespace cosupdate::cli {

namespace {
// What an exchange fails with when a command works without a chip.
constexpr const char kNoChipWhileValidating[] = "cosupdate: no secure element while validating";
}  // namespace

std::string CommandContext::chipFile() const {
    return m_options.chipFile.empty() ? defaultChipFile() : m_options.chipFile;
}

void CommandContext::lockChipFile() {
    if (!m_chipLock) {
        m_chipLock = ChipFile(chipFile()).lock(m_options.wait, [this](const std::string& notice) {
            m_console.line("cosupdate: " + notice);
        });
    }
}

Transport& CommandContext::transport() {
    if (!m_transport) {
        const TransportChoice choice = parseTransportChoice(m_options.transport);
        if (choice.name == "sim") {
            lockChipFile();
        }
        m_transport = openTransport(choice, chipFile());
        if (!m_options.recordFile.empty()) {
            m_transport = recordTransport(std::move(m_transport), m_options.recordFile);
        }
    }
    return *m_transport;
}

EngineSession& CommandContext::openSession() {
    m_guard = std::make_shared<transport::GuardedSEMedia>(transport().media(), stopRequested);
    return startSession(m_guard);
}

std::optional<ToolError> CommandContext::stopError() const {
    if (m_transport && m_transport->runFailure()) {
        return ToolError(*m_transport->runFailure());
    }
    if (m_guard && m_guard->fatalError()) {
        return ToolError(*m_guard->fatalError());
    }
    if (m_guard && m_guard->interrupted()) {
        return ToolError(kInterruptedMessage, ExitStatus::Interrupted);
    }
    return std::nullopt;
}

ExitStatus CommandContext::runGuarded(const std::function<ExitStatus()>& command) {
    try {
        return command();
    } catch (...) {
        if (const std::optional<ToolError> stop = stopError()) {
            throw *stop;
        }
        throw;
    }
}

std::optional<std::string> CommandContext::endSession() {
    m_session.reset();
    return m_transport ? m_transport->traceError() : std::nullopt;
}

EngineSession& CommandContext::openOfflineSession() {
    return startSession(std::make_shared<transport::OfflineSEMedia>(kNoChipWhileValidating));
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
                {"cosVersion", apdu::encodeHexU16(identity.cosVersion)},
                {"customerId", identity.customerId}};
}

}  // namespace cosupdate::cli
