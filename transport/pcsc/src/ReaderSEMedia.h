// The transport behind makePcscSEMedia(): COSUpdateSEMediaInterface over one
// reader through pcsc-lite, owning the context and the card connection and
// feeding the session logic (CardSession) with the card's raw exchanges.

#ifndef COSUPDATE_PCSC_READER_SE_MEDIA_H
#define COSUPDATE_PCSC_READER_SE_MEDIA_H

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

class ReaderSEMedia final : public Zelmar::Device::COS::V1_0::COSUpdateSEMediaInterface {
  public:
    explicit ReaderSEMedia(PcscOptions options);

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

#endif  // COSUPDATE_PCSC_READER_SE_MEDIA_H
