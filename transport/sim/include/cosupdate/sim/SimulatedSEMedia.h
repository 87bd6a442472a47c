// COSUpdateSEMediaInterface over the simulated chip, with fault injection, a
// modelled link latency and an exchange counter.
//
//   auto chip = std::make_shared<cosim::Chip>();
//   auto media = std::make_shared<cosupdate::sim::SimulatedSEMedia>(chip);
//   media->injectFault(cosupdate::sim::Fault::powerLoss(12));
//   engine->initialize(media);
//
// openConnection() powers the chip up if it is not (a cold reset), then
// SELECTs the AID on the basic channel: the connection stands whatever status
// word the SELECT got, and the answer goes back to the caller as it is.

#ifndef COSUPDATE_SIM_SIMULATED_SE_MEDIA_H
#define COSUPDATE_SIM_SIMULATED_SE_MEDIA_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "ZelmarNativeCOSUpdateApi.h"
#include "cosim/Chip.h"
#include "cosupdate/apdu/Bytes.h"
#include "cosupdate/sim/Fault.h"

namespace cosupdate::sim {

using apdu::Bytes;

class SimulatedSEMedia : public Zelmar::Device::COS::V1_0::COSUpdateSEMediaInterface {
  public:
    // Told about every exchange that produced an answer (possibly faulty).
    using ExchangeObserver =
        std::function<void(uint64_t index, const Bytes& command, const Bytes& response)>;

    explicit SimulatedSEMedia(std::shared_ptr<cosim::Chip> chip);

    // COSUpdateSEMediaInterface. Failures throw COSUpdateException.
    void initialize() override;
    bool isInitialized() override;
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override;
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override;

    // One fault per exchange index; a later one for the same index replaces it.
    void injectFault(const Fault& fault);
    void clearFaults();

    // Time every exchange takes, waited with sub-millisecond precision.
    void setLatency(std::chrono::nanoseconds perExchange) { m_latency = perExchange; }

    // Saves the chip's state to `path` (cosim::saveStateFile) after every
    // exchange that changed it, before the answer is returned. A save that
    // fails throws cosim::StateFileError rather than COSUpdateException: the
    // chip went on but the file did not, so no retry can help and the caller
    // must stop the run.
    void persistTo(std::string path);

    void setExchangeObserver(ExchangeObserver observer) { m_observer = std::move(observer); }

    uint64_t exchangeCount() const { return m_exchanges; }
    uint64_t powerLossCount() const { return m_powerLosses; }
    cosim::Chip& chip() { return *m_chip; }

  private:
    Bytes exchange(const Bytes& command);
    Bytes exchangeWithFault(const Fault& fault, const Bytes& command);
    Bytes executeOnChip(const Bytes& command);
    void losePower();
    void requireInitialized() const;
    void powerUpIfNeeded();

    std::shared_ptr<cosim::Chip> m_chip;
    bool m_initialized = false;
    bool m_connected = false;
    bool m_linkDown = false;
    uint64_t m_exchanges = 0;
    uint64_t m_powerLosses = 0;
    std::chrono::nanoseconds m_latency{0};
    std::map<uint64_t, Fault> m_faults;
    ExchangeObserver m_observer;
    std::string m_statePath;
    uint64_t m_savedGeneration = 0;
};

}  // namespace cosupdate::sim

#endif  // COSUPDATE_SIM_SIMULATED_SE_MEDIA_H
