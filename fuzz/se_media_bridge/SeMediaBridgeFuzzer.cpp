// The SE media bridge driven as the kernel drives it, the transport's answers
// and exceptions from the input; checks safety, not behaviour (pinned by
// LengthContractTest and SEMediaWrapperTest). See docs/reliability.md.

#include <memory>
#include <numeric>
#include <stdexcept>

#include "FuzzSupport.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

namespace {

using namespace Zelmar::Device::COS::V1_0;
using fuzzing::FuzzInput;

constexpr uint8_t kSentinel = 0xEE;
constexpr uint16_t kSentinelLength = 0xBEEF;
// Edges of the status word, APDU header, short APDU answer and 16-bit range.
constexpr uint16_t kLengths[] = {0, 1, 2, 3, 4, 5, 8, 16, 257, 258, 259, 261, 0xFFFE, 0xFFFF};
constexpr size_t kAnswerSizes[] = {0, 1, 2, 3, 4, 257, 258, 259, 0xFFFF, 0x10000};

template <typename T, size_t N>
T pick(FuzzInput& in, const T (&table)[N]) {
    const uint8_t selector = in.byte();
    return selector < 0xF0 ? table[selector % N] : in.u16();
}

// Each call reads a decision % 16: 1 throws the library's exception, 2 a
// foreign one, 3 has isConnected() lie, 4 has openConnection() not connect.
class ScriptedTransport : public COSUpdateSEMediaInterface {
  public:
    explicit ScriptedTransport(FuzzInput& in) : m_in(in) {}
    void initialize() override {}
    bool isInitialized() override { return true; }
    void openConnection(const std::vector<uint8_t>&, std::vector<uint8_t>& response) override {
        m_connected = decide() % 16 != 4;
        response = answer();
    }
    bool isConnected() override { return decide() % 16 == 3 ? !m_connected : m_connected; }
    void transmitApdu(const std::vector<uint8_t>&, std::vector<uint8_t>& response) override {
        decide();
        response = answer();
    }
    void closeConnection() override {
        decide();
        m_connected = false;
    }
    std::vector<uint8_t> answered;

  private:
    uint8_t decide() {
        const uint8_t decision = m_in.byte();
        if (decision % 16 == 1) {
            throw COSUpdateException("scripted transport failure");
        }
        if (decision % 16 == 2) {
            throw std::runtime_error("scripted foreign failure");
        }
        return decision;
    }
    // Counting up from a seed: a shifted, cut or overlong copy shows.
    std::vector<uint8_t> answer() {
        answered.resize(pick(m_in, kAnswerSizes));
        std::iota(answered.begin(), answered.end(), m_in.byte());
        return answered;
    }
    FuzzInput& m_in;
    bool m_connected = false;
};

using Callback = bool (*)(uint8_t*, uint16_t, uint8_t*, uint16_t, uint16_t*);

// A buffer-taking call: each buffer exactly as long as declared, or null.
void exchange(FuzzInput& in, std::vector<uint8_t>& answer, Callback callback) {
    const uint8_t nulls = in.byte();
    std::vector<uint8_t> input(pick(in, kLengths)), response(pick(in, kLengths), kSentinel);
    uint16_t responseLength = kSentinelLength;
    for (size_t i = 0; (nulls & 0x03) != 0x03 && i < std::min<size_t>(input.size(), 64); ++i) {
        input[i] = in.byte();
    }
    answer.clear();
    const bool ok = callback((nulls & 0x03) == 0x03 ? nullptr : input.data(), input.size(),
                             (nulls & 0x0C) == 0x0C ? nullptr : response.data(), response.size(),
                             (nulls & 0x30) == 0x30 ? nullptr : &responseLength);
    const size_t written = ok ? answer.size() : 0;
    FUZZ_CHECK(!ok || (written <= response.size() && responseLength == written &&
                       std::equal(answer.begin(), answer.end(), response.begin())),
               "succeeded without the transport's whole answer within responseMax");
    FUZZ_CHECK(ok || responseLength == kSentinelLength, "failed but set *responseLength");
    FUZZ_CHECK(std::all_of(response.begin() + written, response.end(),
                           [](uint8_t b) { return b == kSentinel; }),
               ok ? "wrote past the answer" : "failed but wrote into the response buffer");
}

// Only stop() may let a foreign exception out.
bool stop() {
    try {
        return _COSUpdateSEMediaWrapper_stop();
    } catch (const std::runtime_error&) {
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput in(data, size);
    auto transport = std::make_shared<ScriptedTransport>(in);
    COSUpdateSEMediaWrapper_init(nullptr, transport);
    _COSUpdateSEMediaWrapper_start();
    bool flag = false;
    while (!in.exhausted()) {
        const uint8_t step = in.byte() % 8;
        if (step <= 2) {
            exchange(in, transport->answered,
                     step == 2 ? _COSUpdateSEMediaWrapper_openConnection
                               : _COSUpdateSEMediaWrapper_transmitApdu);
        } else if (step == 3 || step == 7) {
            (step == 3 ? _COSUpdateSEMediaWrapper_isConnected
                       : _COSUpdateSEMediaWrapper_isStarted)(in.byte() % 8 == 0 ? nullptr : &flag);
        } else {
            constexpr bool (*kCalls[])() = {_COSUpdateSEMediaWrapper_closeConnection,
                                            _COSUpdateSEMediaWrapper_start, stop};
            kCalls[step - 4]();
        }
    }
    stop();  // the input is used up: the transport behaves
    FUZZ_CHECK(_COSUpdateSEMediaWrapper_isStarted(&flag) && !flag, "the bridge is left started");
    COSUpdateSEMediaWrapper_release();
    return 0;
}
