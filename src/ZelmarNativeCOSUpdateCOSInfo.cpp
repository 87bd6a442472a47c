// The COS data objects FC, FD and FE: registering the AID each is selected
// under, and reading their content from the chip.

#include "COSUpdateMessages.h"
#include "ZelmarNativeCOSUpdateSEMediaControl.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

namespace {

// Shortest AID the chip accepts; the kernel takes the length as 16 bits.
constexpr size_t kMinAidSize = 3;
constexpr size_t kMaxAidSize = 0xFFFF;
// FD is four bytes on the chip, of which callers are given the first two.
constexpr uint16_t kFDSize = 4;
constexpr size_t kFDReturnedSize = 2;

struct TagInfo {
    NATIVECOSPATCH_COS_DATA_TYPE dataType;
    const char* saveError;
    const char* readError;
};

// Tags the operations accept, by their public value.
const TagInfo* findTag(COSUpdateTag tag) {
    static const TagInfo kFC{NATIVECOSPATCH_COS_DATA_TYPE_FC, "Unable to save AID for FC tag)",
                             "Unable to read COSData for FC tag"};
    static const TagInfo kFD{NATIVECOSPATCH_COS_DATA_TYPE_FD, "Unable to save AID for FD tag)",
                             "Unable to read COSData for FD tag"};
    static const TagInfo kFE{NATIVECOSPATCH_COS_DATA_TYPE_FE, "Unable to save AID for FE tag)",
                             "Unable to read COSData for FE tag"};
    switch (tag) {
        case COSUPDATE_TAG_FC:
            return &kFC;
        case COSUPDATE_TAG_FD:
            return &kFD;
        case COSUPDATE_TAG_FE:
            return &kFE;
    }
    return nullptr;
}

}  // namespace

NATIVECOSPATCH_COS_DATA_TYPE COSUpdate::_convertCOSUpdateTagToCOSDataType(COSUpdateTag tag) {
    const TagInfo* info = findTag(tag);
    return info != nullptr ? info->dataType : NATIVECOSPATCH_COS_DATA_TYPE_NONE;
}

void COSUpdate::setCOSUpdateTagAID(COSUpdateTag tag, const std::vector<uint8_t>& aid) {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "++ COSUpdate::setCOSUpdateTagAID()");
    _requireInitialized();
    if (aid.size() < kMinAidSize || aid.size() > kMaxAidSize) {
        throw COSUpdateException("Invalid AID (incorrect size)");
    }
    // The kernel takes a mutable pointer; it gets a copy of its own to keep.
    std::vector<uint8_t> buffer;
    try {
        buffer.assign(aid.begin(), aid.end());
    } catch (const std::bad_alloc&) {
        throw COSUpdateException("No enough memory to manage AID byte array");
    }
    try {
        const TagInfo* info = findTag(tag);
        if (info == nullptr) {
            throw COSUpdateException(Messages::kUnsupportedTag);
        }
        if (!PatchKernel::updateCOSTagAID(info->dataType, buffer)) {
            throw COSUpdateException(info->saveError);
        }
    } catch (const COSUpdateException& e) {
        _writeLogMessage(
            COSUPDATE_LOG_WARNING,
            std::string("COSUpdateException detected on COSUpdate::setCOSUpdateTagAID() : ") +
                e.what());
        throw;
    } catch (...) {
        _writeLogMessage(COSUPDATE_LOG_WARNING,
                         "Exception detected on COSUpdate::setCOSUpdateTagAID() ");
        throw COSUpdateException("Exception detected during configuration of AID for COS tag");
    }
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "-- COSUpdate::setCOSUpdateTagAID()");
}

void COSUpdate::getCOSInfo(COSUpdateTag tag, std::vector<uint8_t>& info) {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "++ COSUpdate::getCOSInfo()");
    _requireInitialized();
    const std::optional<uint16_t> aidSize =
        PatchKernel::getCOSTagAIDSize(_convertCOSUpdateTagToCOSDataType(tag));
    if (!aidSize) {
        throw COSUpdateException("Unable to verify AID size of tag");
    }
    if (*aidSize == 0) {
        throw COSUpdateException(" AID for COS tag not defined");
    }
    info.clear();
    SEMediaUse(*this, {"COSUpdateException detected on COSUpdate::getCOSInfo() : "}).run([&] {
        _readCOSData(tag, info);
    });
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "-- COSUpdate::getCOSInfo()");
}

// The content is given back to the kernel when it was used, and when a log
// sink throws before that; content that is not used stays the kernel's.
void COSUpdate::_readCOSData(COSUpdateTag tag, std::vector<uint8_t>& info) {
    const TagInfo* tagInfo = findTag(tag);
    if (tagInfo == nullptr) {
        throw COSUpdateException(Messages::kUnsupportedTag);
    }
    PatchKernel::ByteArrayContent content;
    if (!PatchKernel::readCOSData(tagInfo->dataType, content)) {
        throw COSUpdateException(tagInfo->readError);
    }
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "Checking COS Data result ...");
    if (content.data() == nullptr) {
        return;
    }
    if (tag == COSUPDATE_TAG_FD) {
        if (content.size() != kFDSize) {
            content.release();
            return;
        }
        info.insert(info.end(), content.data(), content.data() + kFDReturnedSize);
        return;
    }
    if (content.size() == 0) {
        content.release();
        return;
    }
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "COS Data size : " + std::to_string(content.size()));
    info.insert(info.end(), content.data(), content.data() + content.size());
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
