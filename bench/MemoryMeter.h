// Two views of the memory a piece of work needs at its peak:
//   * heap bytes: every malloc family call of the process (the library, the
//     kernel, the C++ runtime) is counted by usable size; the peak is the
//     highest sum of live blocks since the last reset. Linking MemoryMeter.cpp
//     into a program installs the counting.
//   * resident bytes: the kernel's high-water mark of the process's resident
//     set (VmHWM), reset through /proc/self/clear_refs.

#ifndef COSUPDATE_BENCH_MEMORY_METER_H
#define COSUPDATE_BENCH_MEMORY_METER_H

#include <cstdint>

namespace bench {

struct MemoryPeak {
    int64_t heapBytes = 0;      // peak live heap bytes above those live at start()
    int64_t residentBytes = 0;  // peak resident set above the one at start(); -1 if unknown
};

class MemoryMeter {
  public:
    // Starts a measurement from what is live and resident now.
    void start();
    MemoryPeak peak() const;

    static int64_t liveHeapBytes();

  private:
    int64_t m_heapAtStart = 0;
    int64_t m_residentAtStart = 0;
    bool m_residentKnown = false;
};

}  // namespace bench

#endif  // COSUPDATE_BENCH_MEMORY_METER_H
