// cosupdate run as a process on the simulated chip with the example update
// files: its exit statuses (0 done, 1 error, 2 bad command line, 3 nothing to
// do, 4 update failed, 5 file refused), what it prints and the chip it leaves.
// Each test's own directory holds its default chip state file.

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <tuple>

#include "ToolTest.h"

namespace cosupdate::test {
namespace {

const std::string kUpdate = exampleUpdate();
constexpr auto npos = std::string::npos;

// The tool's JSON with the numbers that vary from run to run (milliseconds, and
// APDU counts unless 0) replaced by N.
std::string steady(const std::string& json) {
    static const std::regex kVarying(R"(("elapsedMs":)[0-9]+|("apdus":)[1-9][0-9]*)");
    return std::regex_replace(json, kVarying, "$1$2N");
}

TEST_F(ToolTest, UpdateFailsThenDeploysTheExampleThenHasNothingToDo) {
    // One LOAD BLOCK byte changed: the first patch fails its CRC at COMMIT.
    std::string text = readFile(kUpdate);
    const size_t block = text.find("4420823CFDE6F1C2");
    ASSERT_NE(block, npos) << "examples/update.xml changed";
    const std::string corrupted = writeFile("corrupted.xml", text.replace(block + 15, 1, "3"));

    const ToolResult failed = run({"--log-level", "info", "update", corrupted});

    EXPECT_EQ(failed.status, 4) << failed.describe();
    EXPECT_NE(failed.out.find("patch-0100-0101 (Patch): Failed"), npos) << failed.out;
    EXPECT_NE(failed.out.find("unexpected status word 6A80"), npos) << failed.out;
    EXPECT_NE(failed.err.find("[error] "), npos) << failed.err;
    EXPECT_NE(failed.err.find("[info] "), npos) << failed.err;
    EXPECT_EQ(failed.err.find("[debug] "), npos) << "below --log-level: " << failed.err;
    EXPECT_NE(chipText().find("\ncos-version 0100\n"), npos);

    const ToolResult deployed = run({"update", kUpdate});

    ASSERT_EQ(deployed.status, 0) << deployed.describe();
    EXPECT_NE(deployed.out.find("result:       deployed\n"), npos) << deployed.out;
    EXPECT_NE(deployed.out.find("COS version:  0100 -> 0102\n"), npos) << deployed.out;
    EXPECT_NE(deployed.err.find("running service-transit (Service) ...\n"), npos) << deployed.err;
    const std::string chip = chipText();
    EXPECT_NE(chip.find("\ncos-version 0102\n"), npos) << chip;
    EXPECT_NE(chip.find("\nservice F05A4C4D53000001\n"), npos) << chip;

    const ToolResult again = run({"update", kUpdate});

    EXPECT_EQ(again.status, 3) << again.describe();
    EXPECT_NE(again.out.find("result:       nothing to do\n"), npos) << again.out;
    EXPECT_EQ(chipText(), chip);
}

TEST_F(ToolTest, UpdateJsonDescribesTheRun) {
    const ToolResult result = run({"update", kUpdate, "--json"});  // an option after the command

    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.err, "") << "--json shows no progress";
    EXPECT_EQ(steady(result.out),
              R"({"command":"update","exitStatus":0,"file":")" + kUpdate +
                  R"(","result":"deployed","engineResult":1,"error":null,"scripts":[)"
                  R"({"name":"patch-0100-0101","type":"Patch","result":"Success",)"
                  R"("cosVersionAfter":"0101","apdus":N,"elapsedMs":N},)"
                  R"({"name":"patch-0101-0102-acme","type":"Patch","result":"Success",)"
                  R"("cosVersionAfter":"0102","apdus":N,"elapsedMs":N},)"
                  R"({"name":"service-transit","type":"Service","result":"Success",)"
                  R"("cosVersionAfter":"0102","apdus":N,"elapsedMs":N}],"deployed":2,)"
                  R"("before":{"platformId":"ZLM-P1","cosVersion":"0100","customerId":"ACME"},)"
                  R"("after":{"platformId":"ZLM-P1","cosVersion":"0102","customerId":"ACME"},)"
                  R"("apdus":N,"elapsedMs":N,"errors":[],"details":[]})"
                  "\n");
}

TEST_F(ToolTest, CheckNamesTheScriptTheLibrarySelects) {
    // `chip set`, then check's status and the script it names ("": none).
    const std::vector<std::tuple<std::vector<std::string>, int, std::string, std::string>> cases{
        {{"chip", "set", "version", "101", "customer", "GLOBEX"},
         0,
         "patch-0101-0102-globex (Patch)",
         R"({"name":"patch-0101-0102-globex","type":"Patch"})"},
        {{"chip", "set", "version", "0102", "customer", "ACME"},
         0,
         "service-transit (Service)",
         R"({"name":"service-transit","type":"Service"})"},
        {{"chip", "set", "services", "F05A4C4D53000001"}, 3, "", "null"},
    };
    for (const auto& [chip, status, selected, selectedJson] : cases) {
        SCOPED_TRACE(selected);
        ASSERT_EQ(run(chip).status, 0);
        const std::string chipBefore = chipText();

        const ToolResult text = run({"check", kUpdate});
        const std::string json = run({"--json", "check", kUpdate}).out;

        EXPECT_EQ(text.status, status) << text.describe();
        EXPECT_EQ(text.out.substr(0, text.out.find('\n')),
                  selected.empty() ? "no update applies" : "update available: " + selected);
        EXPECT_EQ(text.err, "") << "the library's log is off by default";
        EXPECT_NE(json.find(R"("exitStatus":)" + std::to_string(status) + ","), npos) << json;
        EXPECT_NE(json.find(R"("selected":)" + selectedJson + ","), npos) << json;
        EXPECT_EQ(chipText(), chipBefore) << "check changed the chip";
    }
}

