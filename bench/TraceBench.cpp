// What recording costs per exchange: a transport that answers at once,
// called directly and through the recorder writing its trace to a file in the
// scratch directory (a local file system); the recorder may add at most 2 µs
// per exchange. Also the trace's size per APDU and what a replay costs per
// exchange.

#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "cosupdate/trace/RecordingSEMedia.h"
#include "cosupdate/trace/ReplaySEMedia.h"

namespace bench {
namespace {

constexpr double kOverheadBoundNs = 2000.0;

// A LOAD BLOCK of `size` bytes in all, as update scripts send them.
std::vector<uint8_t> loadBlock(size_t size) {
    std::vector<uint8_t> command(size, 0x5A);
    command[0] = 0x80;
    command[1] = 0x52;
    return command;
}

std::string tracePath(const char* name) {
    return scratchDirectory() + "/" + name + ".trace";
}

// Nanoseconds per exchange over `calls` exchanges through `media`.
double nanosecondsPerExchange(api::COSUpdateSEMediaInterface& media,
                              const std::vector<uint8_t>& command, size_t calls, bool& ok) {
    std::vector<uint8_t> response;
    const auto start = std::chrono::steady_clock::now();
    for (size_t i = 0; i < calls; ++i) {
        response.clear();
        media.transmitApdu(command, response);
        ok = ok && response.size() == 2;
    }
    const auto elapsed = std::chrono::steady_clock::now() - start;
    return std::chrono::duration<double, std::nano>(elapsed).count() / static_cast<double>(calls);
}

// Direct and recorded exchanges in alternating batches; each recorded batch
// starts a new trace, so that the file stays small.
void recordingOverhead(benchmark::State& state) {
    const std::vector<uint8_t> command = loadBlock(static_cast<size_t>(state.range(0)));
    const size_t batch = static_cast<size_t>(state.range(1));
    const std::string path = tracePath("overhead");
    auto inner = std::make_shared<InstantTransport>();
    std::vector<double> direct;
    std::vector<double> recorded;
    bool ok = true;
    bool written = true;
    for (auto _ : state) {
        direct.push_back(nanosecondsPerExchange(*inner, command, batch, ok));
        cosupdate::trace::RecordingSEMedia recorder(inner, path, "trace bench");
        recorded.push_back(nanosecondsPerExchange(recorder, command, batch, ok));
        written = written && !recorder.writeError();
        state.SetIterationTime((direct.back() + recorded.back()) * 1e-9 * batch);
    }
    if (!ok || !written) {
        return fail(state, ok ? "the trace was not written" : "an exchange failed");
    }
    const double overheadNs = median(recorded) - median(direct);
    state.counters["direct_ns"] = median(direct);
    state.counters["recorded_ns"] = median(recorded);
    state.counters["overhead_ns"] = overheadNs;
    state.counters["ratio"] = median(recorded) / median(direct);
    char label[128];
    std::snprintf(label, sizeof(label), "overhead %.0f ns per exchange (target < %.0f ns): %s",
                  overheadNs, kOverheadBoundNs, overheadNs < kOverheadBoundNs ? "met" : "MISSED");
    state.SetLabel(label);
}

uint64_t sizeOf(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

// The bytes a trace line of one exchange takes, header aside.
void traceSize(benchmark::State& state) {
    const std::vector<uint8_t> command = loadBlock(static_cast<size_t>(state.range(0)));
    const std::string path = tracePath("size");
    constexpr size_t kCalls = 1000;
    double perExchange = 0;
    for (auto _ : state) {
        uint64_t header = 0;
        {
            cosupdate::trace::RecordingSEMedia recorder(std::make_shared<InstantTransport>(), path,
                                                        "trace bench");
            header = sizeOf(path);
            bool ok = true;
            nanosecondsPerExchange(recorder, command, kCalls, ok);
        }
        perExchange = static_cast<double>(sizeOf(path) - header) / kCalls;
    }
    state.counters["bytes_per_exchange"] = perExchange;
    state.counters["command_bytes"] = static_cast<double>(command.size());
}

// A replay answering from a trace of `calls` exchanges, read once.
void replayCost(benchmark::State& state) {
    const std::vector<uint8_t> command = loadBlock(static_cast<size_t>(state.range(0)));
    const std::string path = tracePath("replay");
    constexpr size_t kCalls = 10000;
    {
        cosupdate::trace::RecordingSEMedia recorder(std::make_shared<InstantTransport>(), path,
                                                    "trace bench");
        bool ok = true;
        nanosecondsPerExchange(recorder, command, kCalls, ok);
    }
    std::vector<double> perExchange;
    bool ok = true;
    for (auto _ : state) {
        cosupdate::trace::ReplaySEMedia replay(path);
        perExchange.push_back(nanosecondsPerExchange(replay, command, kCalls, ok));
        ok = ok && !replay.mismatch();
        state.SetIterationTime(perExchange.back() * 1e-9 * kCalls);
    }
    if (!ok) {
        return fail(state, "the replay left its trace");
    }
    state.counters["replay_ns"] = median(perExchange);
}

void registerAll() {
    const bool smoke = runOptions().smoke;
    const int64_t batch = smoke ? 100 : 2000;
    const int64_t rounds = smoke ? 3 : 100;
    for (const int64_t size : {41, 249}) {
        benchmark::RegisterBenchmark("trace/recording_overhead_vs_direct", recordingOverhead)
            ->Args({size, batch})
            ->Iterations(rounds)
            ->UseManualTime();
        benchmark::RegisterBenchmark("trace/size", traceSize)->Arg(size)->Iterations(1);
        benchmark::RegisterBenchmark("trace/replay", replayCost)
            ->Arg(size)
            ->Iterations(smoke ? 1 : 10)
            ->UseManualTime();
    }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runBenchmarks(argc, argv, bench::registerAll);
}
