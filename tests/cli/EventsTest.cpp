// `update --events`: the events a program follows a run by, checked against
// docs/cosupdate-events.schema.json line by line, and against the run's own
// summary; the total that percent and time left need, known only from an
// earlier run of the same file from the same chip state; the events of runs
// that fail, are refused or are interrupted; events nobody can write.

#include <signal.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "ToolTest.h"
#include "UpdateFileGenerator.h"

namespace cosupdate::test {
namespace {

using Json = nlohmann::json;
constexpr auto npos = std::string::npos;
const std::string kUpdate = exampleUpdate();

class EventsTest : public ToolTest {
  protected:
    // The lines of `text`, each checked against the events' schema.
    std::vector<Json> events(const std::string& text) const {
        ProcessSetup setup;
        setup.input = text;
        const ToolResult check = runProcess(
            {COSUPDATE_SCHEMA_PYTHON, COSUPDATE_JSON_CHECKER, COSUPDATE_EVENTS_SCHEMA}, setup);
        EXPECT_EQ(check.status, 0) << "events that do not conform to the schema:\n"
                                   << check.out << check.err;
        std::vector<Json> parsed;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            parsed.push_back(Json::parse(line));
        }
        return parsed;
    }
    std::vector<Json> eventsIn(const std::string& file) const { return events(readFile(file)); }

    static std::vector<Json> ofKind(const std::vector<Json>& all, const std::string& kind) {
        std::vector<Json> found;
        std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                     [&kind](const Json& event) { return event["event"] == kind; });
        return found;
    }
    static std::vector<std::string> kinds(const std::vector<Json>& all) {
        std::vector<std::string> result;
        for (const Json& event : all) {
            if (event["event"] != "progress") {
                result.push_back(event["event"]);
            }
        }
        return result;
    }
};

std::string sha256Of(const std::string& file) {
    const ToolResult sum = runProcess({"/usr/bin/sha256sum", file});
    EXPECT_EQ(sum.status, 0) << sum.describe();
    return sum.out.substr(0, 64);
}

TEST_F(EventsTest, ARunIsToldAsItsSummarySaysIt) {
    const std::string file = path("events");
    const ToolResult result = run({"--json", "update", "--events", file, kUpdate});
    ASSERT_EQ(result.status, 0) << result.describe();
    const Json summary = Json::parse(result.out);
    const std::vector<Json> all = eventsIn(file);

    EXPECT_EQ(kinds(all), (std::vector<std::string>{"runStarted", "scriptStarted", "scriptEnded",
                                                    "scriptStarted", "scriptEnded", "scriptStarted",
                                                    "scriptEnded", "runEnded"}));
    const Json& started = all.front();
    EXPECT_EQ(started["sha256"], sha256Of(kUpdate));
    EXPECT_EQ(started["before"], summary["before"]);
    EXPECT_TRUE(started["expectedApdus"].is_null()) << "no earlier run to know the total from";
    const std::vector<Json> ended = ofKind(all, "scriptEnded");
    ASSERT_EQ(ended.size(), summary["scripts"].size());
    for (size_t i = 0; i < ended.size(); ++i) {
        for (const char* member : {"name", "type", "result", "cosVersionAfter", "apdus"}) {
            EXPECT_EQ(ended[i][member], summary["scripts"][i][member]) << i << ": " << member;
        }
    }
    const Json& last = all.back();
    EXPECT_EQ(last["result"], "deployed");
    EXPECT_EQ(last["exitStatus"], 0);
    EXPECT_EQ(last["apdus"], summary["apdus"]);
    EXPECT_EQ(last["after"], summary["after"]);
    for (const Json& progress : ofKind(all, "progress")) {
        EXPECT_TRUE(progress["percent"].is_null()) << progress;
    }
    int64_t previous = 0;
    for (const Json& event : all) {
        EXPECT_GE(event["atMs"].get<int64_t>(), previous) << event;
        previous = event["atMs"];
    }
}

// The total comes from the newest run of the same file from the same chip
// state that went through to its end; nothing else gives one.
TEST_F(EventsTest, PercentOnlyWhenAnEarlierRunOfTheSameFileFromTheSameStateGivesTheTotal) {
    std::string text = readFile(kUpdate);
    const std::string other = writeFile("other.xml", text + "\n");  // another SHA-256
    const size_t block = text.find("4420823CFDE6F1C2");
    ASSERT_NE(block, npos) << "examples/update.xml changed";
    const std::string failing = writeFile("failing.xml", text.replace(block + 15, 1, "3"));
    struct Case {
        const char* what;
        std::string version;  // of the chip before the run
        std::string file;
        bool known;
    };
    // The history holds a full run from 0100 of the example (below), a
    // failed one from 0100 of failing.xml, none of other.xml.
    const std::vector<Case> cases{
        {"same file, same state", "0100", kUpdate, true},
        {"same file, another COS version", "0101", kUpdate, false},
        {"another file", "0100", other, false},
        {"a file whose only run failed", "0100", failing, false},
    };
    ASSERT_EQ(run({"update", failing}).status, 4);
    ASSERT_EQ(run({"chip", "reset"}).status, 0);
    const ToolResult first = run({"--json", "update", kUpdate});
    ASSERT_EQ(first.status, 0) << first.describe();
    const uint64_t total = Json::parse(first.out)["apdus"];

    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(run({"chip", "reset"}).status, 0);
        ASSERT_EQ(run({"chip", "set", "version", c.version}).status, 0);
        const std::string file = path("events");
        run({"update", "--events", file, c.file});
        const std::vector<Json> all = eventsIn(file);
        const std::vector<Json> progress = ofKind(all, "progress");
        ASSERT_FALSE(progress.empty());
        if (!c.known) {
            EXPECT_TRUE(all.front()["expectedApdus"].is_null()) << all.front();
            continue;
        }
        EXPECT_EQ(all.front()["expectedApdus"], total);
        EXPECT_EQ(all.front()["expectedFrom"], "history");
        // Under a hundred exchanges: each moves the percent, each is told.
        ASSERT_EQ(progress.size(), total);
        for (size_t i = 0; i < progress.size(); ++i) {
            EXPECT_EQ(progress[i]["apdus"], i + 1);
            EXPECT_EQ(progress[i]["percent"], (i + 1) * 100 / total);
        }
        EXPECT_EQ(progress.back()["etaMs"], 0);
    }
}