// Which fault each broken example has, the end-to-end tests check; here, that
// each is refused with status 5 and the fault printed under the first line.
TEST_F(ToolTest, ValidateRefusesEveryBrokenExampleAndPrintsTheFault) {
    for (const auto& file :
         std::filesystem::directory_iterator(std::string(COSUPDATE_EXAMPLES_DIR) + "/broken")) {
        const std::string path = file.path().string();
        const ToolResult result = run({"validate", path});

        EXPECT_EQ(result.status, 5) << result.describe();
        EXPECT_EQ(result.out.rfind(path + ": invalid: ", 0), 0u) << result.out;
        EXPECT_EQ(result.out.find("\n  "), result.out.find('\n')) << "no fault: " << result.out;
        if (file.path().filename() == "service-without-audit.xml") {
            EXPECT_EQ(result.out, path +
                                      ": invalid: Multiscript contains invalid/incorrect entry\n"
                                      "  Multiscript content is incorrect : Service "
                                      "'service-transit' have no Audit script.\n");
        }
    }

    const ToolResult good = run({"validate", kUpdate});
    EXPECT_EQ(good.status, 0) << good.describe();
    EXPECT_EQ(good.out, kUpdate + ": valid\n");
    EXPECT_TRUE(listing().empty()) << "validate needs no chip";
}

TEST_F(ToolTest, ValidateJsonKeepsAnOddPathAndListsTheFault) {
    // Quotes, a backslash, control characters and a byte that is not UTF-8.
    const std::string path =
        writeFile("say \"x\\y\"\t\x01\xFF.xml",
                  readFile(COSUPDATE_EXAMPLES_DIR "/broken/script-empty-name.xml"));

    const ToolResult result = run({"--json", "validate", path});

    EXPECT_EQ(result.status, 5) << result.describe();
    EXPECT_EQ(result.out,
              R"({"command":"validate","exitStatus":5,"file":")" + m_dir.string() +
                  R"(/say \"x\\y\"\t\u0001)"
                  "\xEF\xBF\xBD"  // U+FFFD for the byte that is not UTF-8
                  R"(.xml","valid":false,)"
                  R"("error":"Multiscript contains invalid/incorrect entry","details":[)"
                  R"("Multiscript content is incorrect : Script entry contains an )"
                  R"(empty name"]})"
                  "\n");
}

TEST_F(ToolTest, InfoPrintsTheObjectAsTheLibraryReadsIt) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> steps{
        {{"info", "FD"}, "0A01\n"},  // the first two of its four bytes
        {{"info", "fe"}, "C1065A4C4D2D5031C2020100C30441434D45\n"},
        {{"chip", "set", "fd", "0B020004"}, ""},  // quiet on success
        {{"info", "FD"}, "0B02\n"},
        {{"--aid-fc", "F05A4C4D00FD", "info", "FC"}, "0B020004\n"},  // FD's AID: all four
    };
    for (const auto& [args, out] : steps) {
        const ToolResult result = run(args);
        EXPECT_EQ(result.status, 0) << result.describe();
        EXPECT_EQ(result.out, out) << args.back();
    }
}

TEST_F(ToolTest, BadInputGivesOneLineOnStderrAndAFailingStatus) {
    const std::string corrupt = "platform-id ZLM-P1\ncos-version 01XY\nfd 0A010003\n";
    const std::string chip = writeFile("corrupt.state", corrupt);
    const std::string dir = m_dir.string();
    const std::vector<std::tuple<std::vector<std::string>, int, std::string>> cases{
        {{"update", dir + "/none.xml"}, 1, "No such file or directory"},
        {{"check", dir}, 1, "is a directory"},  // unreadable, even to root
        {{"--aid-fe", "F05A4C4D00GE", "info", "FE"}, 2, "not hex"},
        {{"info", "FF"}, 2, "unknown tag 'FF'"},
        {{"--frobnicate", "info", "FE"}, 2, "unknown option '--frobnicate'"},
        {{"upgrade", kUpdate}, 2, "unknown command 'upgrade'"},
        {{"validate"}, 2, "usage: cosupdate validate FILE"},
        {{"--chip", chip, "update", kUpdate}, 1, "corrupt.state is corrupt"},
    };
    for (const auto& [args, status, says] : cases) {
        SCOPED_TRACE(says);
        const ToolResult result = run(args);

        EXPECT_EQ(result.status, status) << result.describe();
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.rfind("cosupdate: ", 0), 0u) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << "not one line: " << result.err;
        EXPECT_NE(result.err.find(says), npos) << result.err;
    }
    EXPECT_EQ(readFile(chip), corrupt);
}

}  // namespace
}  // namespace cosupdate::test
