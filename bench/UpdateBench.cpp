// Whole updates through the shipped library, the simulation kernel and the
// simulated chip:
//   * against a link that takes 1 ms per APDU, the wall time of doUpdate()
//     over the sum of the modelled latencies; the same update without latency,
//     alternating with it, shows what library, kernel and chip model add.
//   * load, selection and update times for files of growing manifests.

#include <sched.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "cosim/Chip.h"
#include "cosim/Protocol.h"
#include "cosupdate/sim/SimulatedSEMedia.h"

namespace bench {
namespace {

constexpr double kLatencyBound = 1.01;  // wall time over the modelled latencies
constexpr uint16_t kFactoryVersion = 0x0100;

enum class Sink { Dropping, Default };

// SCHED_FIFO for its lifetime, when the process may have it (root or
// CAP_SYS_NICE). Other tenants' processes then cannot preempt the chip
// model's wait just before its deadline, which on a shared 2-core machine
// adds milliseconds to one wait in a hundred. Only the link benchmark uses
// it: it sleeps most of the time, so real-time throttling never hits it.
class RealTimeScheduling {
  public:
    RealTimeScheduling() : m_policy(sched_getscheduler(0)) {
        sched_getparam(0, &m_parameters);
        sched_param fifo{};
        fifo.sched_priority = 1;
        m_active = sched_setscheduler(0, SCHED_FIFO, &fifo) == 0;
    }
    ~RealTimeScheduling() {
        if (m_active) {
            sched_setscheduler(0, m_policy, &m_parameters);
        }
    }
    RealTimeScheduling(const RealTimeScheduling&) = delete;
    RealTimeScheduling& operator=(const RealTimeScheduling&) = delete;
    bool active() const { return m_active; }

  private:
    int m_policy;
    sched_param m_parameters{};
    bool m_active = false;
};

std::shared_ptr<api::COSUpdateLogInterface> makeLog(Sink sink) {
    if (sink == Sink::Default) {
        return std::make_shared<api::COSUpdateLogInterface>();
    }
    return std::make_shared<DroppingLog>();
}

// A factory chip, its transport and a configured engine.
class Session {
  public:
    Session(Sink sink, std::chrono::nanoseconds latency)
        : m_chip(std::make_shared<cosim::Chip>()),
          m_media(std::make_shared<cosupdate::sim::SimulatedSEMedia>(m_chip)),
          m_engine(createQuietly(sink)) {
        m_media->setLatency(latency);
        m_engine->initialize(m_media);
        m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FC, cosim::aid::kFC);
        m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FD, cosim::aid::kFD);
        m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FE, cosim::aid::kFE);
    }
    ~Session() {
        try {
            m_engine->release();
        } catch (...) {
        }
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void load(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        m_engine->loadCOSUpdateFileOnMemory(file);
    }
    api::COSUpdateInterface& engine() { return *m_engine; }
    uint64_t exchanges() const { return m_media->exchangeCount(); }
    // Every patch applied and the service installed.
    bool deployed(unsigned patches) const {
        const cosim::ChipState& state = m_chip->state();
        return state.cosVersion == kFactoryVersion + patches && state.services.size() == 1;
    }

  private:
    // The log bridge's opening lines go to stderr whatever the sink.
    static std::unique_ptr<api::COSUpdateInterface> createQuietly(Sink sink) {
        SilencedStderr silenced;
        return api::COSUpdateFactory::create(makeLog(sink));
    }

    std::shared_ptr<cosim::Chip> m_chip;
    std::shared_ptr<cosupdate::sim::SimulatedSEMedia> m_media;
    std::unique_ptr<api::COSUpdateInterface> m_engine;
};

UpdateFileShape latencyShape() {
    UpdateFileShape shape;
    // 2 x 1536 LOAD BLOCKs of 240 bytes, a few thousand APDUs in all.
    shape.imageSize = runOptions().smoke ? 8 * 1024 : 1536 * 240;
    return shape;
}

struct TimedUpdate {
    double seconds = 0;
    uint64_t apdus = 0;
    bool deployed = false;
};

TimedUpdate timedUpdate(Sink sink, std::chrono::nanoseconds latency, const std::string& file,
                        unsigned patches) {
    Session session(sink, latency);
    session.load(file);
    TimedUpdate run;
    const uint64_t before = session.exchanges();
    int result = 0;
    run.seconds = secondsOf([&] { result = session.engine().doUpdate(); });
    run.apdus = session.exchanges() - before;
    run.deployed = result == 1 && session.deployed(patches);
    return run;
}

