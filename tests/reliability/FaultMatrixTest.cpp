// Fail every kernel call of a realistic session in turn, then every transport
// call and every log line: each run must end each operation as the engine's
// contract says, leak nothing, free nothing twice, leave the SE media as it
// found it and still release and destroy the engine.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "Session.h"

namespace reliability {
namespace {

using kerneldouble::KernelDouble;
using testsupport::CapturingLog;
using testsupport::FakeTransport;

const std::string kNoFault = "#no-fault";
constexpr size_t kMaxFaults = 5000;  // far more calls than any session makes

// What the operation that met the failure of the `occurrence`-th `call` in it
// must end with; "" for the outcome of the same operation in an untouched run.
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
    // The selection was made by isUpdateAvailable: every version read in
    // doUpdate checks a script, and a failed one runs the script again.
    static const std::set<std::string> kEndsTheUpdate = {
        "multiscriptManager_script_selectRefScript",
        "xml_script_loadFromString",
        "scriptManager_isConsistency",
        "scriptRunner_executeScript",
        "multiscriptManager_script_selectRefAuditScript",
        "xml_audit_script_loadFromString"};
    const bool getInfo = op.rfind("getCOSInfo ", 0) == 0;
    if (op.rfind("setAID ", 0) == 0 && call == "seContextManager_updateCOSTagAID") {
        return "throw:Unable to save AID for " + op.substr(7) + " tag)";
    }
    if (call == "seContextManager_getCOSTagAIDSize") {
        return getInfo ? "throw:Unable to verify AID size of tag"
                       : "throw:Unable to verify AID size of FE tag";
    }
    if (getInfo && call == "seContextManager_readCOSData") {
        return "throw:Unable to read COSData for " + op.substr(11) + " tag";
    }
    if (op == "isUpdateAvailable" && call == "seContextManager_readCOSVersion") {
        return "throw:Unable to retrieve SE COS Version";
    }
    // The first audit asks whether the Service is there (false: run it), the
    // second verifies it.
    if (op == "doUpdate" && (kEndsTheUpdate.count(call) != 0 ||
                             (call == "auditscriptRunner_executeAuditScript" && occurrence == 2))) {
        return "result:-1";
    }
    auto it = kByCall.find(call);
    return it == kByCall.end() ? "" : it->second;
}

// The operation that met the k-th kernel call failing must end as that failure
// says; in the run that met no fault, every operation as it does untouched.
std::vector<std::string> checkKernelFault(size_t k, const std::vector<OpRecord>& ops) {
    const KernelDouble& kernel = KernelDouble::instance();
    std::vector<std::string> found;
    for (const auto& op : ops) {
        std::string expected = op.name == "isUpdateAvailable" ? "true"
                               : op.name == "doUpdate"        ? "result:1"
                                                              : "ok";
        std::string call = "no fault";
        if (kernel.faultHit) {
            if (k - 1 < op.firstKernelCall || k - 1 >= op.firstKernelCall + op.kernelCalls) {
                continue;
            }
            call = kernel.journal[k - 1];
            const auto first = kernel.journal.begin() + static_cast<ptrdiff_t>(op.firstKernelCall);
            const std::string byFault = expectedOutcome(
                op.name, call,
                static_cast<size_t>(std::count(first, kernel.journal.begin() + k, call)));
            expected = byFault.empty() ? expected : byFault;
        }
        if (op.outcome != expected) {
            found.push_back(call + " in " + op.name + ": got " + op.outcome + ", expected " +
                            expected);
        }
    }
    return found;
}

enum class Fault { Kernel, TransportCOSUpdate, TransportOther, Sink };

// Runs the session in a child for k = 1, 2, ... with the k-th call of the kind
// `fault` failing, until a run that met no fault. Reports the session's
// violations of every run, and for the kernel those checkKernelFault finds
// (also on the run without a fault); returns the number of faults injected.
size_t sweep(const char* matrix, Fault fault) {
    size_t injected = 0, violations = 0;
    for (size_t k = 1;; ++k) {
        bool faultHit = true;
        for (const auto& line : inChild([&] {
                 KernelDouble::reset();
                 auto log = std::make_shared<CapturingLog>();
                 auto transport = std::make_shared<FakeTransport>();
                 KernelDouble::instance().failAt = fault == Fault::Kernel ? k : 0;
                 log->throwAt = fault == Fault::Sink ? k : 0;
                 transport->throwAt =
                     fault == Fault::TransportCOSUpdate || fault == Fault::TransportOther ? k : 0;
                 transport->throwKind = fault == Fault::TransportOther
                                            ? FakeTransport::Throw::Other
                                            : FakeTransport::Throw::COSUpdate;
                 std::vector<std::string> found;
                 const auto ops = runSession(log, transport, found);
                 const auto more =
                     fault == Fault::Kernel ? checkKernelFault(k, ops) : std::vector<std::string>{};
                 found.insert(found.end(), more.begin(), more.end());
                 if (!KernelDouble::instance().faultHit &&
                     (transport->throwAt == 0 || transport->calls.size() < k) &&
                     (log->throwAt == 0 || log->written < k)) {
                     found.push_back(kNoFault);
                 }
                 return found;
             })) {
            if (line == kNoFault) {
                faultHit = false;
            } else {
                ADD_FAILURE() << matrix << ", k=" << k << ": " << line;
                ++violations;
            }
        }
        if (!faultHit) {
            break;
        }
        if (k == kMaxFaults) {  // every child died before it could report
            ADD_FAILURE() << matrix << ": no run got through without a fault";
            break;
        }
        ++injected;
    }
    std::printf("[fault matrix] %s: %zu call sites tried, %zu failures injected, %zu violations\n",
                matrix, injected, injected, violations);
    return injected;
}

// A transport or sink fault has no single expected message: it reaches the
// engine as a failed kernel call, a refused stop or the caller's own
// exception. The general invariants must hold for every one of them.
TEST(FaultMatrix, EveryKernelTransportAndLogCallFailingInTurn) {
    EXPECT_GT(sweep("kernel", Fault::Kernel), 60u);
    EXPECT_GT(sweep("transport, COSUpdateException", Fault::TransportCOSUpdate), 20u);
    EXPECT_GT(sweep("transport, other exception", Fault::TransportOther), 20u);
    EXPECT_GT(sweep("log sink", Fault::Sink), 100u);
}

// The session as a list of lines: each operation's outcome, every kernel call
// and every log line, and whatever the session found wrong.
std::vector<std::string> sessionTranscript(KernelDouble::BoolBits bits) {
    return inChild([bits] {
        KernelDouble::reset();
        KernelDouble::instance().bits = bits;
        auto log = std::make_shared<CapturingLog>();
        std::vector<std::string> lines;
        for (const auto& op : runSession(log, std::make_shared<FakeTransport>(), lines)) {
            lines.push_back(op.name + ": " + op.outcome);
        }
        const auto& journal = KernelDouble::instance().journal;
        lines.insert(lines.end(), journal.begin(), journal.end());
        for (const auto& line : log->lines) {
            lines.push_back(std::to_string(line.level) + " " + line.text);
        }
        return lines;
    });
}

// A C kernel may set any bits above the lowest in a bool it answers or writes:
// the session must go the same, call for call and line for line, whatever
// they are. The Service's first audit answers false, its second true.
TEST(FaultMatrix, OnlyTheLowestBitOfAKernelBoolCounts) {
    const std::vector<std::string> plain = sessionTranscript({1, 0});
    ASSERT_GT(plain.size(), 100u);
    for (const KernelDouble::BoolBits bits :
         {KernelDouble::BoolBits{3, 2}, KernelDouble::BoolBits{255, 254},
          KernelDouble::BoolBits{0x81, 0x80}}) {
        SCOPED_TRACE("true " + std::to_string(bits.yes) + ", false " + std::to_string(bits.no));
        const std::vector<std::string> transcript = sessionTranscript(bits);
        const auto [got, expected] =
            std::mismatch(transcript.begin(), transcript.end(), plain.begin(), plain.end());
        EXPECT_TRUE(got == transcript.end() && expected == plain.end())
            << "first difference, line " << (got - transcript.begin()) << ": got \""
            << (got == transcript.end() ? "<end>" : *got) << "\", expected \""
            << (expected == plain.end() ? "<end>" : *expected) << "\"";
    }
}

}  // namespace
}  // namespace reliability
