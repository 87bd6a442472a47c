// The length contract of the SE media bridge, as the kernel relies on it: the
// two callbacks that take buffers read no byte past aidLength/commandLength,
// write no byte past responseMax and, whenever they fail, leave the response
// buffer and *responseLength exactly as they were.
//
// Every buffer is allocated on the heap at exactly its declared length, so an
// AddressSanitizer build catches a single byte read or written past it; the
// sentinel comparisons catch the rest in any build.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "CapturingLog.h"
#include "FakeTransport.h"
#include "KernelDouble.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

namespace reliability {
namespace {

using namespace Zelmar::Device::COS::V1_0;
using kerneldouble::KernelDouble;
using testsupport::CapturingLog;
using testsupport::FakeTransport;

constexpr uint8_t kSentinel = 0xEE;
constexpr uint16_t kSentinelLength = 0xBEEF;
// A short APDU's longest answer (256 data bytes and the status word), and the
// capacity the kernel offers for every answer.
constexpr uint32_t kShortMax = 258;
constexpr uint32_t kKernelMax = 0xFFFF;

// Lengths the kernel may declare: the edges around the status word and the
// APDU header, and around both maxima.
const std::vector<uint16_t> kDeclaredLengths = [] {
    std::set<uint16_t> lengths{0, 1, 2, 3, 4, 0xFFFF};
    for (uint32_t max : {kShortMax, kKernelMax}) {
        for (uint32_t length : {max - 1, max, max + 1}) {
            if (length <= 0xFFFF) {
                lengths.insert(static_cast<uint16_t>(length));
            }
        }
    }
    return std::vector<uint16_t>(lengths.begin(), lengths.end());
}();

// Answer sizes the transport may come back with, up to one byte more than the
// kernel could ever take.
const std::vector<size_t> kAnswerSizes = {
    0, 1, 2, kShortMax - 1, kShortMax, kShortMax + 1, kKernelMax - 1, kKernelMax, kKernelMax + 1};

// Position-dependent and never the sentinel, so that a shifted, short or
// overlong copy shows. Cut from one table, and compared with memcmp: the
// sweep handles some 20,000 buffers of up to 64 KiB, also in Debug builds
// under AddressSanitizer.
const std::vector<uint8_t>& patternTable() {
    static const std::vector<uint8_t> table = [] {
        std::vector<uint8_t> bytes(kKernelMax + 1);
        for (size_t i = 0; i < bytes.size(); ++i) {
            const auto b = static_cast<uint8_t>(i * 7 + 1);
            bytes[i] = b == kSentinel ? 0x5A : b;
        }
        return bytes;
    }();
    return table;
}

std::vector<uint8_t> pattern(size_t size) {
    return std::vector<uint8_t>(patternTable().begin(), patternTable().begin() + size);
}

bool holdsPattern(const uint8_t* bytes, size_t size) {
    return size == 0 || std::memcmp(bytes, patternTable().data(), size) == 0;
}

bool holdsSentinel(const uint8_t* bytes, size_t size) {
    static const std::vector<uint8_t> sentinels(kKernelMax + 1, kSentinel);
    return size == 0 || std::memcmp(bytes, sentinels.data(), size) == 0;
}

// A heap buffer of exactly `size` bytes, or no buffer at all (a null pointer).
class ExactBuffer {
  public:
    ExactBuffer(bool present, size_t size, uint8_t fill) : m_size(size) {
        if (present) {
            m_bytes.reset(new uint8_t[size]);
            std::memset(m_bytes.get(), fill, size);
        }
    }
    uint8_t* data() { return m_bytes.get(); }
    bool holdsSentinel() const {
        return !m_bytes || reliability::holdsSentinel(m_bytes.get(), m_size);
    }

  private:
    size_t m_size;
    std::unique_ptr<uint8_t[]> m_bytes;
};

// One call of a buffer-taking callback.
struct Case {
    bool inputPresent;
    bool responsePresent;
    bool lengthPresent;
    uint16_t inputLength;
    uint16_t responseMax;
    size_t answerSize;

    std::string describe() const {
        char text[160];
        std::snprintf(
            text, sizeof(text), "input %s/%u, response %s/%u, responseLength %s, answer %zu bytes",
            inputPresent ? "buffer" : "null", inputLength, responsePresent ? "buffer" : "null",
            responseMax, lengthPresent ? "valid" : "null", answerSize);
        return text;
    }
};

// What the bridge must do with one case: the error it logs, or none.
struct Expected {
    std::string error;  // empty: the call succeeds
    bool reachesTransport;
};

using Callback = bool (*)(uint8_t*, uint16_t, uint8_t*, uint16_t, uint16_t*);

class LengthContract : public ::testing::Test {
  protected:
    void SetUp() override {
        KernelDouble::reset();
        COSUpdateSEMediaWrapper_init(log, transport);
    }
    void TearDown() override { COSUpdateSEMediaWrapper_release(); }

