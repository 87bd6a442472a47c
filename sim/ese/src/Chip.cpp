#include "cosim/Chip.h"

#include <algorithm>
#include <stdexcept>

#include "CommandParser.h"
#include "StagedWork.h"
#include "cosim/Protocol.h"

namespace cosim {

namespace {

constexpr uint8_t kFciTag = 0x6F;
constexpr uint8_t kDfNameTag = 0x84;
constexpr uint8_t kReadBinarySfiFlag = 0x80;

Bytes statusOnly(uint16_t statusWord) {
    Bytes response;
    apdu::appendU16(response, statusWord);
    return response;
}

Bytes withStatus(Bytes data, uint16_t statusWord) {
    apdu::appendU16(data, statusWord);
    return data;
}

// File control information: just the DF name.
Bytes fci(const Bytes& aidBytes) {
    Bytes fci;
    fci.reserve(aidBytes.size() + 4);
    fci.push_back(kFciTag);
    fci.push_back(static_cast<uint8_t>(aidBytes.size() + 2));
    fci.push_back(kDfNameTag);
    fci.push_back(static_cast<uint8_t>(aidBytes.size()));
    fci.insert(fci.end(), aidBytes.begin(), aidBytes.end());
    return fci;
}

bool isIsoInstruction(uint8_t instruction) {
    return instruction == ins::kSelect || instruction == ins::kReadBinary;
}

bool isLoaderInstruction(uint8_t instruction) {
    return instruction == ins::kBeginPatch || instruction == ins::kLoadBlock ||
           instruction == ins::kCommit || instruction == ins::kInstallService;
}

}  // namespace

Chip::Chip(ChipState state) : m_staged(std::make_unique<StagedWork>()) {
    setState(std::move(state));
    m_generation = 0;
}

Chip::~Chip() = default;

const Bytes& Chip::powerOn() {
    m_powered = true;
    resetSession();
    return answerToReset();
}

void Chip::powerOff() {
    m_powered = false;
    resetSession();
}

void Chip::setState(ChipState state) {
    validate(state);
    m_state = std::move(state);
    ++m_generation;
    resetSession();
}

void Chip::resetSession() {
    m_selected = Application::None;
    m_staged->discard();
}

Bytes Chip::transmit(const Bytes& apdu) {
    if (!m_powered) {
        throw std::logic_error("the chip is not powered");
    }
    return dispatch(apdu);
}

Bytes Chip::dispatch(const Bytes& apdu) {
    const std::optional<CommandApdu> command = parseCommandApdu(apdu);
    if (!command) {
        return statusOnly(sw::kWrongLength);
    }
    if ((command->cla & cla::kChannelMask) != 0) {
        return statusOnly(sw::kLogicalChannelNotSupported);
    }
    const bool iso = isIsoInstruction(command->ins);
    if (!iso && !isLoaderInstruction(command->ins)) {
        return statusOnly(sw::kInsNotSupported);
    }
    if (command->cla != (iso ? cla::kIso : cla::kProprietary)) {
        return statusOnly(sw::kClaNotSupported);
    }
    if (command->ins == ins::kSelect) {
        return select(command->data, command->p1, command->p2);
    }
    if (m_selected == Application::None) {
        return statusOnly(sw::kNoCurrentObject);
    }
    if (command->ins == ins::kReadBinary) {
        return readBinary(command->p1, command->p2, command->data, command->ne.has_value(),
                          command->ne.value_or(0));
    }
    return loaderCommand(command->ins, command->data);
}

Bytes Chip::select(const Bytes& aidBytes, uint8_t p1, uint8_t p2) {
    if (p1 != kSelectByName || p2 != 0x00) {
        return statusOnly(sw::kIncorrectP1P2);
    }
    // Whatever the outcome, the previous session ends here.
    resetSession();
    if (aidBytes == aid::kFC) {
        m_selected = Application::FC;
    } else if (aidBytes == aid::kFD) {
        m_selected = Application::FD;
    } else if (aidBytes == aid::kFE) {
        m_selected = Application::FE;
    } else if (aidBytes == aid::kLoader) {
        m_selected = Application::Loader;
    } else if (m_state.services.count(aidBytes) != 0) {
        m_selected = Application::Service;
    } else {
        return statusOnly(sw::kNotFound);
    }
    return withStatus(fci(aidBytes), sw::kOk);
}

Bytes Chip::currentObject() const {
    switch (m_selected) {
        case Application::FC:
            return m_state.fc;
        case Application::FD:
            return Bytes(m_state.fd.begin(), m_state.fd.end());
        case Application::FE:
            return encodeFe(m_state);
        default:
            return Bytes();
    }
}

Bytes Chip::readBinary(uint8_t p1, uint8_t p2, const Bytes& data, bool hasLe, size_t ne) const {
    const bool isObject = m_selected == Application::FC || m_selected == Application::FD ||
                          m_selected == Application::FE;
    if (!isObject) {
        return statusOnly(sw::kInsNotSupported);
    }
    if (!data.empty() || !hasLe) {
        return statusOnly(sw::kWrongLength);
    }
    if ((p1 & kReadBinarySfiFlag) != 0) {
        return statusOnly(sw::kIncorrectP1P2);
    }
    const Bytes object = currentObject();
    const size_t offset = size_t{p1} << 8 | p2;
    if (offset > object.size()) {
        return statusOnly(sw::kOffsetOutOfRange);
    }
    const size_t count = std::min(ne, object.size() - offset);
    return withStatus(Bytes(object.begin() + offset, object.begin() + offset + count), sw::kOk);
}

Bytes Chip::loaderCommand(uint8_t instruction, const Bytes& data) {
    if (m_selected != Application::Loader) {
        return statusOnly(sw::kInsNotSupported);
    }
    switch (instruction) {
        case ins::kBeginPatch:
            return statusOnly(m_staged->beginPatch(m_state, data));
        case ins::kLoadBlock:
            return statusOnly(m_staged->loadBlock(data));
        case ins::kInstallService:
            return statusOnly(m_staged->installService(m_state, data));
        case ins::kCommit: {
            if (!data.empty()) {
                return statusOnly(sw::kWrongLength);
            }
            const uint16_t status = m_staged->commit(m_state);
            if (status == sw::kOk) {
                ++m_generation;
            }
            return statusOnly(status);
        }
        default:
            return statusOnly(sw::kInsNotSupported);
    }
}

}  // namespace cosim
