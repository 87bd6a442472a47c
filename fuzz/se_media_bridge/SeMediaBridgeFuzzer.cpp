// Drives the SE media bridge as the patch kernel does (start, open, a run of
// exchanges, close, stop, with stray calls in between), with the arguments the
// kernel passes, the transport's every answer and exception taken from the
// fuzz input. Each call is checked against a model of the bridge's contract:
// the result, the transport calls it makes, the exact error line, and the
// kernel's buffers (exactly sized on the heap) untouched on every failure.
//
// Input: one operation byte per step, each followed by the bytes that
// operation consumes; the transport reads its own decisions from the same
// stream as it is called.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

namespace {

using namespace Zelmar::Device::COS::V1_0;
using fuzzing::FuzzInput;

constexpr uint8_t kSentinel = 0xEE;
constexpr uint16_t kSentinelLength = 0xBEEF;
// Input bytes a buffer takes at most; the rest of a long buffer is a pattern,
// so that long lengths do not swallow the decisions that follow.
constexpr size_t kMostInputBytes = 64;
constexpr char kOwnFailure[] = "scripted transport failure";
constexpr char kForeignFailure[] = "scripted foreign failure";

// Lengths worth reaching often: the edges of the status word, the APDU header,
// a short APDU and the 16-bit range.
constexpr uint16_t kLengths[] = {0, 1, 2, 3, 4, 5, 8, 16, 257, 258, 259, 261, 0xFFFE, 0xFFFF};
constexpr size_t kAnswerSizes[] = {0, 1, 2, 3, 4, 257, 258, 259, 0xFFFF, 0x10000};

uint16_t chooseLength(FuzzInput& in) {
    const uint8_t selector = in.byte();
    constexpr size_t kCount = sizeof(kLengths) / sizeof(kLengths[0]);
    return selector < 0xF0 ? kLengths[selector % kCount] : in.u16();
}

// The largest buffer in play: a 16-bit length, or an answer one byte longer.
constexpr size_t kLargest = 0x10000;

// Bytes counting up from `seed`: a shifted, cut or overlong copy shows. Cut
// from one table, because this runs for every buffer of every call.
std::vector<uint8_t> patterned(size_t size, uint8_t seed) {
    static const std::vector<uint8_t> table = [] {
        std::vector<uint8_t> bytes(kLargest + 256);
        for (size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<uint8_t>(i);
        }
        return bytes;
    }();
    return std::vector<uint8_t>(table.begin() + seed, table.begin() + seed + size);
}

// True when all `size` bytes at `bytes` still hold the sentinel.
bool untouched(const uint8_t* bytes, size_t size) {
    static const std::vector<uint8_t> sentinels(kLargest, kSentinel);
    return size == 0 || std::memcmp(bytes, sentinels.data(), size) == 0;
}

enum class Outcome { Returned, ThrewOwn, ThrewForeign };

struct TransportCall {
    std::string operation;
    Outcome outcome = Outcome::Returned;
    bool value = false;  // isConnected()'s answer
};

// The transport as the fuzz input scripts it. Every call is recorded, so the
// model knows what the bridge was told.
class ScriptedTransport : public COSUpdateSEMediaInterface {
  public:
    explicit ScriptedTransport(FuzzInput& in) : m_in(in) {}

    void initialize() override {}
    bool isInitialized() override { return true; }

    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override {
        lastInput = aid;
        const uint8_t decision = enter("openConnection");
        m_connected = decision % 16 != 4;  // 4: the transport could not connect
        response = answer();
    }

    bool isConnected() override {
        const uint8_t decision = enter("isConnected");
        calls.back().value = decision % 16 == 3 ? !m_connected : m_connected;
        return calls.back().value;
    }

    void transmitApdu(const std::vector<uint8_t>& command,
                      std::vector<uint8_t>& response) override {
        lastInput = command;
        enter("transmitApdu");
        response = answer();
    }

    void closeConnection() override {
        enter("closeConnection");
        m_connected = false;
    }

    // From now on the transport reads nothing and behaves.
    void quieten() { m_quiet = true; }

    std::vector<TransportCall> calls;
    std::vector<uint8_t> lastInput;
    std::vector<uint8_t> lastAnswer;

  private:
    uint8_t decide() { return m_quiet ? 0 : m_in.byte(); }

