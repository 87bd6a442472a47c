#include "MemoryMeter.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// glibc's own entry points, which the replacements below forward to.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);
}

namespace {

std::atomic<int64_t> g_live{0};
std::atomic<int64_t> g_peak{0};

void added(void* block) {
    if (block == nullptr) {
        return;
    }
    const int64_t live = g_live.fetch_add(static_cast<int64_t>(malloc_usable_size(block)),
                                          std::memory_order_relaxed) +
                         static_cast<int64_t>(malloc_usable_size(block));
    int64_t peak = g_peak.load(std::memory_order_relaxed);
    while (live > peak && !g_peak.compare_exchange_weak(peak, live, std::memory_order_relaxed)) {
    }
}

void removed(void* block) {
    if (block != nullptr) {
        g_live.fetch_sub(static_cast<int64_t>(malloc_usable_size(block)),
                         std::memory_order_relaxed);
    }
}

// "VmHWM:" or "VmRSS:" of /proc/self/status in bytes, -1 when unreadable.
int64_t statusBytes(const char* field) {
    FILE* status = std::fopen("/proc/self/status", "re");
    if (status == nullptr) {
        return -1;
    }
    char line[256];
    int64_t bytes = -1;
    const size_t length = std::strlen(field);
    while (std::fgets(line, sizeof(line), status) != nullptr) {
        if (std::strncmp(line, field, length) == 0) {
            bytes = std::strtoll(line + length, nullptr, 10) * 1024;
            break;
        }
    }
    std::fclose(status);
    return bytes;
}

bool resetResidentPeak() {
    FILE* clearRefs = std::fopen("/proc/self/clear_refs", "we");
    if (clearRefs == nullptr) {
        return false;
    }
    const bool written = std::fputs("5", clearRefs) >= 0;
    return std::fclose(clearRefs) == 0 && written;
}

}  // namespace

extern "C" {

void* malloc(size_t size) {
    void* block = __libc_malloc(size);
    added(block);
    return block;
}

void* calloc(size_t count, size_t size) {
    void* block = __libc_calloc(count, size);
    added(block);
    return block;
}

void* realloc(void* block, size_t size) {
    const int64_t before = block != nullptr ? static_cast<int64_t>(malloc_usable_size(block)) : 0;
    void* moved = __libc_realloc(block, size);
    if (moved == nullptr) {
        // Failed: the old block stands. Freed by realloc(p, 0): it is gone.
        if (size == 0 && block != nullptr) {
            g_live.fetch_sub(before, std::memory_order_relaxed);
        }
        return nullptr;
    }
    g_live.fetch_sub(before, std::memory_order_relaxed);
    added(moved);
    return moved;
}

void free(void* block) {
    removed(block);
    __libc_free(block);
}

void* memalign(size_t alignment, size_t size) {
    void* block = __libc_memalign(alignment, size);
    added(block);
    return block;
}

void* aligned_alloc(size_t alignment, size_t size) {
    return memalign(alignment, size);
}

int posix_memalign(void** result, size_t alignment, size_t size) {
    void* block = memalign(alignment, size);
    if (block == nullptr) {
        return ENOMEM;
    }
    *result = block;
    return 0;
}

}  // extern "C"

namespace bench {

void MemoryMeter::start() {
    m_residentKnown = resetResidentPeak();
    m_residentAtStart = statusBytes("VmRSS:");
    m_heapAtStart = g_live.load(std::memory_order_relaxed);
    g_peak.store(m_heapAtStart, std::memory_order_relaxed);
}

MemoryPeak MemoryMeter::peak() const {
    MemoryPeak peak;
    peak.heapBytes = g_peak.load(std::memory_order_relaxed) - m_heapAtStart;
    const int64_t highWater = statusBytes("VmHWM:");
    peak.residentBytes = m_residentKnown && highWater >= 0 && m_residentAtStart >= 0
                             ? highWater - m_residentAtStart
                             : -1;
    return peak;
}

int64_t MemoryMeter::liveHeapBytes() {
    return g_live.load(std::memory_order_relaxed);
}

}  // namespace bench
