// The length contract of the SE media bridge, over every combination of null
// or valid pointers, declared lengths and answer sizes: the two callbacks that
// take buffers read no byte past aidLength/commandLength, write none past
// responseMax and, whenever they fail, leave the response buffer and
// *responseLength as they were, logging one exact line. Buffers are heap
// allocations of exactly their declared length: AddressSanitizer catches a
// byte past one, the sentinel comparisons catch the rest in any build.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "CapturingLog.h"
#include "FakeTransport.h"
#include "KernelDouble.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

namespace reliability {
namespace {

using namespace Zelmar::Device::COS::V1_0;

constexpr uint8_t kSentinel = 0xEE;
constexpr uint16_t kSentinelLength = 0xBEEF;
// The edges of the status word and the APDU header, and around a short APDU's
// longest answer (258 bytes) and the kernel's answer buffer (65535 bytes).
constexpr uint16_t kLengths[] = {0, 1, 2, 3, 4, 257, 258, 259, 0xFFFE, 0xFFFF};
constexpr size_t kAnswerSizes[] = {0, 1, 2, 257, 258, 259, 0xFFFE, 0xFFFF, 0x10000};

// Position-dependent and never the sentinel, so that a shifted, short or
// overlong copy shows. Compared with memcmp: the sweeps handle some 20,000
// buffers of up to 64 KiB, also in Debug builds under AddressSanitizer.
const std::vector<uint8_t> kPattern = [] {
    std::vector<uint8_t> bytes(0x10000);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(i % 0xED);
    }
    return bytes;
}();
const std::vector<uint8_t> kSentinels(0x10000, kSentinel);

bool holds(const uint8_t* bytes, const std::vector<uint8_t>& expected, size_t size) {
    return size == 0 || std::memcmp(bytes, expected.data(), size) == 0;
}

constexpr size_t kL = std::size(kLengths);
constexpr size_t kCombinations = 8 * kL * kL * std::size(kAnswerSizes);
// Which of input, response and responseLength are valid (bits 0-2, else
// null), the input length, responseMax and the transport's answer size.
using Case = std::tuple<unsigned, uint16_t, uint16_t, size_t>;

// The warning a case must log ("" when it succeeds), and whether the bridge
// may ask the transport.
std::pair<std::string, bool> expected(const std::string& name, bool started, const Case& c) {
    const auto [pointers, inputLength, responseMax, answerSize] = c;
    const bool opens = name == "openConnection";
    if (opens && !started) {
        return {"SEMedia not started", false};
    }
    if (pointers != 7 || inputLength < (opens ? 1 : 4) || responseMax < 2) {
        return {opens ? "One or more invalid parameter" : "One or more invalid parameter(s)",
                false};
    }
    if (answerSize < 2) {
        return {"Invalid " + name + "() response size", true};
    }
    if (answerSize > responseMax) {
        return {"Buffer too small to write " + name + "() response", true};
    }
    return {"", true};
}

using Callback = bool (*)(uint8_t*, uint16_t, uint8_t*, uint16_t, uint16_t*);

class LengthContract : public ::testing::Test {
  protected:
    void SetUp() override {
        kerneldouble::KernelDouble::reset();
        COSUpdateSEMediaWrapper_init(log, transport);
    }
    void TearDown() override { COSUpdateSEMediaWrapper_release(); }

    // What `c` broke, or "".
    std::string check(Callback callback, const std::string& name, bool started, const Case& c) {
        const auto [pointers, inputLength, responseMax, answerSize] = c;
        std::unique_ptr<uint8_t[]> input(pointers & 1 ? new uint8_t[inputLength] : nullptr);
        std::unique_ptr<uint8_t[]> response(pointers & 2 ? new uint8_t[responseMax] : nullptr);
        uint16_t length = kSentinelLength;
        std::copy_n(kPattern.begin(), input ? inputLength : 0, input.get());
        std::fill_n(response.get(), response ? responseMax : 0, kSentinel);
        const bool opens = name == "openConnection";
        (opens ? transport->openAnswer : transport->apduAnswer)
            .assign(kPattern.begin(), kPattern.begin() + answerSize);
        transport->connected = true;
        transport->calls.clear();
        transport->lastAid.clear();
        transport->lastCommand.clear();
        log->lines.clear();

        const bool ok = callback(input.get(), inputLength, response.get(), responseMax,
                                 pointers & 4 ? &length : nullptr);

        const auto [error, asks] = expected(name, started, c);
        const std::vector<uint8_t>& sent = opens ? transport->lastAid : transport->lastCommand;
        const std::vector<std::string> warnings = log->texts(COSUPDATE_LOG_WARNING);
        const std::string line =
            "[COSUpdateLib] _COSUpdateSEMediaWrapper_" + name + "() => error detected : " + error;
        const size_t written = ok ? answerSize : 0;
        if (ok != error.empty()) {
            return ok ? "succeeded, expected: " + error : "failed";
        }
        if (warnings != (ok ? std::vector<std::string>{} : std::vector<std::string>{line})) {
            return "logged " + (warnings.empty() ? "nothing" : warnings[0]);
        }
        if (asks == transport->calls.empty()) {
            return asks ? "never asked the transport" : "asked the transport";
        }
        if (asks && (sent.size() != inputLength || !holds(sent.data(), kPattern, sent.size()))) {
            return "handed the transport " + std::to_string(sent.size()) + " bytes";
        }
        if (length != (ok ? answerSize : kSentinelLength)) {
            return "set *responseLength to " + std::to_string(length);
        }
        if (ok && !holds(response.get(), kPattern, answerSize)) {
            return "copied the answer wrongly";
        }
        if (response && !holds(response.get() + written, kSentinels, responseMax - written)) {
            return ok ? "wrote past the answer" : "failed but wrote into the response buffer";
        }
        return "";
    }

    void sweep(Callback callback, const std::string& name, bool started) {
        size_t violations = 0;
        std::string first;
        for (size_t i = 0; i < kCombinations; ++i) {
            const size_t row = i / 8;
            const Case c{static_cast<unsigned>(i % 8), kLengths[row % kL], kLengths[row / kL % kL],
                         kAnswerSizes[row / kL / kL]};
            const std::string failure = check(callback, name, started, c);
            if (!failure.empty() && violations++ == 0) {
                first = ::testing::PrintToString(c) + ": " + failure;
            }
        }
        std::printf("[length contract] %s, %s: %zu combinations, %zu violations\n", name.c_str(),
                    started ? "started" : "not started", kCombinations, violations);
        EXPECT_EQ(violations, 0u) << "first (pointers, input, responseMax, answer): " << first;
    }

    std::shared_ptr<testsupport::CapturingLog> log = std::make_shared<testsupport::CapturingLog>();
    std::shared_ptr<testsupport::FakeTransport> transport =
        std::make_shared<testsupport::FakeTransport>();
};

TEST_F(LengthContract, TransmitApdu) {
    sweep(_COSUpdateSEMediaWrapper_transmitApdu, "transmitApdu", false);
}

TEST_F(LengthContract, OpenConnectionBeforeAndAfterStart) {
    sweep(_COSUpdateSEMediaWrapper_openConnection, "openConnection", false);
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    sweep(_COSUpdateSEMediaWrapper_openConnection, "openConnection", true);
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_stop());
}

}  // namespace
}  // namespace reliability
