// Loading a large update file through loadCOSUpdateFileOnMemory, the library's
// own part only: a kernel test double whose XML loader returns at once (after
// checking, in constant time, that it got the whole file) stands in for the
// kernel, so that what is timed is the library reading the stream into memory
// and handing it over. The physical limit is a plain read() of the same file.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <stdexcept>

#include "BenchSupport.h"
#include "KernelDouble.h"
#include "MemoryMeter.h"

namespace bench {
namespace {

using kerneldouble::KernelDouble;
using testing::_;
using testing::Invoke;
using testing::Return;

constexpr uint64_t kMiB = 1024 * 1024;
constexpr double kThroughputBound = 0.5;  // of a plain read()
constexpr double kPeakBound = 2.2;        // times the file size

uint64_t fileBytes() {
    return (runOptions().smoke ? 4 : 64) * kMiB;
}

const std::string& updateFile() {
    static const std::string path = generatedUpdateFile(shapeOfFileSize(fileBytes()));
    return path;
}

// Reads `path` with read(2) into `buffer`, which must hold the whole file.
size_t readWhole(const std::string& path, char* buffer, size_t capacity) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throw std::runtime_error("cannot open " + path);
    }
    size_t total = 0;
    for (;;) {
        const ssize_t got = read(fd, buffer + total, capacity - total);
        if (got <= 0) {
            break;
        }
        total += static_cast<size_t>(got);
    }
    close(fd);
    return total;
}

// What any program does to get a file into fresh memory: size it, allocate,
// read. The allocation is part of the cost, as it is for the library.
size_t plainReadFreshBuffer(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        throw std::runtime_error("cannot stat " + path);
    }
    const size_t size = static_cast<size_t>(info.st_size);
    std::unique_ptr<char[]> buffer(new char[size + 1]);
    const size_t got = readWhole(path, buffer.get(), size + 1);
    benchmark::DoNotOptimize(buffer.get());
    return got;
}

// The copy out of the page cache alone, into memory already mapped.
class WarmBuffer {
  public:
    explicit WarmBuffer(size_t size) : m_size(size), m_buffer(new char[size + 1]()) {}
    size_t read(const std::string& path) {
        const size_t got = readWhole(path, m_buffer.get(), m_size + 1);
        benchmark::DoNotOptimize(m_buffer.get());
        return got;
    }

  private:
    size_t m_size;
    std::unique_ptr<char[]> m_buffer;
};

// An engine over the kernel double, with an XML loader that only checks the
// hand-over: the text ends with the file's last byte and its terminator.
class LoadBench {
  public:
    LoadBench() : m_size(fileSize(updateFile())) {
        KernelDouble::reset();
        KernelDouble& kernel = KernelDouble::instance();
        m_lastByte = lastByteOf(updateFile());
        ON_CALL(kernel.mock, xml_multiscript_loadFromString(_))
            .WillByDefault(Invoke([this](const char* xml) { return handOver(xml); }));
        ON_CALL(kernel.mock, multiscriptManager_freeMultiscript(_)).WillByDefault(Return(true));
        {
            SilencedStderr silenced;  // the log bridge's opening lines
            m_engine = api::COSUpdateFactory::create(std::make_shared<DroppingLog>());
        }
        m_engine->initialize(std::make_shared<InstantTransport>());
    }
    ~LoadBench() {
        m_engine->release();
        m_engine.reset();
    }
    LoadBench(const LoadBench&) = delete;
    LoadBench& operator=(const LoadBench&) = delete;

    // One load and unload; false when the kernel got anything but the file.
    bool load() {
        std::ifstream file(updateFile(), std::ios::binary);
        m_wholeFile = false;
        m_engine->loadCOSUpdateFileOnMemory(file);
        m_engine->unloadCOSUpdateFromMemory();
        return m_wholeFile;
    }

    uint64_t size() const { return m_size; }

  private:
    static char lastByteOf(const std::string& path) {
        std::ifstream file(path, std::ios::binary | std::ios::ate);
        file.seekg(-1, std::ios::end);
        return static_cast<char>(file.get());
    }

    NATIVECOSPATCH_MULTISCRIPT* handOver(const char* xml) {
        m_wholeFile =
            xml != nullptr && m_size > 0 && xml[m_size - 1] == m_lastByte && xml[m_size] == '\0';
        return &m_empty;
    }

    uint64_t m_size;
    char m_lastByte = 0;
    bool m_wholeFile = false;
    NATIVECOSPATCH_MULTISCRIPT m_empty{};
    std::unique_ptr<api::COSUpdateInterface> m_engine;
};

