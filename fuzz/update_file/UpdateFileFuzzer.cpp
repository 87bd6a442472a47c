// An update file and the chip's behaviour, both from the fuzz input, through
// the shipped library and the simulation kernel: load, check, run, run again,
// read the COS data objects, unload, release. Whatever the file and however
// the link misbehaves, only the library's exception may leave an operation
// (doUpdate() has one more, kept on purpose: see attempt()), doUpdate()
// answers -1, 0 or 1, a file refused at load is not kept, no operation leaves
// the SE media started, the kernel reports no object leaked, and the chip's
// COS version never goes backwards.
//
// Input: the update file's text, then optionally a NUL and the chip plan: one
// byte choosing the chip's starting state, then records of four bytes
// [exchange][what][p1][p2]. `what` 0-6 injects the SimulatedSEMedia fault of
// that kind at that exchange (status word p1p2, or p2 bytes kept); 7 lets the
// chip execute the command but hands the library p1p2 bytes of garbage.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "cosim/Chip.h"
#include "cosim/Protocol.h"
#include "cosim/SimulatedSEMedia.h"
#include "nativeCOSPatchKernel.h"

namespace {

namespace api = Zelmar::Device::COS::V1_0;
using fuzzing::FuzzInput;

constexpr uint8_t kGarbage = 7;

struct PlannedStep {
    uint8_t what = 0;
    uint16_t parameter = 0;
};

struct Plan {
    uint8_t startingState = 0;
    std::map<uint64_t, PlannedStep> steps;  // by exchange, from 1
};

Plan readPlan(FuzzInput& in) {
    Plan plan;
    plan.startingState = in.byte();
    while (in.remaining() >= 4) {
        const uint64_t exchange = in.byte();
        PlannedStep step;
        step.what = in.byte() % 8;
        step.parameter = in.u16();
        plan.steps[exchange] = step;
    }
    return plan;
}

cosim::ChipState startingState(uint8_t selector) {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    switch (selector % 5) {
        case 1:
            state.cosVersion = 0x0101;
            break;
        case 2:
            state.cosVersion = 0x0102;
            break;
        case 3:
            state.cosVersion = 0x0102;
            state.services.insert({0xF0, 0x5A, 0x4C, 0x4D, 0x53, 0x00, 0x00, 0x01});
            break;
        case 4:
            state.customerId = "GLOBEX";
            break;
        default:
            break;
    }
    return state;
}

// In front of the simulated chip: arms the planned fault for the exchange
// about to happen, or replaces the chip's answer with garbage.
class PlannedLink : public api::COSUpdateSEMediaInterface {
  public:
    PlannedLink(std::shared_ptr<cosim::SimulatedSEMedia> media, Plan plan)
        : m_media(std::move(media)), m_plan(std::move(plan)) {}

    void initialize() override { m_media->initialize(); }
    bool isInitialized() override { return m_media->isInitialized(); }
    bool isConnected() override { return m_media->isConnected(); }
    void closeConnection() override { m_media->closeConnection(); }

    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override {
        const PlannedStep* step = arm();
        m_media->openConnection(aid, response);
        garble(step, response);
    }

    void transmitApdu(const std::vector<uint8_t>& command,
                      std::vector<uint8_t>& response) override {
        const PlannedStep* step = arm();
        m_media->transmitApdu(command, response);
        garble(step, response);
    }

  private:
    const PlannedStep* arm() {
        // A fault armed for an exchange that never happened (the link was
        // down) must not hit a later one.
        m_media->clearFaults();
        const auto it = m_plan.steps.find(++m_exchange);
        if (it == m_plan.steps.end()) {
            return nullptr;
        }
        const PlannedStep& step = it->second;
        if (step.what != kGarbage) {
            cosim::Fault fault;
            fault.kind = static_cast<cosim::FaultKind>(step.what);
            fault.atExchange = m_media->exchangeCount() + 1;
            fault.statusWord = step.parameter;
            fault.keptBytes = step.parameter & 0xFF;
            m_media->injectFault(fault);
        }
        return &step;
    }

    static void garble(const PlannedStep* step, std::vector<uint8_t>& response) {
        if (step != nullptr && step->what == kGarbage) {
            response.assign(step->parameter, static_cast<uint8_t>(step->parameter));
        }
    }

    std::shared_ptr<cosim::SimulatedSEMedia> m_media;
    Plan m_plan;
    uint64_t m_exchange = 0;
};

// Keeps only what the checks need: the kernel's leak report.
class LeakWatch : public api::COSUpdateLogInterface {
  public:
    void writeLogMessage(api::COSUpdateLogLevel, const std::string& message) override {
        // The kernel's own line, not a file's text that happens to say so.
        static const std::string kPrefix = "[SimKernel] memory: ";
        static const std::string kSuffix = " never freed";
        if (message.compare(0, kPrefix.size(), kPrefix) == 0 && message.size() > kSuffix.size() &&
            message.compare(message.size() - kSuffix.size(), kSuffix.size(), kSuffix) == 0) {
            leaks.push_back(message);
        }
    }
    std::vector<std::string> leaks;
};

// The engine reads update files from a std::ifstream: an in-memory file,
// rewritten for every input, spares the disk a write per iteration.
class UpdateFile {
  public:
    UpdateFile() : m_fd(memfd_create("cosupdate-fuzz-update", 0)) {
        FUZZ_CHECK(m_fd >= 0, "memfd_create failed");
        m_path = "/proc/self/fd/" + std::to_string(m_fd);
    }
    ~UpdateFile() { close(m_fd); }
    UpdateFile(const UpdateFile&) = delete;
    UpdateFile& operator=(const UpdateFile&) = delete;

