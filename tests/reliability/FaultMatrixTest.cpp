// Fail every kernel call of a realistic session in turn, then every transport
// call and every log line: each run must end each operation as the engine's
// contract says, leak nothing, free nothing twice, leave the SE media as it
// found it and still release and destroy the engine.

#include <gtest/gtest.h>

#include <map>

#include "Session.h"

namespace reliability {
namespace {

using kerneldouble::KernelDouble;
using testsupport::CapturingLog;
using testsupport::FakeTransport;

const std::string kTransportForeign = "foreign:unexpected transport failure";
const std::string kSinkForeign = "foreign:log sink failure";

struct Figures {
    size_t runs = 0;
    size_t injected = 0;
    size_t violations = 0;
};

void report(const char* matrix, const Figures& f) {
    std::printf("[fault matrix] %s: %zu call sites tried, %zu failures injected, %zu violations\n",
                matrix, f.runs, f.injected, f.violations);
}

// What the operation that met the failure must end with; "" for the outcome
// of the same operation in an untouched run.
std::string expectedOutcome(const std::string& op, const std::string& call, size_t occurrence) {
    static const std::map<std::string, std::string> kByCall = {
        {"logManager_initComponent", "throw:Unable to initialize logManager"},
        {"logManager_open", "throw:Unable to open logManager"},
        {"seMediaManager_initComponent", "throw:Unable to initialize SEMedia Wrapper"},
        {"xml_multiscript_loadFromString", "throw:Unable to extract 'COSUpdate' data from memory"},
        {"multiscriptManager_isScriptWithNameExist",
         "throw:Multiscript contains invalid/incorrect entry"},
        {"multiscriptManager_isAuditScriptWithNameExist",
         "throw:Multiscript contains invalid/incorrect entry"},
        {"seMediaManager_isComponentInitialized",
         "throw:Unable to retrieve SEMediaManager component status"},
        {"seMediaManager_isStarted", "throw:Unable to retrieve SEMedia status"},
        {"seMediaManager_start", "throw:Unable to start SEMedia"},
        {"seContextManager_readCOSPlatformId", "throw:Unable to retrieve SE COS PlatformId"},
        {"seContextManager_readCOSCustomerId", "throw:Unable to retrieve SE COS CustomerId"},
    };
    if (op.rfind("setAID ", 0) == 0 && call == "seContextManager_updateCOSTagAID") {
        return "throw:Unable to save AID for " + op.substr(7) + " tag)";
    }
    if (op.rfind("getCOSInfo ", 0) == 0) {
        if (call == "seContextManager_getCOSTagAIDSize") {
            return "throw:Unable to verify AID size of tag";
        }
        if (call == "seContextManager_readCOSData") {
            return "throw:Unable to read COSData for " + op.substr(11) + " tag";
        }
    }
    if (call == "seContextManager_getCOSTagAIDSize") {
        return "throw:Unable to verify AID size of FE tag";
    }
    if (op == "isUpdateAvailable" && call == "seContextManager_readCOSVersion") {
        return "throw:Unable to retrieve SE COS Version";
    }
    if (op == "doUpdate") {
        // The selection was made by isUpdateAvailable: every version read here
        // checks a script, and a failed one runs the script again.
        static const std::set<std::string> kEndsTheRun = {
            "multiscriptManager_script_selectRefScript",
            "xml_script_loadFromString",
            "scriptManager_isConsistency",
            "scriptRunner_executeScript",
            "multiscriptManager_script_selectRefAuditScript",
            "xml_audit_script_loadFromString"};
        if (kEndsTheRun.count(call) != 0) {
            return "result:-1";
        }
        // The first audit asks whether the Service is there (false: run it),
        // the second verifies it.
        if (call == "auditscriptRunner_executeAuditScript" && occurrence == 2) {
            return "result:-1";
        }
    }
    auto it = kByCall.find(call);
    return it == kByCall.end() ? "" : it->second;
}

std::map<std::string, std::string> untouchedOutcomes() {
    std::map<std::string, std::string> outcomes;
    for (const auto& line : inChild([] {
             KernelDouble::reset();
             std::vector<std::string> lines;
             for (const auto& op :
                  runSession(std::make_shared<CapturingLog>(), std::make_shared<FakeTransport>())
                      .ops) {
                 lines.push_back(op.name + "=" + op.outcome);
             }
             return lines;
         })) {
        const size_t eq = line.find('=');
        outcomes[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return outcomes;
}

// The SE media may stay started only where the engine's contract lets it: a
// stop the kernel refused, a transport that failed while stopping, or an
// exception of the caller's own that nothing catches.
bool mayLeaveSEMediaStarted(const OpRecord& op, const CapturingLog& log) {
    for (size_t i = op.firstSinkLine; i < log.lines.size(); ++i) {
        const std::string& text = log.lines[i].text;
        if (text == "Unable to stop SEMedia" ||
            text.rfind("[COSUpdateLib] COSUpdateException on _COSUpdateSEMediaWrapper_stop()", 0) ==
                0) {
            return true;
        }
    }
    return op.outcome == kTransportForeign || op.outcome == kSinkForeign;
}

std::vector<std::string> generalViolations(const SessionRun& run,
                                           const std::shared_ptr<CapturingLog>& log) {
    std::vector<std::string> violations = run.violations;
    for (const auto& op : run.ops) {
        if (op.startedAfter != op.startedBefore && !mayLeaveSEMediaStarted(op, *log)) {
            violations.push_back(op.name + " changed the SE media state (" + op.outcome + ")");
        }
        if (op.outcome.rfind("foreign:", 0) == 0 && op.outcome != kTransportForeign &&
            op.outcome != kSinkForeign) {
            violations.push_back(op.name + " let out " + op.outcome);
        }
    }
    return violations;
}

constexpr char kNoFault[] = "#no-fault";

// Runs `runOnce(k)` in a child for k = 1, 2, ... until a run meets no fault
// (it then reports kNoFault among its violations), and returns the figures.
Figures sweep(const char* matrix, const std::function<std::vector<std::string>(size_t)>& runOnce) {
    Figures figures;
    for (size_t k = 1;; ++k) {
        bool faultHit = true;
        std::vector<std::string> real;
        for (const auto& violation : inChild([&] { return runOnce(k); })) {
            if (violation == kNoFault) {
                faultHit = false;
            } else {
                real.push_back("k=" + std::to_string(k) + ": " + violation);
            }
        }
        EXPECT_TRUE(real.empty()) << real.front();
        figures.violations += real.size();
        if (!faultHit) {
            break;
        }
        ++figures.runs;
        ++figures.injected;
    }
    report(matrix, figures);
    return figures;
}

// The outcome of the operation that met the k-th kernel call, against what
// that failure must produce.
std::vector<std::string> checkKernelFault(size_t k, const SessionRun& run,
                                          const std::map<std::string, std::string>& untouched) {
    const KernelDouble& kernel = KernelDouble::instance();
    const std::string call = kernel.journal[k - 1];
    std::vector<std::string> found;
    for (const auto& op : run.ops) {
        if (k - 1 < op.firstKernelCall || k - 1 >= op.firstKernelCall + op.kernelCalls) {
            continue;
        }
        size_t occurrence = 0;
        for (size_t i = op.firstKernelCall; i < k; ++i) {
            occurrence += kernel.journal[i] == call ? 1 : 0;
        }
        std::string expected = expectedOutcome(op.name, call, occurrence);
        if (expected.empty()) {
            expected = untouched.at(op.name);
        }
        if (op.outcome != expected) {
            found.push_back(call + " in " + op.name + ": got " + op.outcome + ", expected " +
                            expected);
        }
    }
    return found;
}

TEST(FaultMatrix, EveryKernelCallFailingInTurn) {
    const auto untouched = untouchedOutcomes();
    ASSERT_EQ(untouched.at("doUpdate"), "result:1");
    const Figures figures = sweep("kernel", [&](size_t k) {
        KernelDouble::reset();
        KernelDouble::instance().failAt = k;
        auto log = std::make_shared<CapturingLog>();
        const SessionRun run = runSession(log, std::make_shared<FakeTransport>());
        std::vector<std::string> found = generalViolations(run, log);
        if (!KernelDouble::instance().faultHit) {
            found.push_back(kNoFault);
            return found;
        }
        for (const auto& violation : checkKernelFault(k, run, untouched)) {
            found.push_back(violation);
        }
        return found;
    });
    EXPECT_GT(figures.runs, 60u);
}

// A transport fault has no single expected message: it reaches the engine as a
// failed kernel call, a refused stop or the caller's own exception. The
// general invariants must hold for every one of them.
Figures sweepTransport(const char* matrix, FakeTransport::Throw kind) {
    return sweep(matrix, [kind](size_t k) {
        KernelDouble::reset();
        auto log = std::make_shared<CapturingLog>();
        auto transport = std::make_shared<FakeTransport>();
        transport->throwAt = k;
        transport->throwKind = kind;
        std::vector<std::string> found = generalViolations(runSession(log, transport), log);
        if (transport->calls.size() < k) {
            found.push_back(kNoFault);
        }
        return found;
    });
}

TEST(FaultMatrix, EveryTransportCallThrowingTheLibrarysException) {
    EXPECT_GT(sweepTransport("transport, COSUpdateException", FakeTransport::Throw::COSUpdate).runs,
              20u);
}

TEST(FaultMatrix, EveryTransportCallThrowingAnotherException) {
    EXPECT_GT(sweepTransport("transport, other exception", FakeTransport::Throw::Other).runs, 20u);
}

TEST(FaultMatrix, EveryLogLineThrowing) {
    const Figures figures = sweep("log sink", [](size_t k) {
        KernelDouble::reset();
        auto log = std::make_shared<CapturingLog>();
        log->throwAt = k;
        std::vector<std::string> found =
            generalViolations(runSession(log, std::make_shared<FakeTransport>()), log);
        if (log->written < k) {
            found.push_back(kNoFault);
        }
        return found;
    });
    EXPECT_GT(figures.runs, 100u);
}

}  // namespace
}  // namespace reliability
