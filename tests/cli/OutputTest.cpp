// What cosupdate says and how: an update that cannot write its progress or
// summary still finishes and then says so; --json answers every command line
// with one object; names from the update file reach the terminal escaped;
// info fails on an object that is not what was asked; the Android log keeps
// to the level asked for.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>
#include <tuple>

#include "ToolTest.h"

namespace cosupdate::test {
namespace {

constexpr auto npos = std::string::npos;
const std::string kUpdate = exampleUpdate();

// The example update deployed on the chip in `chipText`.
void expectUpdated(const std::string& chipText) {
    EXPECT_NE(chipText.find("\ncos-version 0102\n"), npos) << chipText;
    EXPECT_NE(chipText.find("\nservice F05A4C4D53000001\n"), npos) << chipText;
}

TEST_F(ToolTest, UpdateFinishesWhenItsOutputCannotBeWritten) {
    struct Case {
        const char* what;
        std::vector<std::string> options;
        ProcessSetup setup;
        std::string said;  // on the stream that still works
    };
    const std::vector<Case> cases{
        {"summary into a closed pipe",
         {},
         {{}, Output::ClosedPipe, Output::Captured},
         "cosupdate: standard output could not be written: Broken pipe\n"},
        {"summary onto a full device",
         {},
         {{}, Output::Full, Output::Captured},
         "cosupdate: standard output could not be written: No space left on device\n"},
        {"progress into a closed pipe",
         {},
         {{}, Output::Captured, Output::ClosedPipe},
         "cosupdate: standard error could not be written: Broken pipe\n"},
        {"log onto a full device, JSON",
         {"--json", "--verbose"},
         {{}, Output::Captured, Output::Full},
         R"("error":"standard error could not be written: No space left on device")"},
        {"both into a closed pipe (2>&1 | head)",
         {},
         {{}, Output::ClosedPipe, Output::ClosedPipe},
         ""},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(c.what);
        const std::string chip = path("chip-" + std::to_string(i) + ".state");
        std::vector<std::string> args{"--chip", chip, "update", kUpdate};
        args.insert(args.end(), c.options.begin(), c.options.end());

        const ToolResult result = run(args, c.setup);

        EXPECT_EQ(result.signal, 0) << result.describe();
        EXPECT_EQ(result.status, 1) << result.describe();
        expectUpdated(readFile(chip));
        const std::string& stillWritten = c.setup.out == Output::Captured ? result.out : result.err;
        EXPECT_NE(stillWritten.find(c.said), npos) << result.describe();
        if (c.setup.out == Output::Captured && c.options.empty()) {
            EXPECT_EQ(result.out.rfind("result:       deployed\n", 0), 0u) << result.out;
        }
    }
}

TEST_F(ToolTest, NothingWrittenIsNeverSuccess) {
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"--version"}, {"help"}, {"validate", kUpdate}, {"--json", "check", kUpdate}}) {
        SCOPED_TRACE(args.back());
        const ToolResult result = run(args, {{}, Output::Full});

        EXPECT_EQ(result.status, 1) << result.describe();
        EXPECT_EQ(result.err,
                  "cosupdate: standard output could not be written: No space left on "
                  "device\n");
    }
}

TEST_F(ToolTest, JsonAnswersEveryCommandLine) {
    // Arguments after --json, then the answer's command, exit status and, on
    // failure, the start of its error.
    const std::vector<std::tuple<std::vector<std::string>, nlohmann::json, int, std::string>> cases{
        {{"--help"}, "help", 0, ""},
        {{"help", "update"}, "help", 0, ""},
        {{"help", "help"}, "help", 0, ""},
        {{"update", "--help"}, "help", 0, ""},
        {{"--version"}, "version", 0, ""},
        {{}, nullptr, 2, "no command given"},
        {{"help", "upgrade"}, "help", 2, "no help on 'upgrade'"},
        {{"upgrade"}, "upgrade", 2, "unknown command 'upgrade'"},
        {{"update", kUpdate, "--frobnicate"}, "update", 2, "unknown option '--frobnicate'"},
        {{"check", "--log-level"}, "check", 2, "option '--log-level' needs a value"},
        {{"update", "/nonexistent.xml"}, "update", 1, "update file /nonexistent.xml: No such"},
        {{"--transport", "pcsc", "chip", "show"}, "chip", 2, "chip: only the simulated chip"},
    };
    for (const auto& [args, command, status, error] : cases) {
        std::vector<std::string> line{"--json"};
        line.insert(line.end(), args.begin(), args.end());
        SCOPED_TRACE(::testing::PrintToString(line));

        const ToolResult result = run(line);

        ASSERT_TRUE(nlohmann::json::accept(result.out)) << result.describe();
        const nlohmann::json answer = nlohmann::json::parse(result.out);
        EXPECT_EQ(answer["command"], command);
        EXPECT_EQ(answer["exitStatus"], status);
        EXPECT_EQ(result.status, status);
        if (error.empty()) {
            EXPECT_TRUE(answer["error"].is_null()) << result.out;
            EXPECT_EQ(result.err, "");
        } else {
            EXPECT_EQ(answer["error"].get<std::string>().rfind(error, 0), 0u) << result.out;
            EXPECT_EQ(result.err.rfind("cosupdate: " + error, 0), 0u) << result.err;
        }
    }
}

