#include "HeldByteArrays.h"

#include <dlfcn.h>

#include <algorithm>
#include <string>

#include "FuzzSupport.h"

namespace fuzzing {

namespace {

using ReadCOSData = bool(NATIVECOSPATCH_COS_DATA_TYPE, NATIVECOSPATCH_BYTE_ARRAY*);
using FreeContent = bool(NATIVECOSPATCH_BYTE_ARRAY*);

// The kernel's own definition of `name`, the next one after this program's.
template <typename Function>
Function* kernelFunction(const char* name) {
    void* symbol = dlsym(RTLD_NEXT, name);
    FUZZ_CHECK(symbol != nullptr, std::string("the kernel does not define ") + name);
    return reinterpret_cast<Function*>(symbol);
}

std::vector<HeldByteArray>& held() {
    static std::vector<HeldByteArray> arrays;
    return arrays;
}

}  // namespace

const std::vector<HeldByteArray>& heldByteArrays() {
    return held();
}

void giveBack(const HeldByteArray& array) {
    NATIVECOSPATCH_BYTE_ARRAY record{array.data, array.size};
    nativeCOSPatch_byteArray_freeContent(&record);
}

}  // namespace fuzzing

extern "C" __attribute__((visibility("default"))) bool nativeCOSPatch_seContextManager_readCOSData(
    NATIVECOSPATCH_COS_DATA_TYPE type, NATIVECOSPATCH_BYTE_ARRAY* data) {
    static fuzzing::ReadCOSData* const read = fuzzing::kernelFunction<fuzzing::ReadCOSData>(
        "nativeCOSPatch_seContextManager_readCOSData");
    const bool succeeded = read(type, data);
    if (succeeded && data != nullptr && data->data != nullptr) {
        fuzzing::held().push_back({type, data->data, data->size});
    }
    return succeeded;
}

extern "C" __attribute__((visibility("default"))) bool nativeCOSPatch_byteArray_freeContent(
    NATIVECOSPATCH_BYTE_ARRAY* data) {
    static fuzzing::FreeContent* const free =
        fuzzing::kernelFunction<fuzzing::FreeContent>("nativeCOSPatch_byteArray_freeContent");
    if (data != nullptr && data->data != nullptr) {
        auto& arrays = fuzzing::held();
        const auto found = std::find_if(arrays.begin(), arrays.end(), [&](const auto& array) {
            return array.data == data->data;
        });
        FUZZ_CHECK(found != arrays.end(),
                   "a byte array given back that the kernel did not hand out, or given back twice");
        arrays.erase(found);
    }
    return free(data);
}
