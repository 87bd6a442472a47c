#include "StagedWork.h"

#include <algorithm>

#include "cosim/Protocol.h"

namespace cosim {

namespace {

bool isBuiltInAid(const Bytes& candidate) {
    return candidate == aid::kFC || candidate == aid::kFD || candidate == aid::kFE ||
           candidate == aid::kLoader;
}

}  // namespace

uint16_t StagedWork::beginPatch(const ChipState& state, const Bytes& data) {
    if (data.size() != kBeginPatchDataSize) {
        return sw::kWrongLength;
    }
    if (!m_services.empty()) {
        return sw::kConditionsNotSatisfied;
    }
    Patch patch;
    patch.baseVersion = apdu::readU16(&data[0]);
    patch.targetVersion = apdu::readU16(&data[2]);
    patch.length = apdu::readU32(&data[4]);
    patch.crc = apdu::readU32(&data[8]);
    if (patch.targetVersion <= patch.baseVersion || patch.length == 0) {
        return sw::kWrongData;
    }
    if (patch.length > kMaxImageSize) {
        return sw::kNotEnoughMemory;
    }
    // A new BEGIN always replaces a patch in progress.
    m_patch.reset();
    if (state.cosVersion == patch.targetVersion) {
        return sw::kAlreadyExists;
    }
    if (state.cosVersion != patch.baseVersion) {
        return sw::kConditionsNotSatisfied;
    }
    m_patch = patch;
    return sw::kOk;
}

uint16_t StagedWork::loadBlock(const Bytes& data) {
    if (!m_patch) {
        return sw::kConditionsNotSatisfied;
    }
    if (data.size() <= kBlockHeaderSize) {
        return sw::kWrongLength;
    }
    const uint32_t offset = apdu::readU32(data.data());
    const size_t blockSize = data.size() - kBlockHeaderSize;
    // Blocks come in order, none past the declared end.
    if (offset != m_patch->received || blockSize > m_patch->length - m_patch->received) {
        return sw::kWrongData;
    }
    m_patch->runningCrc.update(data.data() + kBlockHeaderSize, blockSize);
    m_patch->received += static_cast<uint32_t>(blockSize);
    return sw::kOk;
}

uint16_t StagedWork::installService(const ChipState& state, const Bytes& serviceAid) {
    if (m_patch) {
        return sw::kConditionsNotSatisfied;
    }
    if (serviceAid.size() < kMinAidSize || serviceAid.size() > kMaxAidSize) {
        return sw::kWrongData;
    }
    if (isBuiltInAid(serviceAid) || state.services.count(serviceAid) != 0 ||
        std::find(m_services.begin(), m_services.end(), serviceAid) != m_services.end()) {
        return sw::kAlreadyExists;
    }
    if (state.services.size() + m_services.size() >= kMaxServices) {
        return sw::kNotEnoughMemory;
    }
    m_services.push_back(serviceAid);
    return sw::kOk;
}

uint16_t StagedWork::commit(ChipState& state) {
    if (m_patch) {
        return commitPatch(state);
    }
    if (!m_services.empty()) {
        return commitServices(state);
    }
    return sw::kConditionsNotSatisfied;
}

uint16_t StagedWork::commitPatch(ChipState& state) {
    if (m_patch->received != m_patch->length || state.cosVersion != m_patch->baseVersion) {
        return sw::kConditionsNotSatisfied;
    }
    if (m_patch->runningCrc.value() != m_patch->crc) {
        m_patch.reset();  // a corrupt image is of no further use
        return sw::kWrongData;
    }
    state.cosVersion = m_patch->targetVersion;
    m_patch.reset();
    return sw::kOk;
}

uint16_t StagedWork::commitServices(ChipState& state) {
    ChipState next = state;
    next.services.insert(m_services.begin(), m_services.end());
    state = std::move(next);
    m_services.clear();
    return sw::kOk;
}

void StagedWork::discard() {
    m_patch.reset();
    m_services.clear();
}

}  // namespace cosim
