// The record transport and the replay transport together: a session recorded
// over a scripted transport comes back the same from the trace; where a run
// leaves its trace (another call, other bytes, past the end) is reported at
// that call in exact words; a trace that cannot be written never changes a
// call.

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Session.h"
#include "cosupdate/trace/RecordingSEMedia.h"
#include "cosupdate/trace/ReplaySEMedia.h"

namespace cosupdate::trace::session {
namespace {

// An exception of the transport's own type, to see it rethrown as itself.
struct TransportFault : std::logic_error {
    TransportFault() : std::logic_error("reader unplugged") {}
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
}  // namespace cosupdate::trace::session