    std::ifstream open(const std::string& text) const {
        const bool written = ftruncate(m_fd, 0) == 0 && pwrite(m_fd, text.data(), text.size(), 0) ==
                                                            static_cast<ssize_t>(text.size());
        FUZZ_CHECK(written, "cannot write the update file");
        return std::ifstream(m_path, std::ios::binary);
    }

  private:
    int m_fd;
    std::string m_path;
};

enum class Ended { Normally, WithLibraryException, OnVersionNotHex };

// Runs `operation`. Only the library's own exception may come out, with one
// exception kept on purpose (see ExecutionTest,
// ANonLibraryExceptionPassesThroughUnconverted): doUpdate() lets std::stoi's
// exception out when a manifest's cosVersion is not base-16 text. The caller
// decides whether that was allowed; anything else ends the run as a finding.
template <typename Operation>
Ended attempt(Operation operation) {
    try {
        operation();
        return Ended::Normally;
    } catch (const api::COSUpdateException&) {
        return Ended::WithLibraryException;
    } catch (const std::logic_error& e) {  // std::invalid_argument, std::out_of_range
        FUZZ_CHECK(std::string(e.what()) == "stoi", std::string("let out: ") + e.what());
        return Ended::OnVersionNotHex;
    }
}

template <typename Operation>
bool succeeds(const char* name, Operation operation) {
    const Ended ended = attempt(operation);
    FUZZ_CHECK(ended != Ended::OnVersionNotHex, std::string(name) + "() let out stoi's exception");
    return ended == Ended::Normally;
}

void expectSEMediaStopped(const char* after) {
    bool started = false;
    nativeCOSPatch_seMediaManager_isStarted(&started);
    FUZZ_CHECK(!started, std::string("the SE media is left started after ") + after);
}

void runSession(api::COSUpdateInterface& engine, const std::string& fileText) {
    static const UpdateFile file;
    std::ifstream stream = file.open(fileText);
    const bool loaded = succeeds("load", [&] { engine.loadCOSUpdateFileOnMemory(stream); });
    expectSEMediaStopped("load");
    const bool checked = succeeds("isUpdateAvailable", [&] { engine.isUpdateAvailable(); });
    FUZZ_CHECK(loaded || !checked, "isUpdateAvailable() ran on a file refused at load");
    expectSEMediaStopped("isUpdateAvailable");
    for (const char* run : {"doUpdate", "second doUpdate"}) {
        int result = 0;
        const Ended ended = attempt([&] { result = engine.doUpdate(); });
        FUZZ_CHECK(loaded || ended == Ended::WithLibraryException,
                   "doUpdate() ran on a file refused at load");
        FUZZ_CHECK(ended != Ended::Normally || (result >= -1 && result <= 1),
                   "doUpdate() answered " + std::to_string(result));
        if (ended == Ended::OnVersionNotHex) {
            // That path leaves the SE media started, and the started flag
            // outlives the engine: stop it here, or the next input would
            // begin where this one ended.
            nativeCOSPatch_seMediaManager_stop();
        }
        expectSEMediaStopped(run);
    }
    std::vector<uint8_t> info;
    succeeds("getCOSInfo", [&] { engine.getCOSInfo(api::COSUPDATE_TAG_FC, info); });
    succeeds("getCOSInfo", [&] { engine.getCOSInfo(api::COSUPDATE_TAG_FD, info); });
    expectSEMediaStopped("getCOSInfo");
    succeeds("unload", [&] { engine.unloadCOSUpdateFromMemory(); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput in(data, size);
    const std::string fileText = in.text();
    const Plan plan = readPlan(in);

    auto chip = std::make_shared<cosim::Chip>(startingState(plan.startingState));
    auto media = std::make_shared<cosim::SimulatedSEMedia>(chip);
    uint16_t highest = chip->state().cosVersion;
    media->setExchangeObserver([&](uint64_t, const cosim::Bytes&, const cosim::Bytes&) {
        FUZZ_CHECK(chip->state().cosVersion >= highest, "the COS version went backwards");
        highest = chip->state().cosVersion;
    });

    auto log = std::make_shared<LeakWatch>();
    {
        std::unique_ptr<api::COSUpdateInterface> engine = api::COSUpdateFactory::create(log);
        engine->initialize(std::make_shared<PlannedLink>(media, plan));
        engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FC, cosim::aid::kFC);
        engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FD, cosim::aid::kFD);
        engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FE, cosim::aid::kFE);
        runSession(*engine, fileText);
        engine->release();
    }
    FUZZ_CHECK(log->leaks.empty(), "the kernel reports: " + log->leaks.front());
    return 0;
}
