#include "GuardedMedia.h"

#include <exception>
#include <stdexcept>

namespace cosupdate::cli {

GuardedMedia::GuardedMedia(std::shared_ptr<api::COSUpdateSEMediaInterface> inner,
                           StopCheck stopRequested)
    : m_inner(std::move(inner)), m_stopRequested(stopRequested) {
    if (!m_inner || m_stopRequested == nullptr) {
        throw std::invalid_argument("GuardedMedia needs a transport and a stop check");
    }
}

template <typename Call>
auto GuardedMedia::passOn(Call call) -> decltype(call()) {
    try {
        return call();
    } catch (const api::COSUpdateException&) {
        throw;
    } catch (const std::exception& e) {
        m_fatal = e.what();
    } catch (...) {
        m_fatal = "the transport failed with an unknown error";
    }
    throw api::COSUpdateException(*m_fatal);
}

void GuardedMedia::admitExchange() {
    if (m_fatal) {
        throw api::COSUpdateException("exchange refused after an earlier failure: " + *m_fatal);
    }
    if (m_interrupted || m_stopRequested()) {
        m_interrupted = true;
        throw api::COSUpdateException("exchange refused: the run was interrupted");
    }
}

void GuardedMedia::initialize() {
    passOn([this] { m_inner->initialize(); });
}

bool GuardedMedia::isInitialized() {
    return passOn([this] { return m_inner->isInitialized(); });
}

void GuardedMedia::openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) {
    admitExchange();
    passOn([&] { m_inner->openConnection(aid, response); });
}

bool GuardedMedia::isConnected() {
    return passOn([this] { return m_inner->isConnected(); });
}

void GuardedMedia::transmitApdu(const std::vector<uint8_t>& command,
                                std::vector<uint8_t>& response) {
    admitExchange();
    passOn([&] { m_inner->transmitApdu(command, response); });
}

void GuardedMedia::closeConnection() {
    passOn([this] { m_inner->closeConnection(); });
}

}  // namespace cosupdate::cli
