#include "cosupdate/transport/GuardedSEMedia.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace cosupdate::transport {

GuardedSEMedia::GuardedSEMedia(std::shared_ptr<api::COSUpdateSEMediaInterface> inner,
                               StopCheck stopRequested)
    : m_inner(std::move(inner)), m_stopRequested(std::move(stopRequested)) {
    if (!m_inner || !m_stopRequested) {
        throw std::invalid_argument("GuardedSEMedia needs a transport and a stop check");
    }
}

template <typename Call>
auto GuardedSEMedia::passOn(Call call) -> decltype(call()) {
    std::string failure;
    try {
        return call();
    } catch (const api::COSUpdateException&) {
        throw;
    } catch (const std::exception& e) {
        failure = e.what();
    } catch (...) {
        failure = "the transport failed with an unknown error";
    }
    if (!m_fatal) {
        m_fatal = failure;
    }
    throw api::COSUpdateException(failure);
}

void GuardedSEMedia::admitExchange() {
    if (m_fatal) {
        throw api::COSUpdateException("exchange refused after an earlier failure: " + *m_fatal);
    }
    if (m_interrupted || m_stopRequested()) {
        m_interrupted = true;
        throw api::COSUpdateException("exchange refused: the run was interrupted");
    }
}

void GuardedSEMedia::initialize() {
    passOn([this] { m_inner->initialize(); });
}

bool GuardedSEMedia::isInitialized() {
    return passOn([this] { return m_inner->isInitialized(); });
}

void GuardedSEMedia::openConnection(const std::vector<uint8_t>& aid,
                                    std::vector<uint8_t>& response) {
    admitExchange();
    passOn([&] { m_inner->openConnection(aid, response); });
}

bool GuardedSEMedia::isConnected() {
    return passOn([this] { return m_inner->isConnected(); });
}

void GuardedSEMedia::transmitApdu(const std::vector<uint8_t>& command,
                                  std::vector<uint8_t>& response) {
    admitExchange();
    passOn([&] { m_inner->transmitApdu(command, response); });
}

void GuardedSEMedia::closeConnection() {
    passOn([this] { m_inner->closeConnection(); });
}

}  // namespace cosupdate::transport
