// COSUpdateSEMediaInterface over pcsc-lite: the context and the card
// connection it owns, and the session logic (CardSession) it feeds with the
// card's raw exchanges.

#ifndef COSUPDATE_PCSC_PCSC_SE_MEDIA_IMPL_H
#define COSUPDATE_PCSC_PCSC_SE_MEDIA_IMPL_H

#include <memory>
#include <string>
#include <vector>

#include "CardSession.h"
#include "PcscCard.h"
#include "PcscContext.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "cosupdate/pcsc/PcscSEMedia.h"

namespace cosupdate {
namespace pcsc {

class PcscSEMedia : public Zelmar::Device::COS::V1_0::COSUpdateSEMediaInterface {
  public:
    explicit PcscSEMedia(PcscOptions options);

    void initialize() override;
    bool isInitialized() override;
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override;
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override;

  private:
    void requireInitialized() const;
    // Connects again when the card went away or pcscd restarted since.
    void ensureCard();
    // After a failed exchange: a card that is gone takes the session along.
    void dropIfLost();
    Bytes transmitRaw(const Bytes& command);

    PcscOptions m_options;
    std::string m_reader;  // chosen by initialize(), kept for reconnecting
    std::unique_ptr<PcscContext> m_context;
    std::unique_ptr<PcscCard> m_card;
    CardSession m_session;
};

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_PCSC_SE_MEDIA_IMPL_H