TEST_F(EventsTest, OnStandardOutputTheEventsStandAlone) {
    const ToolResult result = run({"update", "--events", "-", kUpdate});
    ASSERT_EQ(result.status, 0) << result.describe();
    const std::vector<Json> all = events(result.out);
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(all.back()["event"], "runEnded");
    EXPECT_EQ(result.out.find("result:"), npos) << "no summary among the events";
}

TEST_F(EventsTest, AFailedRefusedOrInterruptedRunStillEndsItsEvents) {
    const std::string broken = std::string(COSUPDATE_EXAMPLES_DIR) + "/broken/malformed.xml";
    const std::string file = path("events");

    EXPECT_EQ(run({"update", "--events", file, broken}).status, 5);
    std::vector<Json> all = eventsIn(file);
    ASSERT_EQ(all.size(), 1u) << "refused before the run: its end alone";
    EXPECT_TRUE(all[0]["result"].is_null());
    EXPECT_EQ(all[0]["exitStatus"], 5);
    EXPECT_NE(all[0]["error"].get<std::string>().find("malformed.xml"), npos);

    // A large update, stopped mid-run; the tool's log on a pipe of one page
    // keeps it from running far past the signal.
    cosim::GeneratorOptions options;
    options.imageSize = 16384;
    options.patches = 3;
    std::ofstream(path("large.xml")) << [&options] {
        std::ostringstream text;
        cosim::writeUpdateFile(options, text);
        return text.str();
    }();
    Process tool =
        start({"-v", "--log-level", "verbose", "update", "--events", file, path("large.xml")});
    size_t exchanges = 0;
    ASSERT_TRUE(tool.readUntil([&exchanges](const std::string& line) {
        return line.find("calling SEMedia->transmitApdu()") != npos && ++exchanges == 60;
    }));
    tool.signal(SIGINT);
    ASSERT_EQ(tool.finish().status, 6);
    all = eventsIn(file);
    EXPECT_EQ(all.back()["result"], "interrupted");
    EXPECT_EQ(all.back()["exitStatus"], 6);
    EXPECT_EQ(ofKind(all, "runStarted").size(), 1u);
}

TEST_F(EventsTest, EventsNobodyCanWriteStopNothingAndAreReportedAfter) {
    struct Case {
        const char* what;
        std::vector<std::string> args;
        ProcessSetup setup;
        std::string says;
    };
    ProcessSetup closedStdout;
    closedStdout.out = Output::ClosedPipe;
    const std::vector<Case> cases{
        {"a full device",
         {"update", "--events", "/dev/full", kUpdate},
         {},
         "cosupdate: events could not be written to /dev/full: No space left on device\n"},
        {"stdout's reader gone",
         {"update", "--events", "-", kUpdate},
         closedStdout,
         "cosupdate: standard output could not be written: Broken pipe\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(run({"chip", "reset"}).status, 0);
        const ToolResult result = run(c.args, c.setup);
        EXPECT_EQ(result.status, 1) << result.describe();
        EXPECT_NE((result.out + result.err).find(c.says), npos) << result.describe();
        EXPECT_EQ(chip().cosVersion, 0x0102) << "the update ran to its end";
    }
}

TEST_F(EventsTest, OptionsThatCannotBeAreRefusedBeforeAnything) {
    const std::vector<std::vector<std::string>> refused{
        {"--json", "update", "--events", "-", kUpdate},
        {"check", "--events", "x", kUpdate},
        {"update", "--events", "", kUpdate},
        {"update", "--platform", "ZLM-P1", kUpdate},
        {"history", "--events", "x"},
        {"history", "--fc", "XYZ"},
    };
    for (const std::vector<std::string>& args : refused) {
        const ToolResult result = run(args);
        EXPECT_EQ(result.status, 2) << result.describe();
    }
    // FILE may not be the update file or the chip state file: emptying it
    // would lose them.
    for (const std::string& kept : {kUpdate, m_chip}) {
        const std::string before = readFile(kept);
        const ToolResult result = run({"update", "--events", kept, kUpdate});
        EXPECT_EQ(result.status, 1) << result.describe();
        EXPECT_EQ(readFile(kept), before);
    }
    EXPECT_FALSE(std::filesystem::exists(path("x")));
}

}  // namespace
}  // namespace cosupdate::test