    // Records the call, then throws if the input says so.
    uint8_t enter(const char* operation) {
        const uint8_t decision = decide();
        calls.push_back(TransportCall{operation});
        if (decision % 16 == 1) {
            calls.back().outcome = Outcome::ThrewOwn;
            throw COSUpdateException(kOwnFailure);
        }
        if (decision % 16 == 2) {
            calls.back().outcome = Outcome::ThrewForeign;
            throw std::runtime_error(kForeignFailure);
        }
        return decision;
    }

    std::vector<uint8_t> answer() {
        if (m_quiet) {
            lastAnswer = {0x90, 0x00};
            return lastAnswer;
        }
        const uint8_t selector = m_in.byte();
        constexpr size_t kCount = sizeof(kAnswerSizes) / sizeof(kAnswerSizes[0]);
        const size_t size = selector < 0xF0 ? kAnswerSizes[selector % kCount] : m_in.u16();
        lastAnswer = patterned(size, m_in.byte());
        return lastAnswer;
    }

    FuzzInput& m_in;
    bool m_connected = false;
    bool m_quiet = false;
};

class RecordingSink : public COSUpdateLogInterface {
  public:
    void writeLogMessage(COSUpdateLogLevel level, const std::string& message) override {
        if (level >= COSUPDATE_LOG_WARNING) {
            warnings.push_back(message);
        }
    }
    std::vector<std::string> warnings;
};

// The kernel's side of one buffer-taking call: its buffers, exactly as long
// as the lengths it declares, or null.
struct KernelCall {
    std::unique_ptr<uint8_t[]> input;
    uint16_t inputLength = 0;
    std::vector<uint8_t> inputCopy;
    std::unique_ptr<uint8_t[]> response;
    uint16_t responseMax = 0;
    std::unique_ptr<uint16_t> responseLength;

    explicit KernelCall(FuzzInput& in) {
        const uint8_t nulls = in.byte();
        inputLength = chooseLength(in);
        responseMax = chooseLength(in);
        if ((nulls & 0x03) != 0x03) {
            inputCopy = in.bytes(std::min<size_t>(inputLength, kMostInputBytes));
            const std::vector<uint8_t> filler =
                patterned(inputLength - inputCopy.size(), static_cast<uint8_t>(inputLength));
            inputCopy.insert(inputCopy.end(), filler.begin(), filler.end());
            input.reset(new uint8_t[inputLength]);
            std::copy(inputCopy.begin(), inputCopy.end(), input.get());
        }
        if ((nulls & 0x0C) != 0x0C) {
            response.reset(new uint8_t[responseMax]);
            std::fill(response.get(), response.get() + responseMax, kSentinel);
        }
        if ((nulls & 0x30) != 0x30) {
            responseLength.reset(new uint16_t(kSentinelLength));
        }
    }

    bool call(bool (*callback)(uint8_t*, uint16_t, uint8_t*, uint16_t, uint16_t*)) {
        return callback(input.get(), inputLength, response.get(), responseMax,
                        responseLength.get());
    }

    bool argumentsValid(uint16_t minimumInput) const {
        return input && inputLength >= minimumInput && response && responseMax >= 2 &&
               responseLength;
    }

    void expectInputUnchanged() const {
        FUZZ_CHECK(!input || std::equal(inputCopy.begin(), inputCopy.end(), input.get()),
                   "the bridge wrote into the kernel's input buffer");
    }

    void expectUntouched(const std::string& context) const {
        FUZZ_CHECK(!response || untouched(response.get(), responseMax),
                   context + ": failed but wrote into the response buffer");
        FUZZ_CHECK(!responseLength || *responseLength == kSentinelLength,
                   context + ": failed but set *responseLength");
    }

    void expectAnswer(const std::vector<uint8_t>& answer) const {
        FUZZ_CHECK(*responseLength == answer.size(), "wrong *responseLength");
        FUZZ_CHECK(std::equal(answer.begin(), answer.end(), response.get()),
                   "the answer was copied wrongly");
        FUZZ_CHECK(untouched(response.get() + answer.size(), responseMax - answer.size()),
                   "the bridge wrote past the answer");
    }
};

class BridgeModel {
  public:
    BridgeModel(FuzzInput& in, ScriptedTransport& transport, RecordingSink& sink)
        : m_in(in), m_transport(transport), m_sink(sink) {}