// The target. Each iteration: the update over the 1 ms link, then the same
// update without latency. Arguments: latency in microseconds, 1 to run
// real-time.
void updateOverSlowLink(benchmark::State& state, Sink sink) {
    const std::chrono::microseconds latency(state.range(0));
    std::optional<RealTimeScheduling> realTime;
    if (state.range(1) != 0) {
        realTime.emplace();
    }
    const UpdateFileShape shape = latencyShape();
    const std::string file = generatedUpdateFile(shape);
    std::optional<SilencedStderr> silenced;
    if (sink == Sink::Default) {
        silenced.emplace();
    }
    std::vector<double> ratios;
    std::vector<double> walls;
    std::vector<double> computes;
    uint64_t apdus = 0;
    for (auto _ : state) {
        const TimedUpdate slow = timedUpdate(sink, latency, file, shape.patches);
        const TimedUpdate fast =
            timedUpdate(sink, std::chrono::nanoseconds(0), file, shape.patches);
        if (!slow.deployed || !fast.deployed || slow.apdus != fast.apdus) {
            return fail(state, "the update did not deploy, or not with the same APDUs");
        }
        apdus = slow.apdus;
        const double modelled = std::chrono::duration<double>(latency).count() * apdus;
        ratios.push_back(slow.seconds / modelled);
        walls.push_back(slow.seconds);
        computes.push_back(fast.seconds);
        state.SetIterationTime(slow.seconds);
    }
    const double modelledMs = std::chrono::duration<double, std::milli>(latency).count() * apdus;
    state.counters["realtime"] = realTime && realTime->active() ? 1 : 0;
    state.counters["apdus"] = static_cast<double>(apdus);
    state.counters["modelled_ms"] = modelledMs;
    state.counters["wall_ms"] = median(walls) * 1e3;
    state.counters["added_ms"] = median(walls) * 1e3 - modelledMs;
    state.counters["no_latency_ms"] = median(computes) * 1e3;
    state.counters["no_latency_us_per_apdu"] = median(computes) * 1e6 / apdus;
    labelRatio(state, "wall / modelled latency", median(ratios), kLatencyBound, true);
}

// How load, selection and update grow with the manifest: entries for other
// platforms, as an update file for many product lines carries them. The full
// run goes past 100,000 entries to show the slope past the caches.
void scaling(benchmark::State& state) {
    UpdateFileShape shape;
    shape.entries = static_cast<size_t>(state.range(0));
    const std::string file = generatedUpdateFile(shape);
    std::vector<double> loads;
    std::vector<double> selections;
    std::vector<double> updates;
    for (auto _ : state) {
        Session session(Sink::Dropping, std::chrono::nanoseconds(0));
        bool available = false;
        int result = 0;
        loads.push_back(secondsOf([&] { session.load(file); }));
        selections.push_back(secondsOf([&] { available = session.engine().isUpdateAvailable(); }));
        updates.push_back(secondsOf([&] { result = session.engine().doUpdate(); }));
        if (!available || result != 1 || !session.deployed(shape.patches)) {
            return fail(state, "the update did not deploy");
        }
        state.SetIterationTime(loads.back() + selections.back() + updates.back());
    }
    state.counters["entries"] = static_cast<double>(shape.entries);
    state.counters["file_KiB"] = static_cast<double>(fileSize(file)) / 1024;
    state.counters["load_ms"] = median(loads) * 1e3;
    state.counters["select_ms"] = median(selections) * 1e3;
    state.counters["update_ms"] = median(updates) * 1e3;
}

void registerAll() {
    const bool smoke = runOptions().smoke;
    generatedUpdateFile(latencyShape());
    benchmark::RegisterBenchmark("update/link_1ms_dropping_sink", updateOverSlowLink,
                                 Sink::Dropping)
        ->ArgNames({"latency_us", "realtime"})
        ->Args({1000, 1})
        ->Iterations(smoke ? 1 : 5)
        ->Unit(benchmark::kMillisecond)
        ->UseManualTime();
    benchmark::RegisterBenchmark("update/link_1ms_default_sink", updateOverSlowLink, Sink::Default)
        ->ArgNames({"latency_us", "realtime"})
        ->Args({1000, 1})
        ->Iterations(smoke ? 1 : 3)
        ->Unit(benchmark::kMillisecond)
        ->UseManualTime();
    if (!smoke) {
        // The same without real-time scheduling: what a shared machine's
        // scheduler adds on top.
        benchmark::RegisterBenchmark("update/link_1ms_dropping_sink", updateOverSlowLink,
                                     Sink::Dropping)
            ->ArgNames({"latency_us", "realtime"})
            ->Args({1000, 0})
            ->Iterations(2)
            ->Unit(benchmark::kMillisecond)
            ->UseManualTime();
    }
    const std::vector<std::pair<int64_t, int64_t>> points =
        smoke ? std::vector<std::pair<int64_t, int64_t>>{{10, 2}, {1000, 2}}
              : std::vector<std::pair<int64_t, int64_t>>{
                    {10, 50}, {1000, 30}, {10000, 10}, {100000, 5}, {300000, 3}};
    for (const auto& [entries, rounds] : points) {
        generatedUpdateFile(UpdateFileShape{static_cast<size_t>(entries), 4096, 2});
        benchmark::RegisterBenchmark("update/scaling", scaling)
            ->Arg(entries)
            ->Iterations(rounds)
            ->Unit(benchmark::kMillisecond)
            ->UseManualTime();
    }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runBenchmarks(argc, argv, bench::registerAll);
}