    // Runs `c` through `callback` and returns what broke the contract, if anything.
    std::string check(Callback callback, const char* name, const Case& c,
                      const Expected& expected) {
        ExactBuffer inputBuffer(c.inputPresent, c.inputLength, 0);
        if (c.inputPresent && c.inputLength > 0) {
            std::memcpy(inputBuffer.data(), patternTable().data(), c.inputLength);
        }
        ExactBuffer response(c.responsePresent, c.responseMax, kSentinel);
        std::unique_ptr<uint16_t> responseLength(c.lengthPresent ? new uint16_t(kSentinelLength)
                                                                 : nullptr);
        const bool opens = std::string(name) == "openConnection";
        (opens ? transport->openAnswer : transport->apduAnswer) = pattern(c.answerSize);
        transport->connected = true;
        transport->calls.clear();
        transport->lastAid.clear();
        transport->lastCommand.clear();
        log->lines.clear();

        const bool result = callback(inputBuffer.data(), c.inputLength, response.data(),
                                     c.responseMax, responseLength.get());

        if (c.inputPresent && !holdsPattern(inputBuffer.data(), c.inputLength)) {
            return "wrote into the input buffer";
        }
        const std::vector<uint8_t>& sent = opens ? transport->lastAid : transport->lastCommand;
        if (expected.reachesTransport != !transport->calls.empty()) {
            return expected.reachesTransport ? "never reached the transport"
                                             : "reached the transport";
        }
        if (expected.reachesTransport && sent != pattern(c.inputLength)) {
            return "handed the transport " + std::to_string(sent.size()) + " bytes, not " +
                   std::to_string(c.inputLength);
        }
        const std::vector<std::string> warnings = log->texts(COSUPDATE_LOG_WARNING);
        if (!expected.error.empty()) {
            const std::string line = std::string("[COSUpdateLib] _COSUpdateSEMediaWrapper_") +
                                     name + "() => error detected : " + expected.error;
            if (result) {
                return "succeeded, expected: " + expected.error;
            }
            if (warnings != std::vector<std::string>{line}) {
                return "logged " + (warnings.empty() ? std::string("no warning") : warnings[0]) +
                       " instead of: " + line;
            }
            if (!response.holdsSentinel()) {
                return "failed but wrote into the response buffer";
            }
            if (responseLength && *responseLength != kSentinelLength) {
                return "failed but set *responseLength";
            }
            return "";
        }
        if (!result) {
            return "failed, logging " + (warnings.empty() ? std::string("nothing") : warnings[0]);
        }
        if (!warnings.empty()) {
            return "succeeded but warned: " + warnings[0];
        }
        if (*responseLength != c.answerSize) {
            return "set *responseLength to " + std::to_string(*responseLength);
        }
        if (!holdsPattern(response.data(), c.answerSize)) {
            return "copied the answer wrongly";
        }
        if (!holdsSentinel(response.data() + c.answerSize, c.responseMax - c.answerSize)) {
            return "wrote past the answer";
        }
        return "";
    }

    // Every combination of pointers, lengths and answer sizes; the failures
    // found, one line each.
    std::vector<std::string> sweep(Callback callback, const char* name, const char* phase,
                                   Expected (*rule)(const Case&)) {
        std::vector<std::string> failures;
        size_t combinations = 0;
        for (int pointers = 0; pointers < 8; ++pointers) {
            for (uint16_t inputLength : kDeclaredLengths) {
                for (uint16_t responseMax : kDeclaredLengths) {
                    for (size_t answerSize : kAnswerSizes) {
                        const Case c{(pointers & 1) != 0, (pointers & 2) != 0, (pointers & 4) != 0,
                                     inputLength,         responseMax,         answerSize};
                        const std::string failure = check(callback, name, c, rule(c));
                        if (!failure.empty()) {
                            failures.push_back(c.describe() + ": " + failure);
                        }
                        ++combinations;
                    }
                }
            }
        }
        std::printf("[length contract] %s, %s: %zu combinations, %zu violations\n", name, phase,
                    combinations, failures.size());
        return failures;
    }

    std::shared_ptr<CapturingLog> log = std::make_shared<CapturingLog>();
    std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>();
};

// The answer checks both callbacks make once the transport has answered.
Expected answerRule(const Case& c, const std::string& operation) {
    if (c.answerSize < 2) {
        return {"Invalid " + operation + "() response size", true};
    }
    if (c.answerSize > c.responseMax) {
        return {"Buffer too small to write " + operation + "() response", true};
    }
    return {"", true};
}

bool argumentsValid(const Case& c, uint16_t minimumInput) {
    return c.inputPresent && c.inputLength >= minimumInput && c.responsePresent &&
           c.responseMax >= 2 && c.lengthPresent;
}

void expectNone(const std::vector<std::string>& failures) {
    EXPECT_TRUE(failures.empty()) << failures.size() << " violations, first: " << failures.front();
}

Expected transmitRule(const Case& c) {
    if (!argumentsValid(c, 4)) {  // CLA INS P1 P2 at least
        return {"One or more invalid parameter(s)", false};
    }
    return answerRule(c, "transmitApdu");
}

// Before the kernel started the SE media, every call is refused first.
Expected openBeforeStartRule(const Case&) {
    return {"SEMedia not started", false};
}

Expected openRule(const Case& c) {
    if (!argumentsValid(c, 1)) {
        return {"One or more invalid parameter", false};
    }
    return answerRule(c, "openConnection");
}

TEST_F(LengthContract, TransmitApdu) {
    expectNone(
        sweep(_COSUpdateSEMediaWrapper_transmitApdu, "transmitApdu", "connected", transmitRule));
}

TEST_F(LengthContract, OpenConnection) {
    expectNone(sweep(_COSUpdateSEMediaWrapper_openConnection, "openConnection", "not started",
                     openBeforeStartRule));
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    expectNone(
        sweep(_COSUpdateSEMediaWrapper_openConnection, "openConnection", "started", openRule));
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_stop());
}

}  // namespace
}  // namespace reliability