    void step() {
        m_transport.calls.clear();
        m_sink.warnings.clear();
        switch (m_in.byte() % 8) {
            case 0:
            case 1:
                transmit();
                break;
            case 2:
                open();
                break;
            case 3:
                isConnected();
                break;
            case 4:
                close();
                break;
            case 5:
                start();
                break;
            case 6:
                stop();
                break;
            default:
                isStarted();
                break;
        }
    }

    void start() {
        const bool result = _COSUpdateSEMediaWrapper_start();
        FUZZ_CHECK(result == !m_started, "start() answered " + std::to_string(result));
        FUZZ_CHECK(m_transport.calls.empty(), "start() reached the transport");
        m_started = true;
    }

    void isStarted() {
        if (m_in.byte() % 8 == 0) {
            FUZZ_CHECK(!_COSUpdateSEMediaWrapper_isStarted(nullptr), "isStarted(null) succeeded");
            return;
        }
        bool started = !m_started;
        FUZZ_CHECK(_COSUpdateSEMediaWrapper_isStarted(&started), "isStarted() failed");
        FUZZ_CHECK(started == m_started, "the started flag differs from the model");
    }

    void open() {
        KernelCall call(m_in);
        const bool result = call.call(_COSUpdateSEMediaWrapper_openConnection);
        call.expectInputUnchanged();
        const std::string error = openError(call);
        expectOutcome("openConnection", result, error, call);
    }

    void transmit() {
        KernelCall call(m_in);
        const bool result = call.call(_COSUpdateSEMediaWrapper_transmitApdu);
        call.expectInputUnchanged();
        const std::string error = transmitError(call);
        expectOutcome("transmitApdu", result, error, call);
    }

    void isConnected() {
        if (m_in.byte() % 8 == 0) {
            FUZZ_CHECK(!_COSUpdateSEMediaWrapper_isConnected(nullptr), "isConnected(null)");
            FUZZ_CHECK(m_transport.calls.empty(), "isConnected(null) reached the transport");
            return;
        }
        bool connected = false;
        const bool result = _COSUpdateSEMediaWrapper_isConnected(&connected);
        const TransportCall& asked = m_transport.calls.at(0);
        FUZZ_CHECK(result == (asked.outcome == Outcome::Returned), "isConnected() result");
        FUZZ_CHECK(!result || connected == asked.value, "isConnected() passed on a wrong answer");
    }

    void close() {
        const bool result = _COSUpdateSEMediaWrapper_closeConnection();
        const auto& calls = m_transport.calls;
        const bool expected = calls.size() == 2 && calls[0].value &&
                              calls[1].operation == "closeConnection" &&
                              calls[1].outcome == Outcome::Returned;
        FUZZ_CHECK(result == expected, "closeConnection() result");
        FUZZ_CHECK(
            calls.size() == 2 || !(calls.at(0).outcome == Outcome::Returned && calls.at(0).value),
            "closeConnection() did not close a connected transport");
    }

    // A foreign exception from the transport goes back to the kernel here, and
    // only here; the flag stays set whenever the transport failed.
    void stop() {
        bool result = false;
        bool threwForeign = false;
        try {
            result = _COSUpdateSEMediaWrapper_stop();
        } catch (const std::runtime_error& e) {
            FUZZ_CHECK(std::string(e.what()) == kForeignFailure,
                       std::string("stop() let out ") + e.what());
            threwForeign = true;
        }
        const auto& calls = m_transport.calls;
        if (!m_started) {
            FUZZ_CHECK(!result && !threwForeign && calls.empty(), "stop() while stopped");
            return;
        }
        bool transportFailed = false;
        for (const auto& c : calls) {
            transportFailed = transportFailed || c.outcome != Outcome::Returned;
            if (c.outcome == Outcome::ThrewForeign) {
                FUZZ_CHECK(threwForeign, "stop() swallowed a foreign exception");
            }
        }
        const bool closes =
            !calls.empty() && calls[0].outcome == Outcome::Returned && calls[0].value;
        FUZZ_CHECK(calls.size() == (closes ? 2u : 1u) || transportFailed,
                   "stop() made " + std::to_string(calls.size()) + " transport call(s)");
        FUZZ_CHECK(result == !transportFailed, "stop() result");
        m_started = transportFailed;
    }

