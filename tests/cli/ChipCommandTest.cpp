// `cosupdate chip` and `cosupdate info`: the simulated chip's state file as
// the tool creates, shows and changes it, and what the library reads back.

#include <gtest/gtest.h>

#include <filesystem>

#include "JsonParser.h"
#include "ToolFixture.h"

namespace clitest {
namespace {

constexpr const char kFactoryState[] =
    "platform-id ZLM-P1\ncos-version 0100\ncustomer-id ACME\nfc 5A4C4D010000002A\nfd 0A010003\n";

// The state file without its comment lines.
std::string withoutComments(const std::string& text) {
    std::string result;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end + 1;
        if (text[start] != '#') {
            result += text.substr(start, end - start);
        }
        start = end;
    }
    return result;
}

TEST_F(ToolTest, ShowCreatesAFactoryChip) {
    const ToolResult result = run({"chip", "show"});

    ASSERT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(withoutComments(chipText()), kFactoryState);
    EXPECT_NE(result.out.find("COS version:     0100"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("services:        (none)"), std::string::npos) << result.out;
}

TEST_F(ToolTest, SetChangesEveryFieldAndResetUndoesIt) {
    const ToolResult set =
        run({"chip", "set", "platform", "ZLM-P2", "version", "201", "customer", "", "fc",
             "01 02 03", "fd", "0b020004", "services", "F05A4C4D53000002,F05A4C4D53000001"});
    ASSERT_EQ(set.status, 0) << set.describe();

    EXPECT_EQ(withoutComments(chipText()),
              "platform-id ZLM-P2\ncos-version 0201\ncustomer-id \nfc 010203\nfd 0B020004\n"
              "service F05A4C4D53000001\nservice F05A4C4D53000002\n");

    ASSERT_EQ(run({"chip", "reset"}).status, 0);
    EXPECT_EQ(withoutComments(chipText()), kFactoryState);
}

TEST_F(ToolTest, ShowJsonHasEveryField) {
    ASSERT_EQ(run({"chip", "set", "services", "F05A4C4D53000001"}).status, 0);

    const ToolResult result = run({"chip", "show", "--json"});
    ASSERT_EQ(result.status, 0) << result.describe();
    const JsonValue json = parseJson(result.out);

    EXPECT_EQ(json["command"].string, "chip");
    EXPECT_EQ(json["chipFile"].string, m_chip);
    EXPECT_EQ(json["platformId"].string, "ZLM-P1");
    EXPECT_EQ(json["cosVersion"].string, "0100");
    EXPECT_EQ(json["customerId"].string, "ACME");
    EXPECT_EQ(json["fc"].string, "5A4C4D010000002A");
    EXPECT_EQ(json["fd"].string, "0A010003");
    ASSERT_EQ(json["services"].array.size(), 1u);
    EXPECT_EQ(json["services"][0].string, "F05A4C4D53000001");
}

TEST_F(ToolTest, RefusedSetLeavesTheChipAsItWas) {
    ASSERT_EQ(run({"chip", "set", "version", "0101"}).status, 0);
    const std::string before = chipText();

    EXPECT_EQ(run({"chip", "set", "customer", "GLOBEX", "fd", "0A"}).status, 2);

    EXPECT_EQ(chipText(), before);
}

TEST_F(ToolTest, ChipCommandsAreForTheSimulatedChipOnly) {
    const ToolResult result = run({"--transport", "pcsc", "chip", "show"});

    EXPECT_EQ(result.status, 2) << result.describe();
    EXPECT_FALSE(std::filesystem::exists(m_chip));
}

TEST_F(ToolTest, DefaultChipFileFollowsXdgStateHome) {
    const std::filesystem::path state = m_dir / "xdg";

    const ToolResult result =
        runWithoutChip({"chip", "set", "version", "0101"}, {{"XDG_STATE_HOME", state.string()}});
    ASSERT_EQ(result.status, 0) << result.describe();

    const std::string file = (state / "cosupdate" / "chip.state").string();
    EXPECT_NE(readFile(file).find("cos-version 0101"), std::string::npos);
    EXPECT_NE(result.out.find("chip state file: " + file), std::string::npos) << result.out;
}

TEST_F(ToolTest, DefaultChipFileFallsBackToHome) {
    const ToolResult result =
        runWithoutChip({"chip", "show"}, {{"XDG_STATE_HOME", ""}, {"HOME", m_dir.string()}});

    ASSERT_EQ(result.status, 0) << result.describe();
    EXPECT_TRUE(std::filesystem::exists(m_dir / ".local/state/cosupdate/chip.state"));
}

struct InfoCase {
    const char* tag;
    const char* hex;
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const InfoCase& c, std::ostream* out) {
    *out << c.tag;
}

class InfoTags : public ToolTest, public ::testing::WithParamInterface<InfoCase> {};

TEST_P(InfoTags, PrintTheObjectAsTheLibraryReadsIt) {
    const ToolResult result = run({"info", GetParam().tag});

    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.out, std::string(GetParam().hex) + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Factory, InfoTags,
    ::testing::Values(InfoCase{"FC", "5A4C4D010000002A"},
                      InfoCase{"FD", "0A01"},  // the first two of its four bytes
                      InfoCase{"fe", "C1065A4C4D2D5031C2020100C30441434D45"}),
    [](const ::testing::TestParamInfo<InfoCase>& info) { return std::string(info.param.tag); });

TEST_F(ToolTest, InfoFollowsTheChipAndTheAidOptions) {
    ASSERT_EQ(run({"chip", "set", "fd", "0B020004"}).status, 0);

    EXPECT_EQ(run({"info", "FD"}).out, "0B02\n");
    // FD's AID given for FC: all four bytes, where FD yields two.
    EXPECT_EQ(run({"--aid-fc", "F05A4C4D00FD", "info", "FC"}).out, "0B020004\n");
    // An empty object: no bytes, no error, and a note saying so.
    ASSERT_EQ(run({"chip", "set", "fc", ""}).status, 0);
    const ToolResult empty = run({"info", "FC"});
    EXPECT_EQ(empty.status, 0) << empty.describe();
    EXPECT_EQ(empty.out, "\n");
    EXPECT_NE(empty.err.find("FC: the library returned no bytes"), std::string::npos);
    const ToolResult unknownAid = run({"--aid-fe", "F05A4C4D00EE", "info", "FE"});
    EXPECT_EQ(unknownAid.status, 1) << unknownAid.describe();
    EXPECT_NE(unknownAid.err.find("Unable to read COSData for FE tag"), std::string::npos)
        << unknownAid.err;
}

TEST_F(ToolTest, InfoFeJsonDecodesTheIdentity) {
    const ToolResult result = run({"--json", "info", "FE"});
    ASSERT_EQ(result.status, 0) << result.describe();
    const JsonValue json = parseJson(result.out);

    EXPECT_EQ(json["tag"].string, "FE");
    EXPECT_EQ(json["platformId"].string, "ZLM-P1");
    EXPECT_EQ(json["cosVersion"].string, "0100");
    EXPECT_EQ(json["customerId"].string, "ACME");
}

}  // namespace
}  // namespace clitest
