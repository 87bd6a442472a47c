#include "Session.h"

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "EngineTest.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

namespace reliability {

using namespace Zelmar::Device::COS::V1_0;
using kerneldouble::KernelDouble;
using testsupport::kFeAid;

namespace {

bool seMediaStarted() {
    bool started = false;
    _COSUpdateSEMediaWrapper_isStarted(&started);
    return started;
}

std::string writeUpdateFile() {
    const std::string text = "<three-script update>";
    KernelDouble::instance().fake.files[text] = testsupport::threeScriptFile();
    const std::string path = "/tmp/cosupdate-fault-" + std::to_string(getpid()) + ".xml";
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

template <typename Action>
std::string outcomeOf(Action action) {
    try {
        return action();
    } catch (const COSUpdateException& e) {
        return std::string("throw:") + e.what();
    } catch (const std::exception& e) {
        return std::string("foreign:") + e.what();
    }
}

}  // namespace

SessionRun runSession(const std::shared_ptr<testsupport::CapturingLog>& log,
                      const std::shared_ptr<testsupport::FakeTransport>& transport) {
    KernelDouble& kernel = KernelDouble::instance();
    kernel.fake.chip.data[NATIVECOSPATCH_COS_DATA_TYPE_FC] = {0xFC, 1, 2};
    kernel.fake.chip.data[NATIVECOSPATCH_COS_DATA_TYPE_FD] = {0xFD, 1, 2, 3};
    const std::string path = writeUpdateFile();
    std::unique_ptr<COSUpdateInterface> engine;
    std::vector<uint8_t> info;
    const std::vector<std::pair<std::string, std::function<std::string()>>> steps = {
        {"create",
         [&] {
             engine = COSUpdateFactory::create(log);
             return std::string("ok");
         }},
        {"initialize",
         [&] {
             engine->initialize(transport);
             return std::string("ok");
         }},
        {"setAID FE",
         [&] {
             engine->setCOSUpdateTagAID(COSUPDATE_TAG_FE, kFeAid);
             return std::string("ok");
         }},
        {"setAID FC",
         [&] {
             engine->setCOSUpdateTagAID(COSUPDATE_TAG_FC, {0xA0, 0x00, 0xFC});
             return std::string("ok");
         }},
        {"setAID FD",
         [&] {
             engine->setCOSUpdateTagAID(COSUPDATE_TAG_FD, {0xA0, 0x00, 0xFD});
             return std::string("ok");
         }},
        {"load",
         [&] {
             std::ifstream file(path, std::ios::binary);
             engine->loadCOSUpdateFileOnMemory(file);
             return std::string("ok");
         }},
        {"isUpdateAvailable",
         [&] { return std::string(engine->isUpdateAvailable() ? "true" : "false"); }},
        {"doUpdate", [&] { return "result:" + std::to_string(engine->doUpdate()); }},
        {"getCOSInfo FC",
         [&] {
             engine->getCOSInfo(COSUPDATE_TAG_FC, info);
             return std::string("ok");
         }},
        {"getCOSInfo FD",
         [&] {
             engine->getCOSInfo(COSUPDATE_TAG_FD, info);
             return std::string("ok");
         }},
        {"unload",
         [&] {
             engine->unloadCOSUpdateFromMemory();
             return std::string("ok");
         }},
        {"release",
         [&] {
             engine->release();
             return std::string("ok");
         }},
        {"destroy",
         [&] {
             engine.reset();
             return std::string("ok");
         }},
    };
    SessionRun run;
    for (const auto& step : steps) {
        if (!engine && step.first != "create") {
            continue;
        }
        OpRecord op;
        op.name = step.first;
        op.firstKernelCall = kernel.journal.size();
        op.firstSinkLine = log->lines.size();
        op.startedBefore = seMediaStarted();
        op.outcome = outcomeOf(step.second);
        op.startedAfter = seMediaStarted();
        op.kernelCalls = kernel.journal.size() - op.firstKernelCall;
        run.ops.push_back(op);
    }
    engine.reset();
    for (const auto& violation : kernel.fake.violations()) {
        run.violations.push_back("kernel: " + violation);
    }
    if (kernel.fake.liveObjects() != 0) {
        run.violations.push_back(std::to_string(kernel.fake.liveObjects()) +
                                 " kernel object(s) leaked");
    }
    return run;
}

std::vector<std::string> inChild(const std::function<std::vector<std::string>()>& body) {
    int channel[2];
    if (pipe(channel) != 0) {
        return {"pipe failed"};
    }
    const pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        std::ostringstream out;
        for (const auto& violation : body()) {
            out << violation << '\n';
        }
        const std::string text = out.str();
        ssize_t written = write(channel[1], text.data(), text.size());
        _exit(written == static_cast<ssize_t>(text.size()) ? 0 : 3);
    }
    close(channel[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(channel[0], buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<size_t>(n));
    }
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    std::vector<std::string> violations;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        violations.push_back(line);
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        violations.push_back("child died (status " + std::to_string(status) + ")");
    }
    return violations;
}

}  // namespace reliability
