// Update files the library accepts but an update would stop on or skip are
// refused by validate, check and update alike (exit 5), each fault named,
// before anything reaches the chip; and "-" reads the update file from
// standard input.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <tuple>

#include "ToolTest.h"

namespace cosupdate::test {
namespace {

constexpr auto npos = std::string::npos;
const std::string kUpdate = exampleUpdate();
const std::string kRefused =
    ": the library accepts the file, but it has faults an update would stop on or skip";

// The example with its first `from` replaced by `to`.
std::string edited(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    if (at == npos) {
        throw std::invalid_argument("examples/update.xml changed: no " + from);
    }
    return text.replace(at, from.size(), to);
}

struct Fault {
    const char* what;
    std::string content;
    std::string finding;  // the start of the line that names it
};

std::vector<Fault> faults(const std::string& example) {
    const std::string firstVersion = R"(platformId="ZLM-P1" cosVersion="0100")";
    const auto version = [&](const std::string& value) {
        return edited(example, firstVersion, R"(platformId="ZLM-P1" cosVersion=")" + value + "\"");
    };
    const std::string versionFault = "manifest entry 1 ('patch-0100-0101'): cosVersion '";
    return {
        {"version not hex", version("zz"), versionFault + "zz' is not a COS version"},
        {"version empty", version(""), versionFault + "' is not a COS version"},
        {"version too long", version("10100"), versionFault + "10100' is not a COS version"},
        {"version with a prefix", version("0x100"), versionFault + "0x100' is not a COS version"},
        {"audit script missing",
         edited(example, R"(cosVersion="0100"/>)", R"(cosVersion="0100" auditScriptName="none"/>)"),
         "manifest entry 1 ('patch-0100-0101'): audit script 'none' not present"},
        {"script that does not parse", edited(example, R"(<apdu cmd="80540000"/>)", "<apdu/>"),
         "script 'patch-0100-0101': the kernel cannot parse it: "},
        {"inconsistent script", edited(example, "00000060 1E4D6CD7", "00000060 1E4D6C"),
         "script 'patch-0100-0101': the kernel finds it inconsistent: "},
        {"audit script that does not parse", edited(example, "<audit>", "<audit><bogus/>"),
         "audit script 'audit-transit': the kernel cannot parse it: "},
        {"text after a NUL byte", example + std::string(1, '\0') + "<COSUpdate/>",
         "update file, line 115: a NUL byte"},
        {"a second root element", example + "<COSUpdate/>\n",
         "update file, line 115: a second root element <COSUpdate>"},
    };
}

TEST_F(ToolTest, FaultsAnUpdateWouldStopOnAreRefusedBeforeTheChip) {
    ASSERT_EQ(run({"chip", "reset"}).status, 0);
    const std::string chip = chipText();
    for (const Fault& fault : faults(readFile(kUpdate))) {
        SCOPED_TRACE(fault.what);
        const std::string path = writeFile("faulty.xml", fault.content);

        const ToolResult validate = run({"validate", path});
        const nlohmann::json json = nlohmann::json::parse(run({"--json", "validate", path}).out);

        EXPECT_EQ(validate.status, 5) << validate.describe();
        EXPECT_EQ(validate.out.rfind(path + ": invalid" + kRefused + "\n", 0), 0u) << validate.out;
        EXPECT_NE(validate.out.find("\n  " + fault.finding), npos) << validate.out;
        EXPECT_EQ(json["valid"], false);
        ASSERT_FALSE(json["details"].empty()) << json;
        EXPECT_EQ(json["details"][0].get<std::string>().rfind(fault.finding, 0), 0u) << json;
        for (const char* command : {"check", "update"}) {
            const ToolResult result = run({command, path});
            EXPECT_EQ(result.status, 5) << command << ": " << result.describe();
            EXPECT_EQ(result.err.rfind("cosupdate: " + path + kRefused + "\n  " + fault.finding, 0),
                      0u)
                << command << ": " << result.err;
        }
        EXPECT_EQ(chipText(), chip) << "the chip was touched";
    }
}

TEST_F(ToolTest, ManyFaultsAreCountedNotAllListed) {
    std::string manifest;
    for (int i = 0; i < 30; ++i) {
        manifest += R"(<entry scriptName="patch-0100-0101" scriptType="Patch" cosVersion="zz"/>)";
    }
    const std::string path =
        writeFile("many.xml", edited(readFile(kUpdate), "<manifest>", "<manifest>" + manifest));

    const nlohmann::json answer = nlohmann::json::parse(run({"--json", "validate", path}).out);

    ASSERT_EQ(answer["details"].size(), 21u) << answer;
    EXPECT_EQ(answer["details"][20], "... and 10 more");
}

TEST_F(ToolTest, DashReadsTheUpdateFileFromStandardInput) {
    const std::string example = readFile(kUpdate);
    // Command, input, exit status and what stdout or stderr starts with.
    const std::vector<std::tuple<std::string, std::string, int, std::string>> cases{
        {"validate", example, 0, "-: valid\n"},
        {"validate", example + "<COSUpdate/>", 5, "-: invalid" + kRefused},
        {"check", "", 5, "cosupdate: -: Unable to extract 'COSUpdate' data from memory"},
        {"update", example, 0, "result:       deployed\n"},
        {"update", example, 3, "result:       nothing to do\n"},
    };
    for (const auto& [command, input, status, says] : cases) {
        SCOPED_TRACE(command + " " + says);
        const ToolResult result = run({command, "-"}, {input});

        EXPECT_EQ(result.status, status) << result.describe();
        EXPECT_EQ((status == 5 && command != "validate" ? result.err : result.out).rfind(says, 0),
                  0u)
            << result.describe();
    }
    // A file name that is not "-" is still a file name.
    EXPECT_EQ(run({"validate", "--", "-x"}).status, 1);
}

}  // namespace
}  // namespace cosupdate::test
