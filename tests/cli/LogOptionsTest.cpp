// Where the library's log goes: nowhere by default, on stderr with --verbose
// filtered by --log-level; and the help texts.

#include <gtest/gtest.h>

#include "ToolFixture.h"

namespace clitest {
namespace {

const std::string kUpdate = examplePath("update.xml");

size_t countLinesStarting(const std::vector<std::string>& lines, const std::string& prefix) {
    size_t count = 0;
    for (const std::string& line : lines) {
        count += line.rfind(prefix, 0) == 0 ? 1 : 0;
    }
    return count;
}

TEST_F(ToolTest, QuietByDefault) {
    // Not even the library's own platform-log lines reach stderr.
    const ToolResult result = run({"check", kUpdate});

    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_TRUE(result.err.empty()) << result.err;
}

TEST_F(ToolTest, VerboseShowsEveryLevelOneLineEach) {
    const ToolResult result = run({"check", kUpdate, "--verbose"});
    ASSERT_EQ(result.status, 0) << result.describe();
    const std::vector<std::string> lines = result.errLines();

    EXPECT_GT(countLinesStarting(lines, "[verbose] "), 0u) << result.err;  // the kernel's APDUs
    EXPECT_GT(countLinesStarting(lines, "[debug] "), 0u);
    EXPECT_GT(countLinesStarting(lines, "[info] "), 0u);
    EXPECT_EQ(countLinesStarting(lines, "[debug] Patch <patch-0100-0101> matching"), 1u);
    for (const std::string& line : lines) {
        EXPECT_EQ(line.front(), '[') << "not a log line: " << line;
    }
}

struct LevelCase {
    const char* level;
    std::vector<const char*> shown;
    std::vector<const char*> hidden;
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const LevelCase& c, std::ostream* out) {
    *out << c.level;
}

class LogLevels : public ToolTest, public ::testing::WithParamInterface<LevelCase> {};

TEST_P(LogLevels, ShowThatLevelAndAbove) {
    // The file with the corrupted image fails: its run logs at every level.
    std::string text = readFile(kUpdate);
    text.replace(text.find("4420823CFDE6F1C2"), 16, "4420823CFDE6F1C3");
    const std::string failing = writeFile("failing.xml", text);

    const ToolResult result = run({"--json", "--log-level", GetParam().level, "update", failing});
    ASSERT_EQ(result.status, 4) << result.describe();

    for (const char* prefix : GetParam().shown) {
        EXPECT_GT(countLinesStarting(result.errLines(), prefix), 0u) << prefix << result.err;
    }
    for (const char* prefix : GetParam().hidden) {
        EXPECT_EQ(countLinesStarting(result.errLines(), prefix), 0u) << prefix << result.err;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Levels, LogLevels,
    ::testing::Values(LevelCase{"debug", {"[debug] ", "[info] ", "[error] "}, {"[verbose] "}},
                      LevelCase{"INFO", {"[info] ", "[error] "}, {"[verbose] ", "[debug] "}},
                      LevelCase{"4", {"[error] "}, {"[info] ", "[warning] "}}),
    [](const ::testing::TestParamInfo<LevelCase>& info) {
        return std::string("Level_") + info.param.level;
    });

TEST_F(ToolTest, HelpForTheToolAndEveryCommand) {
    const ToolResult tool = runWithoutChip({"--help"});
    EXPECT_EQ(tool.status, 0);
    for (const char* command : {"validate", "check", "update", "info", "chip"}) {
        SCOPED_TRACE(command);
        EXPECT_NE(tool.out.find(std::string("  ") + command + " "), std::string::npos);

        const ToolResult viaOption = runWithoutChip({command, "--help"});
        const ToolResult viaHelp = runWithoutChip({"help", command});
        EXPECT_EQ(viaOption.status, 0);
        EXPECT_EQ(viaOption.out.rfind(std::string("usage: cosupdate ") + command, 0), 0u)
            << viaOption.out;
        EXPECT_EQ(viaHelp.out, viaOption.out);
    }
    EXPECT_NE(tool.out.find("Exit status:"), std::string::npos);
}

}  // namespace
}  // namespace clitest
