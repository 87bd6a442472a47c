#include "PcscTransport.h"

#include "cosupdate/pcsc/PcscSEMedia.h"

namespace cosupdate::cli {

namespace {

class PcscTransport : public Transport {
  public:
    explicit PcscTransport(const std::string& reader)
        : m_reader(reader), m_media(cosupdate::pcsc::makePcscSEMedia(reader)) {}

    std::shared_ptr<api::COSUpdateSEMediaInterface> media() override { return m_media; }
    std::string description() const override {
        return m_reader.empty() ? "PC/SC, first reader holding a card"
                                : "PC/SC reader '" + m_reader + "'";
    }

  private:
    std::string m_reader;
    std::shared_ptr<api::COSUpdateSEMediaInterface> m_media;
};

}  // namespace

std::unique_ptr<Transport> openPcscTransport(const TransportSettings& settings) {
    // Connecting waits for the engine's initialize(): errors then come with
    // the reader's state, as the transport words them.
    return std::make_unique<PcscTransport>(settings.argument);
}

}  // namespace cosupdate::cli
