// Loading a large update file through the shipped library and the simulation
// kernel: the whole load, the kernel's parse included, and the memory it
// takes. For context next to the library-only figures of cosupdate_bench_load.

#include <fstream>
#include <memory>

#include "BenchSupport.h"
#include "MemoryMeter.h"

namespace bench {
namespace {

constexpr uint64_t kMiB = 1024 * 1024;

uint64_t fileBytes() {
    return (runOptions().smoke ? 4 : 64) * kMiB;
}

const std::string& updateFile() {
    static const std::string path = generatedUpdateFile(shapeOfFileSize(fileBytes()));
    return path;
}

class Engine {
  public:
    Engine() {
        {
            SilencedStderr silenced;  // the log bridge's opening lines
            m_engine = api::COSUpdateFactory::create(std::make_shared<DroppingLog>());
        }
        m_engine->initialize(std::make_shared<InstantTransport>());
    }
    ~Engine() {
        try {
            m_engine->release();
        } catch (...) {
        }
    }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    void load() {
        std::ifstream file(updateFile(), std::ios::binary);
        m_engine->loadCOSUpdateFileOnMemory(file);
    }
    void unload() { m_engine->unloadCOSUpdateFromMemory(); }

  private:
    std::unique_ptr<api::COSUpdateInterface> m_engine;
};

void loadThroughKernel(benchmark::State& state) {
    Engine engine;
    const double size = static_cast<double>(fileSize(updateFile()));
    MemoryPeak peak;
    int64_t held = 0;
    std::vector<double> times;
    for (auto _ : state) {
        MemoryMeter meter;
        meter.start();
        const int64_t before = MemoryMeter::liveHeapBytes();
        times.push_back(secondsOf([&] { engine.load(); }));
        held = MemoryMeter::liveHeapBytes() - before;
        peak = meter.peak();
        engine.unload();
        state.SetIterationTime(times.back());
    }
    state.counters["file_MiB"] = size / kMiB;
    state.counters["load_MiBps"] = size / kMiB / median(times);
    state.counters["peak_heap_MiB"] = static_cast<double>(peak.heapBytes) / kMiB;
    state.counters["peak_rss_MiB"] = static_cast<double>(peak.residentBytes) / kMiB;
    state.counters["kernel_holds_MiB"] = static_cast<double>(held) / kMiB;
    // What the load needed beyond what the kernel keeps of it.
    state.counters["peak_less_kernel_x_file"] = static_cast<double>(peak.heapBytes - held) / size;
}

void registerAll() {
    updateFile();
    benchmark::RegisterBenchmark("kernel_load/full_load", loadThroughKernel)
        ->Iterations(runOptions().smoke ? 1 : 5)
        ->Unit(benchmark::kMillisecond)
        ->UseManualTime();
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runBenchmarks(argc, argv, bench::registerAll);
}
