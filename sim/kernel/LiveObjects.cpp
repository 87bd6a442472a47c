#include "LiveObjects.h"

#include <array>
#include <map>
#include <memory>

#include "Log.h"

namespace simkernel {

namespace {

constexpr size_t kKinds = 4;

std::array<size_t, kKinds>& counters() {
    static std::array<size_t, kKinds> live{};
    return live;
}

std::map<uint8_t*, std::unique_ptr<uint8_t[]>>& byteArrays() {
    static std::map<uint8_t*, std::unique_ptr<uint8_t[]>> arrays;
    return arrays;
}

const char* kindName(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::Multiscript:
            return "multiscript";
        case ObjectKind::Script:
            return "script";
        case ObjectKind::AuditScript:
            return "audit script";
        case ObjectKind::ByteArray:
            return "byte array";
    }
    return "object";
}

}  // namespace

void countCreated(ObjectKind kind) {
    ++counters()[static_cast<size_t>(kind)];
}

void countReleased(ObjectKind kind) {
    --counters()[static_cast<size_t>(kind)];
}

size_t liveObjects(ObjectKind kind) {
    return counters()[static_cast<size_t>(kind)];
}

bool reportLiveObjects() {
    bool clean = true;
    for (ObjectKind kind : {ObjectKind::Multiscript, ObjectKind::Script, ObjectKind::AuditScript,
                            ObjectKind::ByteArray}) {
        if (liveObjects(kind) != 0) {
            logLine(kWarning, "memory: %zu %s(s) never freed", liveObjects(kind), kindName(kind));
            clean = false;
        }
    }
    return clean;
}

uint8_t* allocateByteArray(size_t size) {
    auto array = std::make_unique<uint8_t[]>(size);
    uint8_t* data = array.get();
    byteArrays().emplace(data, std::move(array));
    countCreated(ObjectKind::ByteArray);
    return data;
}

bool freeByteArray(uint8_t* data) {
    if (byteArrays().erase(data) == 0) {
        return false;
    }
    countReleased(ObjectKind::ByteArray);
    return true;
}

void reclaimByteArrays() {
    counters()[static_cast<size_t>(ObjectKind::ByteArray)] -= byteArrays().size();
    byteArrays().clear();
}

}  // namespace simkernel
