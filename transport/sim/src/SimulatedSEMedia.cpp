#include "cosupdate/sim/SimulatedSEMedia.h"

#include <algorithm>
#include <stdexcept>

#include "Latency.h"
#include "cosim/Protocol.h"
#include "cosim/StateFile.h"

namespace cosupdate::sim {

namespace {

using Zelmar::Device::COS::V1_0::COSUpdateException;

std::string exchangeLabel(uint64_t index) {
    return "APDU #" + std::to_string(index);
}

Bytes cut(Bytes response, size_t keptBytes) {
    // A cut answer is always shorter than the real one.
    const size_t limit = response.empty() ? 0 : response.size() - 1;
    response.resize(std::min(keptBytes, limit));
    return response;
}

}  // namespace

SimulatedSEMedia::SimulatedSEMedia(std::shared_ptr<cosim::Chip> chip) : m_chip(std::move(chip)) {
    if (!m_chip) {
        throw std::invalid_argument("SimulatedSEMedia needs a chip");
    }
    m_savedGeneration = m_chip->stateGeneration();
}

void SimulatedSEMedia::initialize() {
    m_chip->powerOn();
    m_linkDown = false;
    m_connected = false;
    m_initialized = true;
}

bool SimulatedSEMedia::isInitialized() {
    return m_initialized;
}

void SimulatedSEMedia::openConnection(const std::vector<uint8_t>& aid,
                                      std::vector<uint8_t>& response) {
    requireInitialized();
    powerUpIfNeeded();
    m_connected = false;
    Bytes answer = exchange(cosim::selectCommand(aid));
    m_connected = !m_linkDown;
    response = std::move(answer);
}

bool SimulatedSEMedia::isConnected() {
    return m_connected && !m_linkDown;
}

void SimulatedSEMedia::transmitApdu(const std::vector<uint8_t>& command,
                                    std::vector<uint8_t>& response) {
    requireInitialized();
    if (m_linkDown) {
        throw COSUpdateException("Simulated eSE: link down since the chip lost power");
    }
    if (!m_connected) {
        throw COSUpdateException("Simulated eSE: no connection open");
    }
    response = exchange(command);
}

void SimulatedSEMedia::closeConnection() {
    m_connected = false;
}

void SimulatedSEMedia::injectFault(const Fault& fault) {
    m_faults[fault.atExchange] = fault;
}

void SimulatedSEMedia::clearFaults() {
    m_faults.clear();
}

void SimulatedSEMedia::persistTo(std::string path) {
    m_statePath = std::move(path);
    m_savedGeneration = m_chip->stateGeneration();
}

void SimulatedSEMedia::requireInitialized() const {
    if (!m_initialized) {
        throw COSUpdateException("Simulated eSE: not initialized");
    }
}

void SimulatedSEMedia::powerUpIfNeeded() {
    if (m_linkDown || !m_chip->isPowered()) {
        m_chip->powerOn();
        m_linkDown = false;
    }
}

Bytes SimulatedSEMedia::exchange(const Bytes& command) {
    const uint64_t index = ++m_exchanges;
    waitPrecisely(m_latency);
    Bytes response;
    const auto fault = m_faults.find(index);
    if (fault == m_faults.end()) {
        response = executeOnChip(command);
    } else {
        const Fault injected = fault->second;
        m_faults.erase(fault);
        response = exchangeWithFault(injected, command);
    }
    if (m_observer) {
        m_observer(index, command, response);
    }
    return response;
}

Bytes SimulatedSEMedia::exchangeWithFault(const Fault& fault, const Bytes& command) {
    const std::string label = exchangeLabel(fault.atExchange);
    switch (fault.kind) {
        case FaultKind::PowerLossBeforeChip:
            losePower();
            throw COSUpdateException("Simulated eSE: power lost before " + label +
                                     " reached the chip");
        case FaultKind::PowerLossAfterExecution:
            executeOnChip(command);
            losePower();
            throw COSUpdateException("Simulated eSE: power lost, answer to " + label + " lost");
        case FaultKind::PowerLossTruncatedResponse: {
            Bytes response = cut(executeOnChip(command), fault.keptBytes);
            losePower();
            return response;
        }
        case FaultKind::StatusWord: {
            Bytes response;
            apdu::appendU16(response, fault.statusWord);
            return response;
        }
        case FaultKind::ShortResponse:
            return cut(executeOnChip(command), fault.keptBytes);
        case FaultKind::TransportError:
            throw COSUpdateException("Simulated eSE: transport error on " + label);
        case FaultKind::ForeignError:
            throw std::runtime_error("Simulated eSE: foreign error on " + label);
    }
    throw std::logic_error("unhandled fault kind");
}

Bytes SimulatedSEMedia::executeOnChip(const Bytes& command) {
    Bytes response = m_chip->transmit(command);
    if (!m_statePath.empty() && m_chip->stateGeneration() != m_savedGeneration) {
        cosim::saveStateFile(m_statePath, m_chip->state());
        m_savedGeneration = m_chip->stateGeneration();
    }
    return response;
}

void SimulatedSEMedia::losePower() {
    m_chip->powerOff();
    m_linkDown = true;
    m_connected = false;
    ++m_powerLosses;
}

}  // namespace cosupdate::sim