    // Brings the bridge back to where the iteration found it.
    void finish() {
        m_transport.quieten();
        m_transport.calls.clear();
        if (m_started) {
            FUZZ_CHECK(_COSUpdateSEMediaWrapper_stop(), "a quiet transport could not stop");
            m_started = false;
        }
        bool started = true;
        _COSUpdateSEMediaWrapper_isStarted(&started);
        FUZZ_CHECK(!started, "the bridge is left started");
    }

  private:
    // The error line a failed openConnection must log; "" for success, "-"
    // for a failure that logs nothing (the transport did not connect).
    std::string openError(const KernelCall& call) {
        const auto& calls = m_transport.calls;
        if (!m_started) {
            return expectNoTransport("SEMedia not started");
        }
        if (!call.argumentsValid(1)) {
            return expectNoTransport("One or more invalid parameter");
        }
        FUZZ_CHECK(m_transport.lastInput == call.inputCopy, "the transport got another AID");
        if (calls.at(0).outcome != Outcome::Returned) {
            return exceptionError(calls[0]);
        }
        const TransportCall& connected = calls.at(1);
        if (connected.outcome != Outcome::Returned) {
            return exceptionError(connected);
        }
        if (!connected.value) {
            return "-";
        }
        return answerError(call, "openConnection");
    }

    std::string transmitError(const KernelCall& call) {
        const auto& calls = m_transport.calls;
        if (!call.argumentsValid(4)) {
            return expectNoTransport("One or more invalid parameter(s)");
        }
        const TransportCall& connected = calls.at(0);
        if (connected.outcome != Outcome::Returned) {
            return exceptionError(connected);
        }
        if (!connected.value) {
            return "SEMedia is not connected";
        }
        FUZZ_CHECK(m_transport.lastInput == call.inputCopy, "the transport got another command");
        if (calls.at(1).outcome != Outcome::Returned) {
            return exceptionError(calls[1]);
        }
        return answerError(call, "transmitApdu");
    }

    std::string expectNoTransport(const char* error) {
        FUZZ_CHECK(m_transport.calls.empty(),
                   std::string("reached the transport despite: ") + error);
        return error;
    }

    static std::string exceptionError(const TransportCall& call) {
        return call.outcome == Outcome::ThrewOwn ? kOwnFailure : "";
    }

    std::string answerError(const KernelCall& call, const std::string& operation) {
        const size_t size = m_transport.lastAnswer.size();
        if (size < 2) {
            return "Invalid " + operation + "() response size";
        }
        if (size > call.responseMax) {
            return "Buffer too small to write " + operation + "() response";
        }
        return "=";
    }

    void expectOutcome(const std::string& operation, bool result, const std::string& error,
                       const KernelCall& call) {
        if (error == "=") {
            FUZZ_CHECK(result, operation + "() failed on a valid exchange");
            FUZZ_CHECK(m_sink.warnings.empty(), operation + "() warned: " + m_sink.warnings[0]);
            call.expectAnswer(m_transport.lastAnswer);
            return;
        }
        FUZZ_CHECK(!result, operation + "() succeeded, expected: " + error);
        call.expectUntouched(operation);
        if (error == "-") {
            FUZZ_CHECK(m_sink.warnings.empty(), operation + "() warned: " + m_sink.warnings[0]);
            return;
        }
        std::string line =
            "[COSUpdateLib] _COSUpdateSEMediaWrapper_" + operation + "() => error detected";
        if (!error.empty()) {
            line += " : " + error;
        }
        FUZZ_CHECK(m_sink.warnings == std::vector<std::string>{line},
                   operation + "() should log only: " + line);
    }

    FuzzInput& m_in;
    ScriptedTransport& m_transport;
    RecordingSink& m_sink;
    bool m_started = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput in(data, size);
    auto sink = std::make_shared<RecordingSink>();
    auto transport = std::make_shared<ScriptedTransport>(in);
    COSUpdateSEMediaWrapper_init(sink, transport);

    bool started = true;
    _COSUpdateSEMediaWrapper_isStarted(&started);
    FUZZ_CHECK(!started, "an earlier input left the bridge started");

    BridgeModel bridge(in, *transport, *sink);
    bridge.start();
    while (!in.exhausted()) {
        bridge.step();
    }
    bridge.finish();
    COSUpdateSEMediaWrapper_release();
    return 0;
}
