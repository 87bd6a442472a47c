#include "VirtualCard.h"

#include <sys/stat.h>

#include <iostream>
#include <utility>

#include "cosim/Protocol.h"
#include "cosim/StateFile.h"

namespace vpcd {

namespace {

bool exists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

cosim::ChipState initialState(const std::string& path) {
    return exists(path) ? cosim::loadStateFile(path) : cosim::ChipState::factoryDefault();
}

}  // namespace

VirtualCard::VirtualCard(std::string statePath)
    : m_statePath(std::move(statePath)), m_chip(initialState(m_statePath)) {
    m_savedGeneration = m_chip.stateGeneration();
    if (!exists(m_statePath)) {
        cosim::saveStateFile(m_statePath, m_chip.state());
    }
}

std::optional<cosim::Bytes> VirtualCard::handle(const cosim::Bytes& message) {
    if (message.size() == 1) {
        return control(message[0]);
    }
    return executeApdu(message);
}

std::optional<cosim::Bytes> VirtualCard::control(uint8_t command) {
    switch (command) {
        case control::kPowerOff:
            m_chip.powerOff();
            return std::nullopt;
        case control::kPowerOn:
        case control::kReset:
            m_chip.powerOn();
            return std::nullopt;
        case control::kGetAtr:
            return cosim::answerToReset();
        default:
            std::cerr << "vpcd-card: ignoring unknown control message " << unsigned{command}
                      << '\n';
            return std::nullopt;
    }
}

cosim::Bytes VirtualCard::executeApdu(const cosim::Bytes& apdu) {
    ++m_apdus;
    if (!m_chip.isPowered()) {
        // What a card without power would never say, but an APDU before
        // power-on is vpcd misbehaving, not the chip.
        cosim::Bytes answer;
        cosupdate::apdu::appendU16(answer, cosim::sw::kNoPreciseDiagnosis);
        return answer;
    }
    cosim::Bytes answer = m_chip.transmit(apdu);
    // Saved before answering: whoever got the answer finds the state on disk.
    save();
    return answer;
}

void VirtualCard::save() {
    if (m_chip.stateGeneration() == m_savedGeneration) {
        return;
    }
    cosim::saveStateFile(m_statePath, m_chip.state());
    m_savedGeneration = m_chip.stateGeneration();
}

}  // namespace vpcd
