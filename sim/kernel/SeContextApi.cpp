// Entry points: the SE context, its COS data objects and byte arrays.

#include <cstring>
#include <memory>

#include "CosObjects.h"
#include "EntryPoint.h"
#include "KernelApi.h"
#include "LiveObjects.h"

using simkernel::Bytes;
using simkernel::guarded;
using simkernel::KernelError;
using simkernel::SeContext;

namespace {

// Copies `text` and its NUL into the caller's buffer if it fits.
void copyText(const std::string& text, char* buffer, uint16_t capacity, const char* what) {
    if (text.size() >= capacity) {
        throw KernelError(std::string(what) + " of " + std::to_string(text.size()) +
                          " characters does not fit a buffer of " + std::to_string(capacity));
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
}

}  // namespace

bool nativeCOSPatch_seContextManager_initComponent(void) {
    SeContext::instance().init();
    return true;
}

bool nativeCOSPatch_seContextManager_cleanupComponent(void) {
    SeContext::instance().cleanup();
    return true;
}

bool nativeCOSPatch_seContextManager_updateCOSTagAID(NATIVECOSPATCH_COS_DATA_TYPE type,
                                                     uint8_t* aid, uint16_t aidLength) {
    return guarded("updateCOSTagAID", false, [&] {
        if (aid == nullptr || aidLength == 0) {
            throw KernelError("no AID given");
        }
        SeContext::instance().setAid(type, Bytes(aid, aid + aidLength));
        return true;
    });
}

bool nativeCOSPatch_seContextManager_getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE type,
                                                      uint16_t* size) {
    return guarded("getCOSTagAIDSize", false, [&] {
        if (size == nullptr) {
            throw KernelError("no output given");
        }
        *size = static_cast<uint16_t>(SeContext::instance().aidSize(type));
        return true;
    });
}

bool nativeCOSPatch_seContextManager_readCOSPlatformId(char* buffer, uint16_t capacity) {
    return guarded("readCOSPlatformId", false, [&] {
        if (buffer == nullptr) {
            throw KernelError("no buffer given");
        }
        copyText(SeContext::instance().readIdentity().platformId, buffer, capacity, "platform id");
        return true;
    });
}

bool nativeCOSPatch_seContextManager_readCOSVersion(uint16_t* version) {
    return guarded("readCOSVersion", false, [&] {
        if (version == nullptr) {
            throw KernelError("no output given");
        }
        *version = SeContext::instance().readIdentity().cosVersion;
        return true;
    });
}

bool nativeCOSPatch_seContextManager_readCOSCustomerId(char* buffer, uint16_t capacity) {
    return guarded("readCOSCustomerId", false, [&] {
        if (buffer == nullptr) {
            throw KernelError("no buffer given");
        }
        copyText(SeContext::instance().readIdentity().customerId, buffer, capacity, "customer id");
        return true;
    });
}

bool nativeCOSPatch_seContextManager_readCOSData(NATIVECOSPATCH_COS_DATA_TYPE type,
                                                 NATIVECOSPATCH_BYTE_ARRAY* data) {
    return guarded("readCOSData", false, [&] {
        if (data == nullptr) {
            throw KernelError("no byte array given");
        }
        const Bytes content = SeContext::instance().readObject(type);
        if (content.size() > UINT16_MAX) {
            throw KernelError("object too large for a byte array");
        }
        data->data = nullptr;
        data->size = 0;
        if (!content.empty()) {
            data->data = simkernel::allocateByteArray(content.size());
            std::memcpy(data->data, content.data(), content.size());
            data->size = static_cast<uint16_t>(content.size());
        }
        return true;
    });
}

bool nativeCOSPatch_byteArray_freeContent(NATIVECOSPATCH_BYTE_ARRAY* data) {
    if (data == nullptr) {
        return false;
    }
    if (data->data != nullptr && !simkernel::freeByteArray(data->data)) {
        simkernel::logLine(simkernel::kWarning, "byteArray_freeContent: not a byte array of ours");
        return false;
    }
    data->data = nullptr;
    data->size = 0;
    return true;
}
