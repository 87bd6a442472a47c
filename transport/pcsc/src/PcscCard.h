// Owner of a connection to the card in one reader (SCARDHANDLE), exclusive
// for the whole update: another application selecting something on the card
// between two of our commands would break the card's update session.

#ifndef COSUPDATE_PCSC_PCSC_CARD_H
#define COSUPDATE_PCSC_PCSC_CARD_H

#include <PCSC/winscard.h>

#include <string>

#include "PcscContext.h"
#include "RawTransmit.h"

namespace cosupdate {
namespace pcsc {

class PcscCard {
  public:
    // `protocols`: SCARD_PROTOCOL_T0 and/or SCARD_PROTOCOL_T1; pcsc-lite
    // takes T=1 when both are allowed and the card offers it. Throws
    // COSUpdateException.
    PcscCard(const PcscContext& context, std::string reader, DWORD protocols);
    // Resets the card, so the next application starts from a clean card.
    ~PcscCard();
    PcscCard(const PcscCard&) = delete;
    PcscCard& operator=(const PcscCard&) = delete;

    // One command APDU to the card, its answer as it came (see RawTransmit).
    // Throws COSUpdateException; lost() tells afterwards whether the card is
    // gone.
    Bytes transmit(const Bytes& command);

    // True once an exchange or a status check found the card gone, reset by
    // someone else, or pcscd stopped.
    bool lost() const { return m_lost; }
    // Asks pcscd whether the card is still the one connected; updates lost().
    bool stillThere();

    const std::string& reader() const { return m_reader; }
    DWORD protocol() const { return m_protocol; }

  private:
    [[noreturn]] void fail(const std::string& action, LONG result);

    SCARDHANDLE m_handle = 0;
    std::string m_reader;
    DWORD m_protocol = SCARD_PROTOCOL_UNDEFINED;
    bool m_lost = false;
};

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_PCSC_CARD_H
