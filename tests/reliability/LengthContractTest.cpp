// The length contract of the SE media bridge, over every combination of null
// or valid pointers, declared lengths and answer sizes: the two callbacks that
// take buffers read no byte past aidLength/commandLength, write none past
// responseMax and, whenever they fail, leave the response buffer and
// *responseLength as they were, logging one exact line. Buffers are heap
// allocations of exactly their declared length: AddressSanitizer catches a
// byte past one, the sentinel comparisons catch the rest in any build.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "CapturingLog.h"
#include "FakeTransport.h"
#include "KernelDouble.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

namespace reliability {
namespace {

using namespace Zelmar::Device::COS::V1_0;

constexpr uint16_t kSentinelLength = 0xBEEF;
// The edges of the status word and the APDU header, and around a short APDU's
// longest answer (258 bytes) and the kernel's answer buffer (65535 bytes).
constexpr uint16_t kLengths[] = {0, 1, 2, 3, 4, 257, 258, 259, 0xFFFE, 0xFFFF};
constexpr size_t kAnswerSizes[] = {0, 1, 2, 257, 258, 259, 0xFFFE, 0xFFFF, 0x10000};

// Position-dependent and never the sentinel 0xEE, so that a shifted, short or
// overlong copy shows. Compared with memcmp: the sweeps handle some 20,000
// buffers of up to 64 KiB, also in Debug builds under AddressSanitizer.
const std::vector<uint8_t> kPattern = [] {
    std::vector<uint8_t> bytes(0x10000);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(i % 0xED);
    }
    return bytes;
}();
const std::vector<uint8_t> kSentinels(0x10000, 0xEE);

bool holds(const uint8_t* bytes, const std::vector<uint8_t>& expected, size_t size) {
    return size == 0 || std::memcmp(bytes, expected.data(), size) == 0;
}

using Callback = bool (*)(uint8_t*, uint16_t, uint8_t*, uint16_t, uint16_t*);

class LengthContract : public ::testing::Test {
  protected:
    void SetUp() override {
        kerneldouble::KernelDouble::reset();
        COSUpdateSEMediaWrapper_init(log, transport);
    }
    void TearDown() override { COSUpdateSEMediaWrapper_release(); }

    // What one combination broke, or "". `pointers` says which of input,
    // response and responseLength are valid (bits 0-2, else null).
    std::string check(Callback callback, const std::string& name, bool started, unsigned pointers,
                      uint16_t inputLength, uint16_t responseMax, size_t answerSize) {
        const bool opens = name == "openConnection";
        // Refused before the transport is asked; the warning the case must log,
        // "" when it succeeds.
        const bool refused = (opens && !started) || pointers != 7 ||
                             inputLength < (opens ? 1 : 4) || responseMax < 2;
        const std::string error =
            opens && !started ? "SEMedia not started"
            : refused
                ? (opens ? "One or more invalid parameter" : "One or more invalid parameter(s)")
            : answerSize < 2           ? "Invalid " + name + "() response size"
            : answerSize > responseMax ? "Buffer too small to write " + name + "() response"
                                       : "";

        std::unique_ptr<uint8_t[]> input(pointers & 1 ? new uint8_t[inputLength] : nullptr);
        std::unique_ptr<uint8_t[]> response(pointers & 2 ? new uint8_t[responseMax] : nullptr);
        uint16_t length = kSentinelLength;
        std::copy_n(kPattern.begin(), input ? inputLength : 0, input.get());
        std::copy_n(kSentinels.begin(), response ? responseMax : 0, response.get());
        (opens ? transport->openAnswer : transport->apduAnswer)
            .assign(kPattern.begin(), kPattern.begin() + static_cast<ptrdiff_t>(answerSize));
        transport->connected = true;
        transport->calls.clear();
        transport->lastAid.clear();
        transport->lastCommand.clear();
        log->lines.clear();

        const bool ok = callback(input.get(), inputLength, response.get(), responseMax,
                                 pointers & 4 ? &length : nullptr);

        const std::vector<uint8_t>& sent = opens ? transport->lastAid : transport->lastCommand;
        const auto warnings = log->texts(COSUPDATE_LOG_WARNING);
        const size_t written = ok ? answerSize : 0;
        if (ok != error.empty()) {
            return ok ? "succeeded, expected: " + error : "failed";
        }
        if (warnings != (ok ? std::vector<std::string>{}
                            : std::vector<std::string>{"[COSUpdateLib] _COSUpdateSEMediaWrapper_" +
                                                       name + "() => error detected : " + error})) {
            return "logged " + (warnings.empty() ? "nothing" : warnings[0]);
        }
        if (refused != transport->calls.empty()) {
            return refused ? "asked the transport" : "never asked the transport";
        }
        if (!refused &&
            (sent.size() != inputLength || !holds(sent.data(), kPattern, sent.size()))) {
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
        size_t combinations = 0, violations = 0;
        std::string first;
        for (size_t answerSize : kAnswerSizes) {
            for (uint16_t responseMax : kLengths) {
                for (uint16_t inputLength : kLengths) {
                    for (unsigned pointers = 0; pointers < 8; ++pointers, ++combinations) {
                        const std::string failure = check(callback, name, started, pointers,
                                                          inputLength, responseMax, answerSize);
                        if (!failure.empty() && violations++ == 0) {
                            first = ::testing::PrintToString(std::make_tuple(
                                        pointers, inputLength, responseMax, answerSize)) +
                                    ": " + failure;
                        }
                    }
                }
            }
        }
        std::printf("[length contract] %s, %s: %zu combinations, %zu violations\n", name.c_str(),
                    started ? "started" : "not started", combinations, violations);
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
