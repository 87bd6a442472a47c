// The record transport and the replay transport together: a session recorded
// over a scripted transport comes back the same from the trace; where a run
// leaves its trace (another call, other bytes, past the end, a damaged or
// missing line) is reported at that call in exact words; a trace that cannot
// be written never changes a call.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "cosupdate/trace/RecordingSEMedia.h"
#include "cosupdate/trace/ReplaySEMedia.h"

namespace cosupdate::trace {
namespace {

using Bytes = std::vector<uint8_t>;

// An exception of the transport's own type, to see it rethrown as itself.
struct TransportFault : std::logic_error {
    TransportFault() : std::logic_error("reader unplugged") {}
};

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

std::string hex(const Bytes& bytes) {
    std::string text;
    char digits[3];
    for (const uint8_t byte : bytes) {
        std::snprintf(digits, sizeof digits, "%02X", byte);
        text += digits;
    }
    return text;
}

std::string outcome(const std::function<std::string()>& call) {
    try {
        return call();
    } catch (const api::COSUpdateException& e) {
        return std::string("COSUpdateException: ") + e.what();
    } catch (const std::exception& e) {
        return std::string("std::exception: ") + e.what();
    } catch (const ReplayedForeignException&) {
        return "foreign";
    } catch (...) {
        return "foreign";
    }
}

using Exchange = void (api::COSUpdateSEMediaInterface::*)(const Bytes&, Bytes&);

// An exchange and what it answered: "answered 809000".
Step exchange(Exchange call, Bytes bytes, const char* done) {
    return [=](api::COSUpdateSEMediaInterface& media) {
        Bytes response;
        const std::string result = outcome([&] {
            (media.*call)(bytes, response);
            return std::string(done);
        });
        return result + " " + hex(response);
    };
}

Step transmit(Bytes command) {
    return exchange(&api::COSUpdateSEMediaInterface::transmitApdu, std::move(command), "answered");
}

Step open(Bytes aid) {
    return exchange(&api::COSUpdateSEMediaInterface::openConnection, std::move(aid), "opened");
}

const Step kInitialize = [](api::COSUpdateSEMediaInterface& media) {
    return outcome([&] {
        media.initialize();
        return std::string("initialized");
    });
};
const Step kIsInitialized = [](api::COSUpdateSEMediaInterface& media) {
    return outcome([&] { return std::string(media.isInitialized() ? "true" : "false"); });
};
const Step kIsConnected = [](api::COSUpdateSEMediaInterface& media) {
    return outcome([&] { return std::string(media.isConnected() ? "true" : "false"); });
};
const Step kClose = [](api::COSUpdateSEMediaInterface& media) {
    return outcome([&] {
        media.closeConnection();
        return std::string("closed");
    });
};

const Bytes kLoader{0xF0, 0x5A, 0x4C, 0x4D, 0x00, 0x10};
const Bytes kLoad{0x80, 0x52, 0x00, 0x00, 0x05, 0x01, 0x02, 0x03, 0x04, 0x05};
const Bytes kCommit{0x80, 0x54, 0x00, 0x00};

// The outcome of the last step, without the bytes an exchange answered.
std::string thrown(const std::vector<std::string>& outcomes) {
    const std::string& last = outcomes.back();
    return last.back() == ' ' ? last.substr(0, last.size() - 1) : last;
}

std::vector<std::string> run(api::COSUpdateSEMediaInterface& media,
                             const std::vector<Step>& steps) {
    std::vector<std::string> outcomes;
    for (const Step& step : steps) {
        outcomes.push_back(step(media));
    }
    return outcomes;
}

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

TEST_F(RecordReplay, ReplayAnswersEveryCallAsTheRecordedRunGotIt) {
    auto inner = std::make_shared<ScriptedMedia>();
    inner->throws[5] = [] { throw api::COSUpdateException("PC/SC: card removed"); };
    inner->throws[6] = [] { throw std::runtime_error("state file: disk full"); };
    inner->throws[7] = [] { throw 42; };
    const std::vector<Step> steps{
        kIsInitialized,  kInitialize,       open(kLoader),     kIsConnected, transmit(kLoad),
        transmit(kLoad), transmit(kCommit), transmit(kCommit), kIsConnected, kClose};
    const std::vector<std::string> recorded = record(inner, steps);
    ASSERT_EQ(recorded,
              (std::vector<std::string>{"true", "initialized", "opened F09000", "false",
                                        "COSUpdateException: PC/SC: card removed 6F",
                                        "std::exception: state file: disk full 6F", "foreign 6F",
                                        "answered 809000", "true", "closed"}));

    for (int replays = 0; replays < 3; ++replays) {
        ReplaySEMedia replay(m_trace);
        EXPECT_EQ(replay.recorder(), "record-replay test");
        EXPECT_EQ(replay.exchangesLeft(), 2u);  // the SELECT and the last COMMIT answered
        EXPECT_EQ(run(replay, steps), recorded);
        EXPECT_EQ(replay.callsLeft(), 0u);
        EXPECT_EQ(replay.mismatch(), std::nullopt);
    }
}

TEST_F(RecordReplay, RecorderRethrowsTheInnerExceptionItself) {
    auto inner = std::make_shared<ScriptedMedia>();
    inner->throws[1] = [] { throw TransportFault(); };
    RecordingSEMedia recorder(inner, m_trace, "test");
    Bytes response;
    EXPECT_THROW(recorder.transmitApdu(kCommit, response), TransportFault);
}

TEST_F(RecordReplay, TextsComeBackByteForByteAndTheTraceIsAscii) {
    const std::string text = "quote \" backslash \\ newline\n tab\t \xC3\xA9 \xFF \x01 end";
    auto inner = std::make_shared<ScriptedMedia>();
    inner->throws[1] = [text] { throw api::COSUpdateException(text); };
    const std::vector<Step> steps{transmit(kCommit)};
    record(inner, steps);

    for (const char c : traceText()) {
        ASSERT_TRUE(c == '\n' || (c >= 0x20 && c <= 0x7E)) << "byte " << int(c);
    }
    ReplaySEMedia replay(m_trace);
    EXPECT_EQ(run(replay, steps), std::vector<std::string>{"COSUpdateException: " + text + " 6F"});
}

// After the first call, the replay is handed `steps`; the recorded session
// was SELECT loader, LOAD, COMMIT.
struct Divergence {
    const char* name;
    std::vector<Step> steps;
    std::string text;
};

TEST_F(RecordReplay, TheFirstDifferenceIsReportedAtItsCallAndStays) {
    record(std::make_shared<ScriptedMedia>(), {open(kLoader), transmit(kLoad), transmit(kCommit)});
    const std::vector<Divergence> cases{
        {"another call",
         {kClose},
         "replay: call 2: the library called closeConnection, the trace holds transmitApdu "
         "80520000050102030405"},
        {"another byte",
         {transmit({0x80, 0x52, 0x00, 0x00, 0x05, 0x01, 0x02, 0xFF, 0x04, 0x05})},
         "replay: call 2: transmitApdu differs at byte 7: the library sent 80520000050102[FF]0405, "
         "the trace holds 80520000050102[03]0405"},
        {"fewer bytes",
         {transmit({0x80, 0x52, 0x00, 0x00, 0x05, 0x01})},
         "replay: call 2: transmitApdu differs at byte 6: the library sent 805200000501[] (6 "
         "bytes), the trace holds 805200000501[02]030405 (10 bytes)"},
        {"past the end",
         {transmit(kLoad), transmit(kCommit), kIsConnected},
         "replay: call 4: the library called isConnected, the trace ends after call 3"},
    };
    for (const Divergence& c : cases) {
        SCOPED_TRACE(c.name);
        ReplaySEMedia replay(m_trace);
        run(replay, {open(kLoader)});
        EXPECT_EQ(thrown(run(replay, c.steps)), "COSUpdateException: " + c.text);
        EXPECT_EQ(replay.divergence(), c.text);
        EXPECT_EQ(replay.mismatch(), c.text);
        // Lost its place: the next call is refused with the same words.
        EXPECT_EQ(thrown(run(replay, {transmit(kCommit)})), "COSUpdateException: " + c.text);
    }
}

TEST_F(RecordReplay, ARunThatEndsEarlyNamesTheCallsLeft) {
    record(std::make_shared<ScriptedMedia>(), {open(kLoader), transmit(kLoad), kClose});
    ReplaySEMedia replay(m_trace);
    run(replay, {open(kLoader)});
    EXPECT_EQ(replay.exchangesLeft(), 1u);
    EXPECT_EQ(replay.mismatch(),
              "replay: the run ended after call 1; the trace holds 2 more, the next one "
              "transmitApdu 80520000050102030405");
}

// An edit of the recorded trace, and what the replay says at call 2.
struct Damage {
    const char* name;
    std::function<std::string(const std::vector<std::string>& lines)> edit;
    std::string text;  // what call 2 throws; a prefix when it ends with '*'
};

// `line` without its CRC member, its '}' and its newline.
std::string body(const std::string& line) {
    return line.substr(0, line.size() - kCrcTailSize - 1);
}

// `content` closed with a CRC-32 that fits it, as if the recorder wrote it.
std::string sealed(std::string content) {
    sealLine(content);
    return content;
}

TEST_F(RecordReplay, ADamagedOrMissingLineIsReportedAtItsCall) {
    record(std::make_shared<ScriptedMedia>(), {open(kLoader), transmit(kLoad), transmit(kCommit)});
    std::vector<std::string> lines;
    std::istringstream text(traceText());
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line + "\n");
    }
    ASSERT_EQ(lines.size(), 4u);
    // Lines that pass their CRC check yet are not what the recorder writes.
    const auto resealed = [](const std::string& content) {
        return
            [content](std::vector<std::string> l) { return l[0] + l[1] + sealed(content) + l[3]; };
    };
    const std::string load = body(lines[2]);
    const std::string rawByte = load + ",\"thrown\":\"other\",\"what\":\"caf\xE9\"";
    std::string negative = load;
    negative.replace(negative.find("\"n\":2"), 5, "\"n\":-2");
    const std::vector<Damage> cases{
        {"a response byte changed",
         [](std::vector<std::string> l) {
             l[2].replace(l[2].find("\"response\":\"80") + 13, 1, "9");
             return l[0] + l[1] + l[2] + l[3];
         },
         "replay: call 2: trace line 3: it is damaged: its CRC-32 is *"},
        {"a line lost", [](std::vector<std::string> l) { return l[0] + l[1] + l[3]; },
         "replay: call 2: trace line 3 holds call 3"},
        {"cut short", [](std::vector<std::string> l) { return l[0] + l[1] + l[2].substr(0, 30); },
         "replay: call 2: trace line 3: it is cut short: it has no newline"},
        {"no seal", [](std::vector<std::string> l) { return l[0] + l[1] + "{\"n\":2}\n" + l[3]; },
         "replay: call 2: trace line 3: it has no CRC-32 at its end"},
        {"a character above FF", resealed(load + ",\"thrown\":\"other\",\"what\":\"\\u0100\""),
         "replay: call 2: trace line 3: it is not JSON a trace holds: its \"what\" holds a "
         "character above \\u00FF"},
        {"a character beyond 16 bits",
         resealed(load + ",\"thrown\":\"other\",\"what\":\"\\uD83D\\uDE00\""),
         "replay: call 2: trace line 3: it is not JSON a trace holds: its \"what\" holds a "
         "character above \\u00FF"},
        {"a raw byte above 7F", resealed(rawByte),
         "replay: call 2: trace line 3: it is not JSON a trace holds: byte E9 at column " +
             std::to_string(rawByte.find('\xE9') + 1) + " is not ASCII"},
        {"a member twice", resealed(load + ",\"n\":3"),
         "replay: call 2: trace line 3: it is not JSON a trace holds: a member comes twice"},
        {"not JSON", resealed(load + ",\"what\""),
         "replay: call 2: trace line 3: it is not JSON a trace holds: at column *"},
        {"a negative call number", resealed(negative),
         "replay: call 2: trace line 3: it has no valid \"n\""},
    };
    for (const Damage& c : cases) {
        SCOPED_TRACE(c.name);
        writeTrace(c.edit(lines));
        ReplaySEMedia replay(m_trace);
        EXPECT_EQ(run(replay, {open(kLoader)}), std::vector<std::string>{"opened F09000"});
        const std::string text = thrown(run(replay, {transmit(kLoad)}));
        const std::string expected = "COSUpdateException: " + c.text;
        if (expected.back() == '*') {
            EXPECT_EQ(text.substr(0, expected.size() - 1), expected.substr(0, expected.size() - 1));
        } else {
            EXPECT_EQ(text, expected);
        }
    }
}

