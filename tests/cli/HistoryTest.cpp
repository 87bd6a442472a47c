// The update history: a record for every update that touched the chip,
// listed newest first by `cosupdate history` (its --json checked against the
// schema like every other); a corrupt line reported and skipped, a line a
// crash cut short kept apart from the next record; the histories of other
// chips in the state directory, filtered by platform id and FC; a history
// that cannot be written does not undo the update.

#include <nlohmann/json.hpp>

#include "ToolTest.h"

namespace cosupdate::test {
namespace {

using Json = nlohmann::json;
constexpr auto npos = std::string::npos;
const std::string kUpdate = exampleUpdate();

class HistoryTest : public ToolTest {
  protected:
    Json history(const std::vector<std::string>& options = {}) {
        std::vector<std::string> args{"--json", "history"};
        args.insert(args.end(), options.begin(), options.end());
        const ToolResult result = run(args);
        EXPECT_EQ(result.status, 0) << result.describe();
        return Json::parse(result.out);
    }
    std::string historyFile() const { return m_chip + ".history"; }
};

std::vector<std::string> resultsOf(const Json& listing) {
    std::vector<std::string> results;
    for (const Json& record : listing["records"]) {
        results.push_back(record["result"].is_null() ? "null"
                                                     : record["result"].get<std::string>());
    }
    return results;
}

TEST_F(HistoryTest, EveryUpdateThatTouchedTheChipIsListedNewestFirst) {
    const std::string broken = std::string(COSUPDATE_EXAMPLES_DIR) + "/broken/malformed.xml";
    ASSERT_EQ(run({"update", kUpdate}).status, 0);
    ASSERT_EQ(run({"update", broken}).status, 5);  // refused before any APDU
    ASSERT_EQ(run({"update", kUpdate}).status, 3);
    ASSERT_EQ(run({"check", kUpdate}).status, 3);  // not an update

    const Json listing = history();
    EXPECT_EQ(resultsOf(listing), (std::vector<std::string>{"nothing to do", "deployed"}));
    ASSERT_EQ(listing["records"].size(), 2u);
    const Json& deployed = listing["records"][1];
    EXPECT_LT(deployed["time"].get<std::string>(),
              listing["records"][0]["time"].get<std::string>());
    EXPECT_EQ(deployed["exitStatus"], 0);
    EXPECT_EQ(deployed["file"], std::filesystem::canonical(kUpdate).string());
    EXPECT_EQ(deployed["chipFile"], m_chip);
    EXPECT_EQ(deployed["transport"]["name"], "sim");
    EXPECT_EQ(deployed["chip"], (Json{{"platformId", "ZLM-P1"}, {"fc", "5A4C4D010000002A"}}));
    EXPECT_EQ(deployed["before"]["cosVersion"], "0100");
    EXPECT_EQ(deployed["after"]["cosVersion"], "0102");
    EXPECT_EQ(deployed["scripts"].size(), 3u);
    EXPECT_TRUE(deployed["trace"].is_null());
    EXPECT_EQ(listing["corrupt"], Json::array());

    const ToolResult text = run({"history"});
    EXPECT_EQ(text.status, 0) << text.describe();
    const size_t newest = text.out.find("nothing to do, exit status 3\n");
    const size_t oldest = text.out.find("deployed, exit status 0\n");
    EXPECT_LT(newest, oldest) << text.out;
    EXPECT_NE(oldest, npos) << text.out;
    EXPECT_NE(text.out.find("  COS:       0100 -> 0102\n"), npos) << text.out;
    EXPECT_NE(text.out.find("  script:    patch-0100-0101 (Patch): Success, COS 0101, 6 APDUs\n"),
              npos)
        << text.out;
}

TEST_F(HistoryTest, ACorruptLineIsReportedAndTheOthersStillListed) {
    ASSERT_EQ(run({"update", kUpdate}).status, 0);
    const std::string record = readFile(historyFile());
    Json wrongType = Json::parse(record);
    wrongType["apdus"] = "many";
    Json noTime = Json::parse(record);
    noTime.erase("time");
    // The last line has no newline, as a crash in the middle of a write
    // leaves it: the next record must not be glued to it.
    writeFile("chip.state.history",
              record + "not JSON\n[1]\n" + wrongType.dump() + "\n" + noTime.dump() + "\n{\"ti");
    ASSERT_EQ(run({"update", kUpdate}).status, 3);

    const ToolResult result = run({"--json", "history"});
    ASSERT_EQ(result.status, 0) << result.describe();
    const Json listing = Json::parse(result.out);
    EXPECT_EQ(resultsOf(listing), (std::vector<std::string>{"nothing to do", "deployed"}));
    const std::vector<std::pair<size_t, std::string>> expected{
        {2, "not JSON"},  {3, "not a JSON object"}, {4, "'apdus' is not a count"},
        {5, "no 'time'"}, {6, "not JSON"},
    };
    ASSERT_EQ(listing["corrupt"].size(), expected.size()) << listing["corrupt"];
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(listing["corrupt"][i]["line"], expected[i].first);
        EXPECT_EQ(listing["corrupt"][i]["reason"], expected[i].second);
        EXPECT_NE(result.err.find("cosupdate: " + historyFile() + ", line " +
                                  std::to_string(expected[i].first) +
                                  ": not an update record: " + expected[i].second + "\n"),
                  npos)
            << result.err;
    }
}

TEST_F(HistoryTest, EachChipItsOwnHistoryFilteredByPlatformAndFc) {
    const std::string other = path("other.state");
    ASSERT_EQ(run({"--chip", other, "chip", "set", "platform", "ZLM-P9", "fc", "0102"}).status, 0);
    ASSERT_EQ(run({"--chip", other, "update", kUpdate}).status, 3);  // no script for ZLM-P9
    ASSERT_EQ(run({"update", kUpdate}).status, 0);
    // A chip another transport reached, as its history file holds it.
    Json foreign = Json::parse(readFile(historyFile()));
    foreign["transport"] = Json{{"name", "pcsc"}, {"argument", "R"}, {"description", "PC/SC"}};
    foreign["chipFile"] = nullptr;
    foreign["chip"] = Json{{"platformId", "ZLM-P3"}, {"fc", "0A0B"}};
    foreign["time"] = "2000-01-01T00:00:00.000Z";
    std::filesystem::create_directory(path("history"));
    writeFile("history/ZLM-P3_0A0B.history", foreign.dump() + "\n");

    struct Case {
        std::vector<std::string> options;
        std::vector<std::string> platforms;  // of the records listed, newest first
    };
    const std::vector<Case> cases{
        {{}, {"ZLM-P1", "ZLM-P3"}},  // the default chip's and the history directory's
        {{"--chip", other}, {"ZLM-P9"}},
        {{"--transport", "sim"}, {"ZLM-P1"}},
        {{"--platform", "ZLM-P3"}, {"ZLM-P3"}},
        {{"--fc", "5A4C4D010000002A"}, {"ZLM-P1"}},
        {{"--chip", other, "--fc", "01:02"}, {"ZLM-P9"}},
        {{"--chip", other, "--platform", "ZLM-P1"}, {}},
    };
    for (const Case& c : cases) {
        const Json listing = history(c.options);
        std::vector<std::string> platforms;
        for (const Json& record : listing["records"]) {
            platforms.push_back(record["chip"]["platformId"]);
        }
        EXPECT_EQ(platforms, c.platforms) << testing::PrintToString(c.options);
    }
    EXPECT_EQ(run({"history", "--chip", other, "--transport", "pcsc"}).status, 2);
}

TEST_F(HistoryTest, AHistoryThatCannotBeWrittenLeavesTheUpdateDone) {
    std::filesystem::create_directory(historyFile());  // not a file to append to
    const ToolResult result = run({"--json", "update", kUpdate});

    EXPECT_EQ(result.status, 1) << result.describe();
    const Json reply = Json::parse(result.out);
    EXPECT_EQ(reply["result"], "deployed");
    EXPECT_NE(reply["error"].get<std::string>().find("update history " + historyFile()), npos)
        << reply["error"];
    EXPECT_NE(result.err.find("cosupdate: update history " + historyFile() + ": cannot open: "),
              npos)
        << result.err;
    EXPECT_EQ(chip().cosVersion, 0x0102);
}

}  // namespace
}  // namespace cosupdate::test
