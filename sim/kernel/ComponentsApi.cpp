// Entry points: the memory, log and SE media components.

#include "EntryPoint.h"
#include "KernelApi.h"
#include "LiveObjects.h"
#include "Log.h"
#include "SeMedia.h"

using simkernel::LogManager;
using simkernel::SeMediaManager;

namespace {
bool g_memoryInitialized = false;
}  // namespace

bool nativeCOSPatch_memory_initComponent(void) {
    g_memoryInitialized = true;
    return true;
}

bool nativeCOSPatch_memory_cleanupComponent(void) {
    if (!g_memoryInitialized) {
        return false;
    }
    g_memoryInitialized = false;
    simkernel::reportLiveObjects();
    simkernel::reclaimByteArrays();
    return true;
}

bool nativeCOSPatch_logManager_initComponent(NATIVECOSPATCH_LOG_COMPONENT* component) {
    if (component == nullptr || component->writeMessage == nullptr) {
        return false;
    }
    LogManager::instance().install(*component);
    return true;
}

bool nativeCOSPatch_logManager_open(void) {
    return LogManager::instance().open();
}

bool nativeCOSPatch_logManager_isComponentInitialized(bool* initialized) {
    if (initialized == nullptr) {
        return false;
    }
    *initialized = LogManager::instance().isInstalled();
    return true;
}

bool nativeCOSPatch_logManager_cleanupComponent(void) {
    return LogManager::instance().cleanup();
}

bool nativeCOSPatch_seMediaManager_initComponent(NATIVECOSPATCH_SEMEDIA_COMPONENT* component) {
    if (component == nullptr) {
        return false;
    }
    return SeMediaManager::instance().install(*component);
}

bool nativeCOSPatch_seMediaManager_cleanupComponent(void) {
    return SeMediaManager::instance().drop();
}

bool nativeCOSPatch_seMediaManager_isComponentInitialized(bool* initialized) {
    if (initialized == nullptr) {
        return false;
    }
    *initialized = SeMediaManager::instance().isInstalled();
    return true;
}

bool nativeCOSPatch_seMediaManager_isStarted(bool* started) {
    return SeMediaManager::instance().isStarted(started);
}

bool nativeCOSPatch_seMediaManager_start(void) {
    return SeMediaManager::instance().start();
}

bool nativeCOSPatch_seMediaManager_stop(void) {
    return SeMediaManager::instance().stop();
}
