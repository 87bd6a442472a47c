// cosupdate --record on the simulated chip and on a replay, and the replay
// transport's own refusals: a recorded run replays as it ran, recording a
// replay gives back the same calls, a trace that cannot be written changes
// nothing but the exit status, and a replay that ends early says what is left.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "ToolTest.h"

namespace cosupdate::test {
namespace {

using Json = nlohmann::json;

const std::string kDeployTrace = COSUPDATE_TRACES_DIR "/deploy/trace";

Json withoutWallClock(Json json) {
    json.erase("elapsedMs");
    for (Json& script : json["scripts"]) {
        script.erase("elapsedMs");
    }
    return json;
}

// The calls of a trace without their times and seals: what a replay checks
// and answers with.
std::string callsOf(const std::string& trace) {
    static const std::regex kVarying(R"(,"monoNs":\d+,"elapsedNs":\d+|,"crc":"[0-9A-F]{8}")");
    const std::string text = readFile(trace);
    return std::regex_replace(text.substr(text.find('\n') + 1), kVarying, "");
}

class Record : public ToolTest {
  protected:
    std::vector<std::string> update(const std::vector<std::string>& options) const {
        std::vector<std::string> args = options;
        args.insert(args.end(), {"--log-level", "verbose", "--json", "update", exampleUpdate()});
        return args;
    }
};

TEST_F(Record, ARecordedRunOfTheSimulatedChipReplaysAsItRan) {
    const std::string trace = path("sim.trace");
    const ToolResult original = run(update({"--record", trace}));
    ASSERT_EQ(original.status, 0) << original.describe();

    for (const char* transport : {"replay:", "replay:"}) {
        const ToolResult replay = run(update({"--transport", transport + trace}));
        EXPECT_EQ(replay.status, 0) << replay.describe();
        EXPECT_EQ(replay.err, original.err);
        EXPECT_EQ(withoutWallClock(Json::parse(replay.out)),
                  withoutWallClock(Json::parse(original.out)));
    }
    const ToolResult timed = run(update({"--transport", "replay:" + trace + ",timing"}));
    EXPECT_EQ(timed.err, original.err);
}

TEST_F(Record, RecordingAReplayGivesBackTheSameCalls) {
    const std::string again = path("again.trace");
    const ToolResult replay =
        run(update({"--transport", "replay:" + kDeployTrace, "--record", again}));
    ASSERT_EQ(replay.status, 0) << replay.describe();
    EXPECT_EQ(callsOf(again), callsOf(kDeployTrace));
}

// Room for the header and a few calls, then every write fails (EFBIG).
TEST_F(Record, ATraceThatCannotBeWrittenLeavesTheOutcomeAndExitsOne) {
    const std::string trace = path("small.trace");
    const ToolResult plain = run(update({"--transport", "replay:" + kDeployTrace}));
    // 4 KiB a file: room for the reply and the history record, not for the trace.
    std::vector<std::string> argv{"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 8; exec \"$@\"", "sh"};
    for (const std::string& arg :
         commandLine(COSUPDATE_TOOL,
                     update({"--transport", "replay:" + kDeployTrace, "--record", trace}))) {
        argv.push_back(arg);
    }
    const ToolResult limited = runProcess(argv);

    // Where the file ends depends on the length of the recorded times.
    const std::string error = "the trace could not be written: " + trace + ": ";
    const Json reply = Json::parse(limited.out);
    ASSERT_TRUE(reply["error"].is_string()) << limited.describe();
    const std::string reported = reply["error"];
    EXPECT_EQ(reported.substr(0, error.size()), error);
    EXPECT_EQ(limited.status, 1) << limited.describe();
    EXPECT_EQ(limited.err, plain.err + "cosupdate: " + reported + "\n");
    Json expected = withoutWallClock(Json::parse(plain.out));
    expected["exitStatus"] = 1;
    expected["error"] = reported;
    expected["details"] = Json::array({reported});
    EXPECT_EQ(withoutWallClock(reply), expected);
    EXPECT_GT(readFile(trace).size(), 0u);
}

struct Refusal {
    std::vector<std::string> args;
    int status;
    std::string error;
};

TEST_F(Record, ReplayAndRecordRefuseWhatTheyCannotDo) {
    const std::vector<Refusal> cases{
        {{"--transport", "replay:" + kDeployTrace, "--json", "info", "FE"},
         1,
         "replay: the run ended after call 10; the trace holds 110 more, the next one "
         "openConnection F05A4C4D00FC"},
        {{"--transport", "replay:", "--json", "info", "FE"},
         2,
         "--transport replay needs a trace: replay:FILE[,timing]"},
        {{"--transport", "replay:" + path("none"), "--json", "info", "FE"},
         1,
         path("none") + ": the trace cannot be read"},
        {{"--transport", "replay:" + exampleUpdate(), "--json", "info", "FE"},
         1,
         exampleUpdate() + ": not a trace: its first line it has no CRC-32 at its end"},
        {{"--record", path("no/such/dir.trace"), "--json", "info", "FE"},
         1,
         "--record: the trace cannot be written: " + path("no/such/dir.trace") +
             ": No such file or directory"},
        {{"--record", "", "--json", "info", "FE"}, 2, "--record: the file name is empty"},
    };
    for (const Refusal& c : cases) {
        SCOPED_TRACE(c.args.at(1));
        const ToolResult result = run(c.args);
        EXPECT_EQ(result.status, c.status) << result.describe();
        EXPECT_EQ(Json::parse(result.out)["error"], c.error);
    }
}

}  // namespace
}  // namespace cosupdate::test
