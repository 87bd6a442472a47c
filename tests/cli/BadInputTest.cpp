// Wrong input of every kind: one clear line on stderr, nothing on stdout, a
// non-zero status, and never a crash or an exception's type name.

#include <gtest/gtest.h>

#include "JsonParser.h"
#include "ToolFixture.h"

namespace clitest {
namespace {

struct BadInput {
    const char* name;
    std::vector<std::string> args;  // "@DIR" becomes the test's directory
    int status;
    const char* says;
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const BadInput& c, std::ostream* out) {
    *out << c.name;
}

class BadInputs : public ToolTest, public ::testing::WithParamInterface<BadInput> {
  protected:
    std::vector<std::string> arguments() const {
        std::vector<std::string> args = GetParam().args;
        for (std::string& arg : args) {
            if (arg.rfind("@DIR", 0) == 0) {
                arg = m_dir.string() + arg.substr(4);
            }
        }
        return args;
    }
};

TEST_P(BadInputs, GiveOneClearLineAndAFailingStatus) {
    writeFile("corrupt.state", "platform-id ZLM-P1\ncos-version 01XY\nfd 0A010003\n");

    const ToolResult result = run(arguments());

    EXPECT_EQ(result.status, GetParam().status) << result.describe();
    EXPECT_EQ(result.signal, 0);
    EXPECT_TRUE(result.out.empty()) << result.out;
    const std::vector<std::string> lines = result.errLines();
    ASSERT_EQ(lines.size(), 1u) << result.err;
    EXPECT_EQ(lines[0].rfind("cosupdate: ", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(GetParam().says), std::string::npos) << lines[0];
    for (const char* leak : {"std::", "terminate", "what()", "Exception"}) {
        EXPECT_EQ(lines[0].find(leak), std::string::npos) << lines[0];
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BadInputs,
    ::testing::Values(
        BadInput{"MissingFile", {"update", "@DIR/none.xml"}, 1, "No such file or directory"},
        BadInput{"DirectoryAsFile", {"check", "@DIR"}, 1, "is a directory"},
        BadInput{"MissingFileArgument", {"validate"}, 2, "usage: cosupdate validate FILE"},
        BadInput{"ExtraArgument", {"info", "FE", "FD"}, 2, "usage: cosupdate info"},
        BadInput{"UnknownTag", {"info", "FF"}, 2, "unknown tag 'FF'"},
        BadInput{"BadHexAid", {"--aid-fe", "F05A4C4D00GE", "info", "FE"}, 2, "not hex"},
        BadInput{"OddHexAid", {"--aid-fd", "F05A4C4D00F", "info", "FD"}, 2, "pairs"},
        BadInput{"ShortAid", {"--aid-fc", "F05A", "info", "FC"}, 2, "3 to 16 bytes"},
        BadInput{
            "UnknownOption", {"--frobnicate", "info", "FE"}, 2, "unknown option '--frobnicate'"},
        BadInput{"OptionWithoutValue", {"info", "FE", "--transport"}, 2, "needs a value"},
        BadInput{"FlagWithValue", {"--json=yes", "info", "FE"}, 2, "takes no value"},
        BadInput{"UnknownCommand", {"upgrade", "x.xml"}, 2, "unknown command 'upgrade'"},
        BadInput{"NoCommand", {}, 2, "no command given"},
        BadInput{"UnknownLogLevel", {"--log-level", "loud", "info", "FE"}, 2, "not a level"},
        BadInput{
            "UnknownTransport", {"--transport", "usb", "info", "FE"}, 2, "unknown transport 'usb'"},
        BadInput{"SimWithArgument", {"--transport", "sim:x", "info", "FE"}, 2, "no argument"},
        BadInput{"CorruptChipState",
                 {"--chip", "@DIR/corrupt.state", "info", "FE"},
                 1,
                 "corrupt.state is corrupt: line 2"},
        BadInput{
            "ChipSetUnknownField", {"chip", "set", "colour", "red"}, 2, "unknown field 'colour'"},
        BadInput{"ChipSetBadVersion", {"chip", "set", "version", "1.2"}, 2, "1.2"},
        BadInput{"ChipSetLongFd", {"chip", "set", "fd", "0A01000300"}, 2, "FD has 4 bytes"},
        BadInput{"ChipSetEmptyPlatform", {"chip", "set", "platform", ""}, 2, "platform"},
        BadInput{"ChipSetMissingValue", {"chip", "set", "version"}, 2, "FIELD VALUE"},
        BadInput{"ChipUnknownAction", {"chip", "flash"}, 2, "unknown action 'flash'"},
        BadInput{"HelpOnNothing", {"help", "nothing"}, 2, "no help on 'nothing'"}),
    [](const ::testing::TestParamInfo<BadInput>& info) { return info.param.name; });

TEST_F(ToolTest, ACorruptChipStateFileIsLeftAsItWas) {
    const std::string corrupt = writeFile("corrupt.state", "cos-version 0100\n");

    EXPECT_EQ(runTool({"--chip", corrupt, "update", examplePath("update.xml")}).status, 1);

    EXPECT_EQ(readFile(corrupt), "cos-version 0100\n");
}

TEST_F(ToolTest, ABadCommandLineStillAnswersInJson) {
    const ToolResult result = run({"--json", "--aid-fe", "XYZ", "info", "FE"});

    EXPECT_EQ(result.status, 2);
    const JsonValue json = parseJson(result.out);
    EXPECT_EQ(json["exitStatus"].number, 2);
    EXPECT_NE(json["error"].string.find("--aid-fe"), std::string::npos) << result.out;
}

}  // namespace
}  // namespace clitest
