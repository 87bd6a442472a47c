// `cosupdate update` run as a process on the simulated chip.

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <stdexcept>

#include "JsonParser.h"
#include "ToolFixture.h"

namespace clitest {
namespace {

const std::string kUpdate = examplePath("update.xml");

// The example update with one LOAD BLOCK byte changed: the first patch's
// image no longer matches its CRC-32 and the chip refuses the COMMIT.
std::string corruptedUpdate() {
    std::string text = readFile(kUpdate);
    const std::string block = "4420823CFDE6F1C2";
    const size_t at = text.find(block);
    if (at == std::string::npos) {
        throw std::runtime_error("examples/update.xml changed: no LOAD BLOCK " + block);
    }
    text.replace(at, block.size(), "4420823CFDE6F1C3");
    return text;
}

TEST_F(ToolTest, UpdateDeploysTheExampleOnAFactoryChip) {
    const ToolResult result = run({"update", kUpdate});

    ASSERT_EQ(result.status, 0) << result.describe();
    EXPECT_NE(result.out.find("result:       deployed"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("COS version:  0100 -> 0102"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("scripts run:  3"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("deployed:     2"), std::string::npos) << result.out;
    const std::string chip = chipText();
    EXPECT_NE(chip.find("cos-version 0102"), std::string::npos) << chip;
    EXPECT_NE(chip.find("service F05A4C4D53000001"), std::string::npos) << chip;
}

// "<script>: Success, N APDUs, T ms" with N above zero.
bool finishedWithApdus(const std::vector<std::string>& lines, const std::string& script) {
    static const std::regex kTail(R"(: Success, ([0-9]+) APDUs?, [0-9]+ ms$)");
    for (const std::string& line : lines) {
        std::smatch match;
        if (line.rfind(script + ": ", 0) == 0 && std::regex_search(line, match, kTail) &&
            std::stoul(match[1]) > 0) {
            return true;
        }
    }
    return false;
}

TEST_F(ToolTest, UpdateShowsEachScriptAsPlainLinesWhenNotOnATerminal) {
    const ToolResult result = run({"update", kUpdate});

    ASSERT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.err.find('\r'), std::string::npos) << "status line rewritten into a pipe";
    const std::vector<std::string> lines = result.errLines();
    for (const std::string script :
         {"patch-0100-0101 (Patch)", "patch-0101-0102-acme (Patch)", "service-transit (Service)"}) {
        EXPECT_NE(std::find(lines.begin(), lines.end(), "running " + script + " ..."), lines.end())
            << result.err;
        EXPECT_TRUE(finishedWithApdus(lines, script)) << result.err;
    }
}

TEST_F(ToolTest, SecondUpdateHasNothingToDo) {
    ASSERT_EQ(run({"update", kUpdate}).status, 0);
    const std::string chipAfterFirst = chipText();

    const ToolResult second = run({"update", kUpdate});

    EXPECT_EQ(second.status, 3) << second.describe();
    EXPECT_NE(second.out.find("result:       nothing to do"), std::string::npos) << second.out;
    EXPECT_NE(second.out.find("COS version:  0102 -> 0102"), std::string::npos) << second.out;
    EXPECT_EQ(chipText(), chipAfterFirst);
}

TEST_F(ToolTest, FailedScriptGivesItsOwnStatusAndTheKernelsFault) {
    const std::string broken = writeFile("corrupted.xml", corruptedUpdate());

    const ToolResult failed = run({"update", broken});

    EXPECT_EQ(failed.status, 4) << failed.describe();
    EXPECT_NE(failed.out.find("patch-0100-0101 (Patch): Failed"), std::string::npos) << failed.out;
    EXPECT_NE(failed.out.find("unexpected status word 6A80"), std::string::npos) << failed.out;
    EXPECT_NE(chipText().find("cos-version 0100"), std::string::npos);

    // The good file then resumes from the same chip.
    const ToolResult resumed = run({"update", kUpdate});
    EXPECT_EQ(resumed.status, 0) << resumed.describe();
    EXPECT_NE(chipText().find("cos-version 0102"), std::string::npos);
}

TEST_F(ToolTest, UpdateJsonDescribesTheRun) {
    const ToolResult result = run({"update", kUpdate, "--json"});
    ASSERT_EQ(result.status, 0) << result.describe();

    const JsonValue json = parseJson(result.out);

    EXPECT_EQ(json["command"].string, "update");
    EXPECT_EQ(json["exitStatus"].number, 0);
    EXPECT_EQ(json["result"].string, "deployed");
    EXPECT_EQ(json["engineResult"].number, 1);
    EXPECT_EQ(json["before"]["cosVersion"].string, "0100");
    EXPECT_EQ(json["after"]["cosVersion"].string, "0102");
    EXPECT_EQ(json["after"]["platformId"].string, "ZLM-P1");
    EXPECT_EQ(json["deployed"].number, 2);
    const auto& scripts = json["scripts"];
    ASSERT_EQ(scripts.array.size(), 3u) << result.out;
    const std::vector<std::pair<std::string, std::string>> expected{
        {"patch-0100-0101", "0101"}, {"patch-0101-0102-acme", "0102"}, {"service-transit", "0102"}};
    uint64_t scriptApdus = 0;
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(scripts[i]["name"].string, expected[i].first);
        EXPECT_EQ(scripts[i]["result"].string, "Success");
        EXPECT_EQ(scripts[i]["cosVersionAfter"].string, expected[i].second);
        EXPECT_GT(scripts[i]["apdus"].number, 0);
        scriptApdus += static_cast<uint64_t>(scripts[i]["apdus"].number);
    }
    // The total also has the FE reads and the audits between the scripts.
    EXPECT_GT(json["apdus"].number, static_cast<double>(scriptApdus));
    EXPECT_TRUE(result.err.empty()) << "--json shows no progress: " << result.err;
}

TEST_F(ToolTest, UpdateOfARefusedFileTouchesNothing) {
    const ToolResult result = run({"update", examplePath("broken/service-without-audit.xml")});

    EXPECT_EQ(result.status, 5) << result.describe();
    EXPECT_NE(result.err.find("Multiscript contains invalid/incorrect entry"), std::string::npos);
    EXPECT_NE(result.err.find("Service 'service-transit' have no Audit script."), std::string::npos)
        << result.err;
    EXPECT_NE(chipText().find("cos-version 0100"), std::string::npos);
}

}  // namespace
}  // namespace clitest
