#include "CardSession.h"

#include <cstdio>
#include <string>
#include <utility>

#include "LengthFields.h"
#include "LogicalChannel.h"
#include "ResponseHandling.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "cosupdate/apdu/StatusWords.h"

namespace cosupdate {
namespace pcsc {

namespace {

using Zelmar::Device::COS::V1_0::COSUpdateException;

constexpr uint8_t kIsoCla = 0x00;

}  // namespace

CardSession::CardSession(RawTransmit send) : m_send(std::move(send)) {}

uint8_t CardSession::channel() const {
    return m_channel.value_or(kBasicChannel);
}

uint8_t CardSession::isoCla() const {
    return claForChannel(kIsoCla, channel());
}

Bytes CardSession::open(const Bytes& aid) {
    close();
    m_channel = openChannel();
    try {
        return transceive(selectByNameCommand(isoCla(), aid), m_send, isoCla());
    } catch (...) {
        // No session without its SELECT; the channel is given back if the
        // card still listens.
        try {
            close();
        } catch (...) {
        }
        throw;
    }
}

// A logical channel if the card grants one, else the basic channel. A card
// that refused once is not asked again: every session would pay for it.
uint8_t CardSession::openChannel() {
    if (m_channelsRefused) {
        return kBasicChannel;
    }
    const std::optional<uint8_t> granted =
        grantedChannel(transceive(manageChannelOpenCommand(), m_send, kIsoCla));
    if (!granted) {
        m_channelsRefused = true;
        return kBasicChannel;
    }
    return *granted;
}

Bytes CardSession::transmit(const Bytes& command) {
    if (!isOpen()) {
        throw COSUpdateException("no session open on the card");
    }
    if (command.size() < kApduHeaderSize) {
        throw COSUpdateException("command APDU of " + std::to_string(command.size()) +
                                 " byte(s) has no header");
    }
    if (channel() == kBasicChannel) {
        return transceive(command, m_send, kIsoCla);
    }
    Bytes onChannel = command;
    onChannel[0] = claForChannel(command[0], channel());
    return transceive(onChannel, m_send, isoCla());
}

void CardSession::close() {
    if (!isOpen()) {
        return;
    }
    const uint8_t closing = channel();
    m_channel.reset();
    if (closing == kBasicChannel) {
        return;
    }
    const Bytes answer = transceive(manageChannelCloseCommand(closing), m_send, kIsoCla);
    if (!isSuccess(answer)) {
        char text[80];
        std::snprintf(text, sizeof(text), "closing logical channel %u: card answered %04X", closing,
                      apdu::statusWordOf(answer));
        throw COSUpdateException(text);
    }
}

void CardSession::forgetCard() {
    m_channel.reset();
    m_channelsRefused = false;
}

}  // namespace pcsc
}  // namespace cosupdate
