// One application session with the card: the AID selected, on a logical
// channel when the card grants one, else on the basic channel; then command
// after command on that channel; then the channel closed. Works over a
// RawTransmit, knowing nothing of the reader.

#ifndef COSUPDATE_PCSC_CARD_SESSION_H
#define COSUPDATE_PCSC_CARD_SESSION_H

#include <cstdint>
#include <optional>

#include "RawTransmit.h"

namespace cosupdate {
namespace pcsc {

class CardSession {
  public:
    explicit CardSession(RawTransmit send);

    // Closes the session open, if any, then opens a channel and SELECTs
    // `aid`. Returns the answer to SELECT: the session stands whatever its
    // status word, the caller judges it.
    Bytes open(const Bytes& aid);
    bool isOpen() const { return m_channel.has_value(); }
    // The channel of the open session; kBasicChannel when none is open.
    uint8_t channel() const;

    // `command`, written for the basic channel, sent on the session's
    // channel; the card's complete answer (61xx and 6Cxx handled).
    Bytes transmit(const Bytes& command);

    // Closes the logical channel, if one is open. The session is closed
    // afterwards even when the card refuses (COSUpdateException).
    void close();

    // The card went away or was reset: whatever was open is gone with it, and
    // the next card may support logical channels or not.
    void forgetCard();

  private:
    uint8_t openChannel();
    uint8_t isoCla() const;

    RawTransmit m_send;
    std::optional<uint8_t> m_channel;
    bool m_channelsRefused = false;
};

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_CARD_SESSION_H
