#include "Session.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "EngineTest.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

namespace reliability {

using namespace Zelmar::Device::COS::V1_0;
using kerneldouble::KernelDouble;

namespace {

const std::string kTransportForeign = "foreign:unexpected transport failure";
const std::string kSinkForeign = "foreign:log sink failure";

bool seMediaStarted() {
    bool started = false;
    _COSUpdateSEMediaWrapper_isStarted(&started);
    return started;
}

// The SE media may stay started only where the engine's contract lets it: a
// stop the kernel refused, a transport that failed while stopping, or an
// exception of the caller's own that nothing catches.
bool mayLeaveSEMediaStarted(const std::string& outcome, const testsupport::CapturingLog& log,
                            size_t firstLine) {
    const std::string stopFailed =
        "[COSUpdateLib] COSUpdateException on _COSUpdateSEMediaWrapper_stop()";
    for (size_t i = firstLine; i < log.lines.size(); ++i) {
        const std::string& text = log.lines[i].text;
        if (text == "Unable to stop SEMedia" || text.rfind(stopFailed, 0) == 0) {
            return true;
        }
    }
    return outcome == kTransportForeign || outcome == kSinkForeign;
}

std::function<std::string()> ok(std::function<void()> action) {
    return [action] {
        action();
        return std::string("ok");
    };
}

}  // namespace

std::vector<OpRecord> runSession(const std::shared_ptr<testsupport::CapturingLog>& log,
                                 const std::shared_ptr<testsupport::FakeTransport>& transport,
                                 std::vector<std::string>& violations) {
    KernelDouble& kernel = KernelDouble::instance();
    kernel.fake.chip.data[NATIVECOSPATCH_COS_DATA_TYPE_FC] = {0xFC, 1, 2};
    kernel.fake.chip.data[NATIVECOSPATCH_COS_DATA_TYPE_FD] = {0xFD, 1, 2, 3};
    const std::string text = "<three-script update>";
    kernel.fake.files[text] = testsupport::threeScriptFile();
    const std::string path = "/tmp/cosupdate-fault-" + std::to_string(getpid()) + ".xml";
    std::ofstream(path, std::ios::binary) << text;
    std::unique_ptr<COSUpdateInterface> engine;
    const std::vector<uint8_t> feAid = testsupport::kFeAid, fcAid{0xA0, 0, 0xFC},
                               fdAid{0xA0, 0, 0xFD};
    std::vector<uint8_t> info;
    const std::vector<std::pair<std::string, std::function<std::string()>>> steps = {
        {"create", ok([&] { engine = COSUpdateFactory::create(log); })},
        {"initialize", ok([&] { engine->initialize(transport); })},
        {"setAID FE", ok([&] { engine->setCOSUpdateTagAID(COSUPDATE_TAG_FE, feAid); })},
        {"setAID FC", ok([&] { engine->setCOSUpdateTagAID(COSUPDATE_TAG_FC, fcAid); })},
        {"setAID FD", ok([&] { engine->setCOSUpdateTagAID(COSUPDATE_TAG_FD, fdAid); })},
        {"load", ok([&] {
             std::ifstream file(path, std::ios::binary);
             engine->loadCOSUpdateFileOnMemory(file);
         })},
        {"isUpdateAvailable", [&] { return engine->isUpdateAvailable() ? "true" : "false"; }},
        {"doUpdate", [&] { return "result:" + std::to_string(engine->doUpdate()); }},
        {"getCOSInfo FC", ok([&] { engine->getCOSInfo(COSUPDATE_TAG_FC, info); })},
        {"getCOSInfo FD", ok([&] { engine->getCOSInfo(COSUPDATE_TAG_FD, info); })},
        {"unload", ok([&] { engine->unloadCOSUpdateFromMemory(); })},
        {"release", ok([&] { engine->release(); })},
        {"destroy", ok([&] { engine.reset(); })},
    };
    std::vector<OpRecord> ops;
    for (const auto& [name, action] : steps) {
        if (!engine && name != "create") {
            continue;
        }
        OpRecord op{name, kernel.journal.size(), 0, ""};
        const size_t firstLine = log->lines.size();
        const bool startedBefore = seMediaStarted();
        try {
            op.outcome = action();
        } catch (const COSUpdateException& e) {
            op.outcome = std::string("throw:") + e.what();
        } catch (const std::exception& e) {
            op.outcome = std::string("foreign:") + e.what();
        }
        op.kernelCalls = kernel.journal.size() - op.firstKernelCall;
        if (seMediaStarted() != startedBefore &&
            !mayLeaveSEMediaStarted(op.outcome, *log, firstLine)) {
            violations.push_back(name + " changed the SE media state (" + op.outcome + ")");
        }
        if (op.outcome.rfind("foreign:", 0) == 0 && op.outcome != kTransportForeign &&
            op.outcome != kSinkForeign) {
            violations.push_back(name + " let out " + op.outcome);
        }
        ops.push_back(op);
    }
    engine.reset();
    std::remove(path.c_str());
    for (const auto& violation : kernel.fake.violations()) {
        violations.push_back("kernel: " + violation);
    }
    if (kernel.fake.liveObjects() != 0) {
        violations.push_back(std::to_string(kernel.fake.liveObjects()) +
                             " kernel object(s) leaked");
    }
    return ops;
}

std::vector<std::string> inChild(const std::function<std::vector<std::string>()>& body) {
    const std::string path = "/tmp/cosupdate-child-" + std::to_string(getpid()) + ".txt";
    std::remove(path.c_str());
    const pid_t child = fork();
    if (child == 0) {
        std::ofstream out(path);
        for (const auto& line : body()) {
            out << line << '\n';
        }
        _exit(out.flush() ? 0 : 3);
    }
    int status = 0;
    waitpid(child, &status, 0);
    std::vector<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    std::remove(path.c_str());
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        lines.push_back("child died (status " + std::to_string(status) + ")");
    }
    return lines;
}

}  // namespace reliability
