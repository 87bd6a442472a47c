// A session through a transport, step by step, in words: a scripted
// transport to record, the steps a session takes, and a fixture holding the
// trace file of the test.

#ifndef COSUPDATE_TESTS_TRACE_SESSION_H
#define COSUPDATE_TESTS_TRACE_SESSION_H

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "cosupdate/trace/RecordingSEMedia.h"

namespace cosupdate::trace::session {

using Bytes = std::vector<uint8_t>;

// Answers each exchange with the command's first byte and 90 00; bools
// alternate. The call numbered in `throws` (from 1) runs that instead, after
// writing 6F into the response.
class ScriptedMedia : public api::COSUpdateSEMediaInterface {
  public:
    void initialize() override { enter(); }
    bool isInitialized() override { return enter() % 2 == 1; }
    void openConnection(const Bytes& aid, Bytes& response) override { answer(aid, response); }
    bool isConnected() override { return enter() % 2 == 1; }
    void transmitApdu(const Bytes& command, Bytes& response) override { answer(command, response); }
    void closeConnection() override { enter(); }

    std::map<size_t, std::function<void()>> throws;
    std::chrono::milliseconds delay{0};

  private:
    size_t enter(Bytes* response = nullptr) {
        std::this_thread::sleep_for(delay);
        const auto thrower = throws.find(++m_calls);
        if (thrower != throws.end()) {
            if (response != nullptr) {
                response->push_back(0x6F);
            }
            thrower->second();
        }
        return m_calls;
    }
    void answer(const Bytes& in, Bytes& response) {
        enter(&response);
        response = {in.empty() ? uint8_t{0} : in.front(), 0x90, 0x00};
    }
    size_t m_calls = 0;
};

// One step of a session and what came of it, in words.
using Step = std::function<std::string(api::COSUpdateSEMediaInterface&)>;

// What `call` returned, or what it threw: "COSUpdateException: <what>",
// "std::exception: <what>" or "foreign".
std::string outcome(const std::function<std::string()>& call);
// Upper case, two digits a byte.
std::string hex(const Bytes& bytes);

Step transmit(Bytes command);
Step open(Bytes aid);
extern const Step kInitialize;
extern const Step kIsInitialized;
extern const Step kIsConnected;
extern const Step kClose;

inline const Bytes kLoader{0xF0, 0x5A, 0x4C, 0x4D, 0x00, 0x10};
inline const Bytes kLoad{0x80, 0x52, 0x00, 0x00, 0x05, 0x01, 0x02, 0x03, 0x04, 0x05};
inline const Bytes kCommit{0x80, 0x54, 0x00, 0x00};

// The outcome of the last step, without the bytes an exchange answered.
std::string thrown(const std::vector<std::string>& outcomes);
std::vector<std::string> run(api::COSUpdateSEMediaInterface& media, const std::vector<Step>& steps);

class RecordReplay : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_trace = (std::filesystem::temp_directory_path() /
                   (std::string("cosupdate-trace-") + test->name() + ".trace"))
                      .string();
    }
    void TearDown() override { std::filesystem::remove(m_trace); }

    // Runs `steps` through a recorder over `inner` into m_trace.
    std::vector<std::string> record(std::shared_ptr<ScriptedMedia> inner,
                                    const std::vector<Step>& steps) {
        RecordingSEMedia recorder(std::move(inner), m_trace, "record-replay test");
        std::vector<std::string> outcomes = run(recorder, steps);
        EXPECT_FALSE(recorder.writeError()) << *recorder.writeError();
        EXPECT_EQ(recorder.calls(), steps.size());
        return outcomes;
    }

    std::string traceText() const {
        std::ifstream file(m_trace, std::ios::binary);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }
    void writeTrace(const std::string& text) const {
        std::ofstream(m_trace, std::ios::binary | std::ios::trunc) << text;
    }

    std::string m_trace;
};

}  // namespace cosupdate::trace::session

#endif  // COSUPDATE_TESTS_TRACE_SESSION_H
