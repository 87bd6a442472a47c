#include "LiveObjects.h"

#include <array>

#include "Log.h"

namespace simkernel {

namespace {

constexpr size_t kKinds = 4;

std::array<size_t, kKinds>& counters() {
    static std::array<size_t, kKinds> live{};
    return live;
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

}  // namespace simkernel
