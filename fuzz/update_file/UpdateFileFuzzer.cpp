// An update file and the chip's faults from the input, through the shipped
// library, the simulation kernel and the simulated chip: no kernel object
// leaks, the SE media is never left started, the COS version never drops.
// getCOSInfo() leaves the kernel, by contract, the content it does not use
// (none, or FD content not exactly 4 bytes long); the harness tells that from a
// leak by the array's type and size (HeldByteArrays.h) and gives it back.
// Input: the file's text, then optionally a NUL, a byte choosing the chip's
// starting state, records [exchange][FaultKind, 7: none][p1][p2].

#include <sys/mman.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "FuzzSupport.h"
#include "HeldByteArrays.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "cosim/Protocol.h"
#include "cosupdate/sim/SimulatedSEMedia.h"
#include "nativeCOSPatchKernel.h"

namespace {

namespace api = Zelmar::Device::COS::V1_0;

// Collects the kernel's own leak report, not a file's text that says so.
class LeakWatch : public api::COSUpdateLogInterface {
  public:
    void writeLogMessage(api::COSUpdateLogLevel, const std::string& line) override {
        if (line.rfind("[SimKernel] memory: ", 0) == 0 && line.find(" never freed") != line.npos) {
            leaks += line + "\n";
        }
    }
    std::string leaks;
};

// Only the library's exception may leave an operation, but doUpdate() lets
// std::stoi's out, on purpose (ExecutionTest.ANonLibraryExceptionPasses...),
// on a cosVersion that is not hex, leaving the SE media started: stop it.
template <typename Operation>
void run(const std::string& name, Operation operation) {
    try {
        operation();
    } catch (const api::COSUpdateException&) {
    } catch (const std::logic_error& e) {  // std::invalid_argument, std::out_of_range
        FUZZ_CHECK(name == "doUpdate" && std::string(e.what()) == "stoi",
                   name + "() let out " + e.what());
        nativeCOSPatch_seMediaManager_stop();
    }
    bool started = false;
    nativeCOSPatch_seMediaManager_isStarted(&started);
    FUZZ_CHECK(!started, "the SE media is left started after " + name + "()");
}

constexpr uint16_t kUsedFdSize = 4;  // the only FD content getCOSInfo() uses

bool leftToTheKernel(const fuzzing::HeldByteArray& array, NATIVECOSPATCH_COS_DATA_TYPE read) {
    return array.type == read && (array.size == 0 || (read == NATIVECOSPATCH_COS_DATA_TYPE_FD &&
                                                      array.size != kUsedFdSize));
}

// After getCOSInfo() reads `read`: any array the engine still holds must be the
// one the contract leaves; given back here, it reaches neither the kernel's
// report nor LeakSanitizer, which both stay strict about every other one.
void settleByteArrays(NATIVECOSPATCH_COS_DATA_TYPE read) {
    while (!fuzzing::heldByteArrays().empty()) {
        const fuzzing::HeldByteArray array = fuzzing::heldByteArrays().front();
        FUZZ_CHECK(leftToTheKernel(array, read),
                   "getCOSInfo() kept a byte array it owes the kernel: COS data type " +
                       std::to_string(array.type) + ", " + std::to_string(array.size) +
                       " bytes, read for type " + std::to_string(read));
        fuzzing::giveBack(array);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzing::FuzzInput in(data, size);
    // The engine reads a std::ifstream: an in-memory file spares the disk.
    static const int fd = memfd_create("cosupdate-fuzz-update", 0);
    const std::string text = in.text();
    FUZZ_CHECK(fd >= 0 && ftruncate(fd, 0) == 0 &&
                   pwrite(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
               "cannot write the update file");
    std::ifstream file("/proc/self/fd/" + std::to_string(fd), std::ios::binary);
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    const int start = in.byte() % 5;  // factory, 1.1, 1.2, 1.2 with a service, other customer
    state.cosVersion = start == 1 ? 0x0101 : start == 2 || start == 3 ? 0x0102 : state.cosVersion;
    if (start == 3) {
        state.services.insert({0xF0, 0x5A, 0x4C, 0x4D, 0x53, 0x00, 0x00, 0x01});
    }
    state.customerId = start == 4 ? "GLOBEX" : state.customerId;
    auto chip = std::make_shared<cosim::Chip>(state);
    auto media = std::make_shared<cosupdate::sim::SimulatedSEMedia>(chip);
    while (!in.exhausted()) {
        const uint8_t exchange = in.byte(), what = in.byte() % 8;
        const uint16_t p = in.u16();
        if (what < 7) {
            media->injectFault(
                {static_cast<cosupdate::sim::FaultKind>(what), exchange, p, p & 0xFFu});
        }
    }
    uint16_t highest = state.cosVersion;
    media->setExchangeObserver([&](uint64_t, const cosim::Bytes&, const cosim::Bytes&) {
        FUZZ_CHECK(chip->state().cosVersion >= highest, "the COS version went backwards");
        highest = chip->state().cosVersion;
    });
    auto log = std::make_shared<LeakWatch>();
    {
        auto engine = api::COSUpdateFactory::create(log);
        engine->initialize(media);
        engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FC, cosim::aid::kFC);
        engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FD, cosim::aid::kFD);
        engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FE, cosim::aid::kFE);
        std::vector<uint8_t> info;
        run("loadCOSUpdateFileOnMemory", [&] { engine->loadCOSUpdateFileOnMemory(file); });
        run("isUpdateAvailable", [&] { engine->isUpdateAvailable(); });
        run("doUpdate", [&] { engine->doUpdate(); });
        run("doUpdate", [&] { engine->doUpdate(); });
        run("getCOSInfo", [&] { engine->getCOSInfo(api::COSUPDATE_TAG_FC, info); });
        settleByteArrays(NATIVECOSPATCH_COS_DATA_TYPE_FC);
        run("getCOSInfo", [&] { engine->getCOSInfo(api::COSUPDATE_TAG_FD, info); });
        settleByteArrays(NATIVECOSPATCH_COS_DATA_TYPE_FD);
        run("unloadCOSUpdateFromMemory", [&] { engine->unloadCOSUpdateFromMemory(); });
        engine->release();
    }
    FUZZ_CHECK(log->leaks.empty(), "the kernel reports: " + log->leaks);
    return 0;
}