TEST_F(ToolTest, HelpAnswersItselfAndNamesTheDefaultChipFiles) {
    const ToolResult helpHelp = run({"help", "help"});
    EXPECT_EQ(helpHelp.status, 0) << helpHelp.describe();
    EXPECT_EQ(helpHelp.out.rfind("usage: cosupdate help [COMMAND]\n", 0), 0u) << helpHelp.out;

    const ToolResult help = run({"--help"});
    EXPECT_EQ(help.status, 0) << help.describe();
    for (const char* fallback : {"$XDG_STATE_HOME/cosupdate/chip.state",
                                 "~/.local/state/cosupdate/chip.state", "./cosupdate-chip.state"}) {
        EXPECT_NE(help.out.find(fallback), npos) << fallback;
    }
    const nlohmann::json answer = nlohmann::json::parse(run({"--json", "--help"}).out);
    EXPECT_EQ(answer["text"], help.out);
}

// A script name with ESC, newline, C1 and DEL, as XML character references.
constexpr char kHostileName[] = "evil&#27;[31m&#10;X&#x85;&#127;";
constexpr char kShownName[] = R"(evil\x1B[31m\nX\u0085\x7F)";

std::string withHostileName(const std::string& text, const std::string& name) {
    return std::regex_replace(text, std::regex("\"" + name + "\""),
                              "\"" + std::string(kHostileName) + "\"");
}

TEST_F(ToolTest, NamesFromTheFileReachTheTerminalEscaped) {
    const std::string example = readFile(kUpdate);
    // Renamed everywhere the update runs; renamed in the manifest only, the
    // library refuses it, naming the missing script.
    const std::string runs = writeFile("runs.xml", withHostileName(example, "patch-0100-0101"));
    std::string manifestOnly = example;
    manifestOnly.replace(manifestOnly.find("\"patch-0100-0101\""), 17,
                         "\"" + std::string(kHostileName) + "\"");
    const std::string refused = writeFile("refused.xml", manifestOnly);
    const std::vector<std::tuple<std::vector<std::string>, int>> cases{
        {{"validate", refused}, 5},
        {{"check", refused}, 5},
        {{"update", refused}, 5},
        {{"update", runs}, 0},
    };
    for (const auto& [args, status] : cases) {
        SCOPED_TRACE(args.front() + " " + args.back());
        const ToolResult result = run(args);

        EXPECT_EQ(result.status, status) << result.describe();
        const std::string shown = result.out + result.err;
        EXPECT_NE(shown.find(kShownName), npos) << shown;
        EXPECT_EQ(shown.find('\x1B'), npos) << "ESC reached the terminal";
        EXPECT_EQ(shown.find("\x85"), npos) << "C1 reached the terminal";
        EXPECT_EQ(shown.find("\nX"), npos) << "a newline in a name reached the terminal";
    }
    // JSON carries the name itself, escaped as JSON escapes it.
    ASSERT_EQ(run({"chip", "reset"}).status, 0);
    const nlohmann::json answer = nlohmann::json::parse(run({"--json", "update", runs}).out);
    EXPECT_EQ(answer["scripts"][0]["name"], "evil\x1B[31m\nX\xC2\x85\x7F");
}

TEST_F(ToolTest, InfoFailsOnAnObjectThatIsNotWhatWasAsked) {
    const std::string noFc = path("no-fc.state");
    ASSERT_EQ(run({"--chip", noFc, "chip", "set", "fc", ""}).status, 0);
    // Options and tag, exit status and the start of the failure ("": none).
    const std::vector<std::tuple<std::vector<std::string>, int, std::string>> cases{
        {{"info", "FE"}, 0, ""},
        {{"--aid-fd", "F05A4C4D00FC", "info", "FD"}, 1, "FD: the chip returned no data"},
        {{"--aid-fe", "F05A4C4D00FC", "info", "FE"}, 1, "FE: not an FE object"},
        {{"--chip", noFc, "info", "FC"}, 1, "FC: the chip returned no data"},
    };
    for (const auto& [args, status, error] : cases) {
        SCOPED_TRACE(::testing::PrintToString(args));
        std::vector<std::string> json = args;
        json.insert(json.begin(), "--json");

        const ToolResult text = run(args);
        const nlohmann::json answer = nlohmann::json::parse(run(json).out);

        EXPECT_EQ(text.status, status) << text.describe();
        EXPECT_EQ(answer["exitStatus"], status);
        if (status == 0) {
            EXPECT_EQ(text.out, answer["hex"].get<std::string>() + "\n");
        } else {
            EXPECT_EQ(text.out, "");
            EXPECT_EQ(text.err.rfind("cosupdate: " + error, 0), 0u) << text.err;
            EXPECT_EQ(answer["error"].get<std::string>().rfind(error, 0), 0u) << answer;
        }
    }
}

TEST_F(ToolTest, AndroidLogKeepsToTheLevelAsked) {
    std::string corrupted = readFile(kUpdate);
    corrupted.replace(corrupted.find("4420823CFDE6F1C2") + 15, 1, "3");  // fails at COMMIT
    const std::string failing = writeFile("failing.xml", corrupted);
    // Level and file, then whether INFO lines and ERROR lines reach the log.
    const std::vector<std::tuple<std::string, std::string, bool, bool>> cases{
        {"info", kUpdate, true, false},
        {"error", kUpdate, false, false},
        {"error", failing, false, true},
        {"warning", failing, false, true},
    };
    for (const auto& [level, file, infoLines, errorLines] : cases) {
        SCOPED_TRACE(level + " " + file);
        ASSERT_EQ(run({"chip", "reset"}).status, 0);

        const ToolResult result = run({"--android-log", "--log-level", level, "update", file});

        // libbase on a host: "cosupdate I <date> ... <file>:<line>] <text>".
        EXPECT_EQ(result.err.find("cosupdate I ") != npos, infoLines) << result.err;
        EXPECT_EQ(result.err.find("] eSE upgrade:") != npos, infoLines || errorLines) << result.err;
        EXPECT_EQ(result.err.find("cosupdate E ") != npos, errorLines) << result.err;
    }
}

}  // namespace
}  // namespace cosupdate::test
