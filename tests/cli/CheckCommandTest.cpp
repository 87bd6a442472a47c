// `cosupdate check`: the script the library selects for chips in various
// states, as the tool reads it from the library's log.

#include <gtest/gtest.h>

#include "JsonParser.h"
#include "ToolFixture.h"

namespace clitest {
namespace {

const std::string kUpdate = examplePath("update.xml");

struct SelectionCase {
    const char* name;
    std::vector<std::string> chipSettings;  // for `chip set`
    int status;
    const char* selected;  // the line check prints first
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const SelectionCase& c, std::ostream* out) {
    *out << c.name;
}

class CheckSelection : public ToolTest, public ::testing::WithParamInterface<SelectionCase> {};

TEST_P(CheckSelection, NamesTheScriptTheLibrarySelected) {
    const SelectionCase& c = GetParam();
    std::vector<std::string> set{"chip", "set"};
    set.insert(set.end(), c.chipSettings.begin(), c.chipSettings.end());
    ASSERT_EQ(run(set).status, 0);
    const std::string chipBefore = chipText();

    const ToolResult result = run({"check", kUpdate});

    EXPECT_EQ(result.status, c.status) << result.describe();
    EXPECT_EQ(result.out.substr(0, result.out.find('\n')), c.selected) << result.out;
    EXPECT_EQ(chipText(), chipBefore) << "check changed the chip";
}

INSTANTIATE_TEST_SUITE_P(
    Chips, CheckSelection,
    ::testing::Values(
        SelectionCase{
            "Factory", {"version", "0100"}, 0, "update available: patch-0100-0101 (Patch)"},
        SelectionCase{
            "AcmeBuild", {"version", "0101"}, 0, "update available: patch-0101-0102-acme (Patch)"},
        SelectionCase{"GlobexBuild",
                      {"version", "0101", "customer", "GLOBEX"},
                      0,
                      "update available: patch-0101-0102-globex (Patch)"},
        SelectionCase{"GenericBuild",
                      {"version", "0101", "customer", "INITECH"},
                      0,
                      "update available: patch-0101-0102 (Patch)"},
        SelectionCase{"ServiceMissing",
                      {"version", "0102"},
                      0,
                      "update available: service-transit (Service)"},
        SelectionCase{"ServiceInstalled",
                      {"version", "0102", "services", "F05A4C4D53000001"},
                      3,
                      "no update applies"},
        SelectionCase{"OtherPlatform", {"platform", "ZLM-P3"}, 3, "no update applies"}),
    [](const ::testing::TestParamInfo<SelectionCase>& info) { return info.param.name; });

TEST_F(ToolTest, CheckJsonNamesTheSelectionAndTheChip) {
    const ToolResult result = run({"--json", "check", kUpdate});
    ASSERT_EQ(result.status, 0) << result.describe();

    const JsonValue json = parseJson(result.out);

    EXPECT_EQ(json["command"].string, "check");
    EXPECT_TRUE(json["updateAvailable"].boolean);
    EXPECT_EQ(json["selected"]["name"].string, "patch-0100-0101");
    EXPECT_EQ(json["selected"]["type"].string, "Patch");
    EXPECT_EQ(json["cosVersion"].string, "0100");
    EXPECT_EQ(json["customerId"].string, "ACME");
}

TEST_F(ToolTest, CheckJsonSaysWhenNothingApplies) {
    ASSERT_EQ(run({"chip", "set", "version", "0300"}).status, 0);

    const ToolResult result = run({"--json", "check", kUpdate});
    ASSERT_EQ(result.status, 3) << result.describe();
    const JsonValue json = parseJson(result.out);

    EXPECT_EQ(json["exitStatus"].number, 3);
    EXPECT_FALSE(json["updateAvailable"].boolean);
    EXPECT_EQ(json["selected"].type, JsonValue::Type::Null);
    EXPECT_EQ(json["cosVersion"].string, "0300");
}

TEST_F(ToolTest, CheckStillNamesTheScriptWithTheAndroidLog) {
    const ToolResult result = run({"--android-log", "check", kUpdate});

    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.out.substr(0, result.out.find('\n')),
              "update available: patch-0100-0101 (Patch)");
    // The default sink wrote its lines too: on a host the Android log is stderr.
    EXPECT_NE(result.err.find("eSE upgrade:"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace clitest
