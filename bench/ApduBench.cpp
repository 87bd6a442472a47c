// Per-APDU cost of the SE media bridge, driven as the kernel drives it: the
// kernel's transmitApdu callback called directly, over a transport that
// answers at once, against calling that transport directly.
//
// The kernel test double stands in for the kernel, so that the bridge can
// register its callbacks; it plays no part in an exchange.

#include <array>
#include <memory>
#include <vector>

#include "BenchSupport.h"
#include "KernelDouble.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

namespace bench {
namespace {

namespace cos = Zelmar::Device::COS::V1_0;

// A LOAD BLOCK as the update scripts send it: header, Lc, offset, 240 bytes.
constexpr size_t kCommandSize = 4 + 1 + 4 + 240;
constexpr uint16_t kResponseCapacity = 258;
// The bridge may cost at most this much more per APDU than the transport.
constexpr double kOverheadBoundNs = 1000.0;

class ApduBench {
  public:
    explicit ApduBench(std::shared_ptr<api::COSUpdateLogInterface> log)
        : m_transport(std::make_shared<InstantTransport>()), m_command(kCommandSize, 0x5A) {
        m_command[0] = 0x80;
        m_command[1] = 0x52;
        kerneldouble::KernelDouble::reset();
        cos::COSUpdateSEMediaWrapper_init(std::move(log), m_transport);
    }
    ~ApduBench() { cos::COSUpdateSEMediaWrapper_release(); }
    ApduBench(const ApduBench&) = delete;
    ApduBench& operator=(const ApduBench&) = delete;

    // What a caller holding the command as a vector pays for one exchange.
    bool direct() {
        m_answer.clear();
        api::COSUpdateSEMediaInterface& transport = *m_transport;
        transport.transmitApdu(m_command, m_answer);
        benchmark::DoNotOptimize(m_answer.data());
        return m_answer.size() == 2;
    }

    // What the kernel pays: its buffers in, the answer copied back.
    bool bridged() {
        uint16_t length = 0;
        const bool ok = cos::_COSUpdateSEMediaWrapper_transmitApdu(
            m_command.data(), static_cast<uint16_t>(m_command.size()), m_response.data(),
            kResponseCapacity, &length);
        benchmark::DoNotOptimize(m_response.data());
        return ok && length == 2;
    }

    uint64_t exchanges() const { return m_transport->exchanges; }

  private:
    std::shared_ptr<InstantTransport> m_transport;
    std::vector<uint8_t> m_command;
    std::vector<uint8_t> m_answer;
    std::array<uint8_t, kResponseCapacity> m_response{};
};

std::shared_ptr<api::COSUpdateLogInterface> droppingLog() {
    return std::make_shared<DroppingLog>();
}

std::shared_ptr<api::COSUpdateLogInterface> defaultLog() {
    return std::make_shared<api::COSUpdateLogInterface>();
}

void transportDirect(benchmark::State& state) {
    ApduBench bench(droppingLog());
    for (auto _ : state) {
        if (!bench.direct()) {
            return fail(state, "the transport did not answer 90 00");
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void bridgeWithSink(benchmark::State& state, std::shared_ptr<api::COSUpdateLogInterface> log) {
    ApduBench bench(std::move(log));
    for (auto _ : state) {
        if (!bench.bridged()) {
            return fail(state, "the bridge refused the exchange");
        }
    }
    if (bench.exchanges() != static_cast<uint64_t>(state.iterations())) {
        return fail(state, "the bridge did not reach the transport once per APDU");
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void bridgeDroppingSink(benchmark::State& state) {
    bridgeWithSink(state, droppingLog());
}

void bridgeDefaultSink(benchmark::State& state) {
    SilencedStderr silenced;
    bridgeWithSink(state, defaultLog());
}

// Nanoseconds per call of `call`, over `calls` calls.
template <typename Call>
double nanosecondsPerCall(size_t calls, Call&& call, bool& ok) {
    const auto start = std::chrono::steady_clock::now();
    for (size_t i = 0; i < calls; ++i) {
        ok = call() && ok;
    }
    const auto elapsed = std::chrono::steady_clock::now() - start;
    return std::chrono::duration<double, std::nano>(elapsed).count() / static_cast<double>(calls);
}

// Direct and bridged calls in alternating batches, each iteration one pair of
// batches; sets the medians over the pairs as counters and returns the
// overhead per APDU, or a negative value when an exchange failed.
double pairedOverheadNs(benchmark::State& state, ApduBench& bench) {
    const size_t batch = static_cast<size_t>(state.range(0));
    std::vector<double> direct;
    std::vector<double> bridged;
    bool ok = true;
    for (auto _ : state) {
        direct.push_back(nanosecondsPerCall(
            batch, [&] { return bench.direct(); }, ok));
        bridged.push_back(nanosecondsPerCall(
            batch, [&] { return bench.bridged(); }, ok));
        state.SetIterationTime((direct.back() + bridged.back()) * 1e-9 * batch);
    }
    if (!ok) {
        fail(state, "an exchange failed");
        return -1;
    }
    const double overheadNs = median(bridged) - median(direct);
    state.counters["direct_ns"] = median(direct);
    state.counters["bridge_ns"] = median(bridged);
    state.counters["overhead_ns"] = overheadNs;
    return overheadNs;
}

// The target, with a sink that drops every line.
void bridgeOverhead(benchmark::State& state) {
    ApduBench bench(droppingLog());
    const double overheadNs = pairedOverheadNs(state, bench);
    if (overheadNs < 0) {
        return;
    }
    char label[128];
    std::snprintf(label, sizeof(label), "overhead %.0f ns per APDU (target <= %.0f ns): %s",
                  overheadNs, kOverheadBoundNs, overheadNs <= kOverheadBoundNs ? "met" : "MISSED");
    state.SetLabel(label);
}

// What every APDU costs when its log lines go to the platform log (here
// libbase's stderr logger, into /dev/null).
void bridgeDefaultSinkCost(benchmark::State& state) {
    SilencedStderr silenced;
    ApduBench bench(defaultLog());
    pairedOverheadNs(state, bench);
}

void registerAll() {
    const bool smoke = runOptions().smoke;
    auto single = [smoke](benchmark::internal::Benchmark* b) {
        if (smoke) {
            b->Iterations(1000);
        }
    };
    single(benchmark::RegisterBenchmark("apdu/transport_direct", transportDirect));
    single(benchmark::RegisterBenchmark("apdu/bridge_dropping_sink", bridgeDroppingSink));
    single(benchmark::RegisterBenchmark("apdu/bridge_default_sink", bridgeDefaultSink));
    const int64_t batch = smoke ? 100 : 2000;
    const int64_t rounds = smoke ? 3 : 200;
    benchmark::RegisterBenchmark("apdu/bridge_overhead_vs_direct", bridgeOverhead)
        ->Arg(batch)
        ->Iterations(rounds)
        ->UseManualTime();
    benchmark::RegisterBenchmark("apdu/default_sink_cost_vs_direct", bridgeDefaultSinkCost)
        ->Arg(batch / 10)
        ->Iterations(rounds)
        ->UseManualTime();
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runBenchmarks(argc, argv, bench::registerAll);
}
