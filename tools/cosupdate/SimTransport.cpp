#include "SimTransport.h"

#include "ChipFile.h"
#include "Errors.h"
#include "cosim/Chip.h"
#include "cosupdate/sim/SimulatedSEMedia.h"

namespace cosupdate::cli {

namespace {

class SimTransport : public Transport {
  public:
    explicit SimTransport(const ChipFile& file)
        : m_path(file.path()),
          m_media(std::make_shared<cosupdate::sim::SimulatedSEMedia>(
              std::make_shared<cosim::Chip>(file.loadOrCreate()))) {
        m_media->persistTo(m_path);
    }

    std::shared_ptr<api::COSUpdateSEMediaInterface> media() override { return m_media; }
    std::string description() const override { return "simulated chip (state in " + m_path + ")"; }

  private:
    std::string m_path;
    std::shared_ptr<cosupdate::sim::SimulatedSEMedia> m_media;
};

}  // namespace

std::unique_ptr<Transport> openSimTransport(const TransportSettings& settings) {
    if (!settings.argument.empty()) {
        throw UsageError("--transport sim takes no argument; the chip state file is --chip FILE");
    }
    return std::make_unique<SimTransport>(ChipFile(settings.chipFile));
}

}  // namespace cosupdate::cli
