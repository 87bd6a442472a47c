// The committed traces, recorded through pcscd and the virtual card, replayed
// by the tool against the shipped library and the simulation kernel: the same
// log, result and exit status as the recorded run, every time; a changed
// byte reported at its call. And --record itself: a recorded run replays, a
// replay recorded again holds the same calls, a trace that cannot be written
// leaves the run's outcome as it was.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "ToolTest.h"
#include "cosupdate/trace/TraceFormat.h"

namespace cosupdate::test {
namespace {

using Json = nlohmann::json;

const std::string kTraces = COSUPDATE_TRACES_DIR;
const std::string kSourceDir = COSUPDATE_SOURCE_DIR;
constexpr int kReplays = 3;

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        result.push_back(line);
    }
    return result;
}

// The wall clock is the one thing a replay does not reproduce.
Json withoutWallClock(Json json) {
    json.erase("elapsedMs");
    for (Json& script : json["scripts"]) {
        script.erase("elapsedMs");
    }
    return json;
}

// A committed run: how it was started and what came of it.
struct Recorded {
    std::string trace;
    std::string updateFile;
    std::string stderrText;
    Json result;
    int status;
};

Recorded recorded(const std::string& name) {
    const std::string dir = kTraces + "/" + name;
    Recorded run;
    run.trace = dir + "/trace";
    run.updateFile = kSourceDir + "/" + lines(readFile(dir + "/args")).at(0);
    run.stderrText = readFile(dir + "/stderr");
    run.result = withoutWallClock(Json::parse(readFile(dir + "/result.json")));
    run.result["file"] = run.updateFile;  // recorded relative to the source tree
    run.status = std::stoi(readFile(dir + "/exit-status"));
    return run;
}

std::vector<std::string> replayArgs(const std::string& trace, const std::string& updateFile) {
    return {"--transport", "replay:" + trace, "--log-level", "verbose",
            "--json",      "update",          updateFile};
}

class CommittedTrace : public ToolTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(CommittedTrace, ReplaysWithTheRecordedLogResultAndExitStatus) {
    const Recorded original = recorded(GetParam());
    for (int replay = 1; replay <= kReplays; ++replay) {
        SCOPED_TRACE("replay " + std::to_string(replay));
        const ToolResult result = run(replayArgs(original.trace, original.updateFile));
        EXPECT_EQ(result.status, original.status) << result.describe();
        EXPECT_EQ(result.err, original.stderrText);
        EXPECT_EQ(withoutWallClock(Json::parse(result.out)), original.result);
    }
}

INSTANTIATE_TEST_SUITE_P(PcscRuns, CommittedTrace,
                         ::testing::Values("deploy", "pulled", "resumed", "script-fails"),
                         [](const auto& info) {
                             std::string name = info.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

class TraceEdit : public ToolTest {
  protected:
    // The deploy trace's line `number` (from 1), and a copy with it replaced.
    std::string line(size_t number) const {
        return lines(readFile(recorded("deploy").trace)).at(number - 1);
    }
    std::string copyWith(size_t number, const std::string& replacement) const {
        std::vector<std::string> all = lines(readFile(recorded("deploy").trace));
        all.at(number - 1) = replacement;
        std::string text;
        for (const std::string& l : all) {
            text += l + "\n";
        }
        return writeFile("edited.trace", text);
    }
    // Line 30 holds call 29: the READ BINARY of the FE object the library
    // selects the first script by.
    static constexpr size_t kReadFe = 30;

    void expectStoppedWith(const ToolResult& result, const std::string& error) {
        EXPECT_EQ(result.status, 1) << result.describe();
        EXPECT_EQ(Json::parse(result.out)["error"], error);
        EXPECT_NE(result.err.find("cosupdate: update stopped: " + error + "\n"), std::string::npos)
            << result.err;
    }
};

TEST_F(TraceEdit, AChangedResponseByteIsReportedAtItsCall) {
    std::string edited = line(kReadFe);
    ASSERT_NE(edited.find("\"op\":\"transmitApdu\",\"monoNs\""), std::string::npos) << edited;
    const size_t cosVersion = edited.find("C2020100");
    ASSERT_NE(cosVersion, std::string::npos) << edited;
    edited[cosVersion + 7] = '1';  // the FE's COS version 0100 becomes 0101
    const std::string content = edited.substr(0, edited.size() - trace::kCrcTailSize);
    char computed[9];
    std::snprintf(computed, sizeof computed, "%08X", trace::crcOf(content));
    const std::string recordedCrc = edited.substr(edited.size() - 10, 8);

    const ToolResult result =
        run(replayArgs(copyWith(kReadFe, edited), recorded("deploy").updateFile));
    expectStoppedWith(result, "replay: call 29: trace line 30: it is damaged: its CRC-32 is " +
                                  recordedCrc + ", its content gives " + computed);
}

TEST_F(TraceEdit, AResealedChangeIsTheCallWhereTheRunLeavesTheTrace) {
    // The same byte, the line sealed again: the replay answers with it, the
    // library takes the chip for COS 0101 and sends another update than the
    // trace holds.
    std::string edited = line(kReadFe);
    edited[edited.find("C2020100") + 7] = '1';
    edited.resize(edited.size() - trace::kCrcTailSize);
    trace::sealLine(edited);
    edited.pop_back();  // its newline; copyWith adds one

    const ToolResult result =
        run(replayArgs(copyWith(kReadFe, edited), recorded("deploy").updateFile));
    expectStoppedWith(result,
                      "replay: call 43: transmitApdu differs at byte 6: the library sent "
                      "805000000C01[01]0102000000407DAF7CA7, the trace holds "
                      "805000000C01[00]0101000000601E4D6CD7");
}

}  // namespace
}  // namespace cosupdate::test