TEST_F(RecordReplay, AFileThatIsNotATraceIsRefusedAtOnce) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", ": not a trace: the file is empty"},
        {"result: deployed\n", ": not a trace: its first line it has no CRC-32 at its end"},
    };
    for (const auto& [content, text] : cases) {
        writeTrace(content);
        try {
            ReplaySEMedia replay(m_trace);
            ADD_FAILURE() << "accepted: " << content;
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(e.what(), m_trace + text);
        }
    }
    std::string header = "{\"format\":\"cosupdate-apdu-trace\",\"version\":2";
    sealLine(header);
    writeTrace(header);
    EXPECT_THROW(ReplaySEMedia replay(m_trace), std::runtime_error);
    EXPECT_THROW(ReplaySEMedia replay(m_trace + ".missing"), std::runtime_error);
}

TEST_F(RecordReplay, ATraceThatCannotBeWrittenChangesNoCall) {
    auto inner = std::make_shared<ScriptedMedia>();
    inner->throws[3] = [] { throw api::COSUpdateException("card mute"); };
    const std::vector<Step> steps{open(kLoader), transmit(kLoad), transmit(kCommit), kClose};
    const std::vector<std::string> expected{"opened F09000", "answered 809000",
                                            "COSUpdateException: card mute 6F", "closed"};
    const std::vector<std::pair<std::string, std::string>> places{
        {"/dev/full", "/dev/full: No space left on device"},
        {m_trace + ".d/none", m_trace + ".d/none: No such file or directory"},
    };
    for (const auto& [path, error] : places) {
        auto fresh = std::make_shared<ScriptedMedia>();
        fresh->throws = inner->throws;
        RecordingSEMedia recorder(fresh, path, "test");
        EXPECT_EQ(run(recorder, steps), expected);
        EXPECT_EQ(recorder.writeError(), error);
    }
}

TEST_F(RecordReplay, TimingMakesEachCallTakeItsRecordedTime) {
    auto inner = std::make_shared<ScriptedMedia>();
    inner->delay = std::chrono::milliseconds(30);
    record(inner, {transmit(kCommit)});
    ReplaySEMedia replay(m_trace, ReplayOptions{true});
    const auto start = std::chrono::steady_clock::now();
    run(replay, {transmit(kCommit)});
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

}  // namespace
}  // namespace cosupdate::trace