void setBytes(benchmark::State& state, uint64_t size) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
    state.counters["file_MiB"] = static_cast<double>(size) / kMiB;
}

void plainReadFresh(benchmark::State& state) {
    const uint64_t size = fileSize(updateFile());
    for (auto _ : state) {
        if (plainReadFreshBuffer(updateFile()) != size) {
            return fail(state, "short read");
        }
    }
    setBytes(state, size);
}

void plainReadWarm(benchmark::State& state) {
    const uint64_t size = fileSize(updateFile());
    WarmBuffer buffer(size);
    for (auto _ : state) {
        if (buffer.read(updateFile()) != size) {
            return fail(state, "short read");
        }
    }
    setBytes(state, size);
}

void libraryLoad(benchmark::State& state) {
    LoadBench bench;
    for (auto _ : state) {
        if (!bench.load()) {
            return fail(state, "the kernel was not handed the whole file");
        }
    }
    setBytes(state, bench.size());
}

// The target: the three reads in turn, each iteration one round; the
// library's throughput over plain read()'s, from the medians of the rounds.
void libraryVersusPlainRead(benchmark::State& state) {
    LoadBench bench;
    WarmBuffer warm(bench.size());
    std::vector<double> fresh;
    std::vector<double> reused;
    std::vector<double> library;
    bool ok = true;
    for (auto _ : state) {
        fresh.push_back(
            secondsOf([&] { ok = plainReadFreshBuffer(updateFile()) == bench.size() && ok; }));
        reused.push_back(secondsOf([&] { ok = warm.read(updateFile()) == bench.size() && ok; }));
        library.push_back(secondsOf([&] { ok = bench.load() && ok; }));
        state.SetIterationTime(fresh.back() + reused.back() + library.back());
    }
    if (!ok) {
        return fail(state, "a read came up short");
    }
    const double mib = static_cast<double>(bench.size()) / kMiB;
    state.counters["plain_fresh_MiBps"] = mib / median(fresh);
    state.counters["plain_warm_MiBps"] = mib / median(reused);
    state.counters["library_MiBps"] = mib / median(library);
    state.counters["ratio_vs_warm"] = median(reused) / median(library);
    const double ratio = median(fresh) / median(library);
    state.counters["ratio_vs_fresh"] = ratio;
    labelRatio(state, "library/plain read() throughput", ratio, kThroughputBound, false);
}

// Peak memory of one load, against the file size. The kernel double holds
// nothing, so all of it is the library's (and the stream's buffer).
void libraryPeakMemory(benchmark::State& state) {
    LoadBench bench;
    MemoryPeak peak;
    for (auto _ : state) {
        MemoryMeter meter;
        meter.start();
        if (!bench.load()) {
            return fail(state, "the kernel was not handed the whole file");
        }
        peak = meter.peak();
    }
    const double size = static_cast<double>(bench.size());
    state.counters["file_MiB"] = size / kMiB;
    state.counters["peak_heap_MiB"] = static_cast<double>(peak.heapBytes) / kMiB;
    state.counters["peak_rss_MiB"] = static_cast<double>(peak.residentBytes) / kMiB;
    state.counters["heap_x_file"] = static_cast<double>(peak.heapBytes) / size;
    state.counters["rss_x_file"] = static_cast<double>(peak.residentBytes) / size;
    labelRatio(state, "peak heap / file size", static_cast<double>(peak.heapBytes) / size,
               kPeakBound, true);
}

void registerAll() {
    const bool smoke = runOptions().smoke;
    updateFile();  // generated before any timing
    auto shape = [smoke](benchmark::internal::Benchmark* b) {
        b->Unit(benchmark::kMillisecond);
        if (smoke) {
            b->Iterations(2);
        }
    };
    shape(benchmark::RegisterBenchmark("load/plain_read_fresh_buffer", plainReadFresh));
    shape(benchmark::RegisterBenchmark("load/plain_read_warm_buffer", plainReadWarm));
    shape(benchmark::RegisterBenchmark("load/library_load", libraryLoad));
    benchmark::RegisterBenchmark("load/library_vs_plain_read", libraryVersusPlainRead)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(smoke ? 2 : 30)
        ->UseManualTime();
    benchmark::RegisterBenchmark("load/library_peak_memory", libraryPeakMemory)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1);
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runBenchmarks(argc, argv, bench::registerAll);
}
