#include "ReaderSEMedia.h"

#include <utility>

#include "ReaderSelection.h"

namespace cosupdate {
namespace pcsc {

namespace {

using Zelmar::Device::COS::V1_0::COSUpdateException;
using Zelmar::Device::COS::V1_0::COSUpdateSEMediaInterface;

DWORD protocolMask(Protocol protocol) {
    switch (protocol) {
        case Protocol::T0:
            return SCARD_PROTOCOL_T0;
        case Protocol::T1:
            return SCARD_PROTOCOL_T1;
        case Protocol::Any:
            break;
    }
    return SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1;
}

}  // namespace

ReaderSEMedia::ReaderSEMedia(PcscOptions options)
    : m_options(std::move(options)),
      m_session([this](const Bytes& command) { return transmitRaw(command); }) {}

void ReaderSEMedia::initialize() {
    m_session.forgetCard();
    m_card.reset();
    m_context.reset();
    // Initialized only once connected: a failure leaves nothing behind.
    auto context = std::make_unique<PcscContext>();
    std::string reader = chooseReader(*context, m_options.reader);
    auto card = std::make_unique<PcscCard>(*context, reader, protocolMask(m_options.protocol));
    m_context = std::move(context);
    m_reader = std::move(reader);
    m_card = std::move(card);
}

bool ReaderSEMedia::isInitialized() {
    return m_context != nullptr;
}

void ReaderSEMedia::openConnection(const std::vector<uint8_t>& aid,
                                   std::vector<uint8_t>& response) {
    requireInitialized();
    ensureCard();
    try {
        response = m_session.open(aid);
    } catch (...) {
        dropIfLost();
        throw;
    }
}

bool ReaderSEMedia::isConnected() {
    return m_card != nullptr && m_session.isOpen();
}

void ReaderSEMedia::transmitApdu(const std::vector<uint8_t>& command,
                                 std::vector<uint8_t>& response) {
    requireInitialized();
    if (!isConnected()) {
        throw COSUpdateException("PC/SC: no connection open to send an APDU on");
    }
    try {
        response = m_session.transmit(command);
    } catch (...) {
        dropIfLost();
        throw;
    }
}

void ReaderSEMedia::closeConnection() {
    if (m_card == nullptr) {
        m_session.forgetCard();
        return;
    }
    try {
        m_session.close();
    } catch (...) {
        dropIfLost();
        throw;
    }
}

void ReaderSEMedia::requireInitialized() const {
    if (m_context == nullptr) {
        throw COSUpdateException("PC/SC: transport not initialized");
    }
}

void ReaderSEMedia::ensureCard() {
    if (m_card != nullptr && m_card->stillThere()) {
        return;
    }
    m_session.forgetCard();
    m_card.reset();
    if (!m_context->isValid()) {
        // pcscd restarted: the old context stays until a new one stands, so
        // a failure here leaves the transport initialized for the next try.
        auto fresh = std::make_unique<PcscContext>();
        m_context = std::move(fresh);
    }
    m_card = std::make_unique<PcscCard>(*m_context, m_reader, protocolMask(m_options.protocol));
}

void ReaderSEMedia::dropIfLost() {
    if (m_card != nullptr && m_card->lost()) {
        m_session.forgetCard();
        m_card.reset();
    }
}

Bytes ReaderSEMedia::transmitRaw(const Bytes& command) {
    if (m_card == nullptr) {
        throw COSUpdateException("PC/SC: no card connected");
    }
    return m_card->transmit(command);
}

std::shared_ptr<COSUpdateSEMediaInterface> makePcscSEMedia(const PcscOptions& options) {
    return std::make_shared<ReaderSEMedia>(options);
}

std::shared_ptr<COSUpdateSEMediaInterface> makePcscSEMedia(const std::string& reader) {
    PcscOptions options;
    options.reader = reader;
    return makePcscSEMedia(options);
}

}  // namespace pcsc
}  // namespace cosupdate
