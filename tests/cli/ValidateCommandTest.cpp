// `cosupdate validate` on every file of examples/broken/: the library's
// message and the fault it logged for that file.

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "JsonParser.h"
#include "ToolFixture.h"

namespace clitest {
namespace {

constexpr const char kInvalidEntry[] = "Multiscript contains invalid/incorrect entry";
constexpr const char kIncorrect[] = "Multiscript content is incorrect : ";

struct BrokenFile {
    const char* file;
    const char* message;
    std::string fault;
};

const std::vector<BrokenFile>& brokenFiles() {
    static const std::vector<BrokenFile> files{
        {"audit-empty-content.xml", kInvalidEntry,
         std::string(kIncorrect) + "AuditScript entry contains an empty script content"},
        {"audit-empty-name.xml", kInvalidEntry,
         std::string(kIncorrect) + "AuditScript entry contains an empty name"},
        {"audit-not-present.xml", kInvalidEntry,
         std::string(kIncorrect) +
             "Audit script 'audit-transit' for Service 'service-transit' not present"},
        {"malformed.xml", "Unable to extract 'COSUpdate' data from memory",
         "update file, line 4: not well-formed XML"},
        {"missing-script-name.xml", kInvalidEntry,
         std::string(kIncorrect) + "Metadata entry with script name not defined"},
        {"script-empty-content.xml", kInvalidEntry,
         std::string(kIncorrect) + "Script entry contains an empty script content"},
        {"script-empty-name.xml", kInvalidEntry,
         std::string(kIncorrect) + "Script entry contains an empty name"},
        {"script-not-present.xml", kInvalidEntry,
         std::string(kIncorrect) + "Metadata entry with script 'patch-0101-0102' not present"},
        {"service-without-audit.xml", kInvalidEntry,
         std::string(kIncorrect) + "Service 'service-transit' have no Audit script."},
        {"undefined-update-type.xml", kInvalidEntry,
         std::string(kIncorrect) + "Metadata entry with undefined script 'updateType'"},
    };
    return files;
}

TEST_F(ToolTest, ValidateReportsTheLibrarysFaultForEveryBrokenExample) {
    for (const BrokenFile& broken : brokenFiles()) {
        SCOPED_TRACE(broken.file);
        const std::string path = examplePath(std::string("broken/") + broken.file);

        const ToolResult result = runWithoutChip({"validate", path});

        EXPECT_EQ(result.status, 5) << result.describe();
        EXPECT_NE(result.out.find(path + ": invalid: " + broken.message), std::string::npos)
            << result.out;
        EXPECT_NE(result.out.find(broken.fault), std::string::npos) << result.out;
    }
}

TEST_F(ToolTest, EveryBrokenExampleIsCovered) {
    std::set<std::string> covered;
    for (const BrokenFile& broken : brokenFiles()) {
        covered.insert(broken.file);
    }
    for (const auto& entry : std::filesystem::directory_iterator(examplePath("broken"))) {
        EXPECT_EQ(covered.count(entry.path().filename().string()), 1u)
            << entry.path() << " has no case here";
    }
}

TEST_F(ToolTest, ValidateAcceptsTheExampleWithoutAnyChip) {
    // No chip state file: validate must not need (or create) one.
    const ToolResult result =
        runWithoutChip({"validate", examplePath("update.xml")},
                       {{"XDG_STATE_HOME", (m_dir / "state").string()}, {"HOME", ""}});

    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.out, examplePath("update.xml") + ": valid\n");
    EXPECT_FALSE(std::filesystem::exists(m_dir / "state"));
}

TEST_F(ToolTest, ValidateJsonListsTheFaults) {
    const ToolResult result =
        runWithoutChip({"validate", "--json", examplePath("broken/script-empty-name.xml")});
    ASSERT_EQ(result.status, 5) << result.describe();

    const JsonValue json = parseJson(result.out);

    EXPECT_EQ(json["exitStatus"].number, 5);
    EXPECT_FALSE(json["valid"].boolean);
    EXPECT_EQ(json["error"].string, kInvalidEntry);
    ASSERT_EQ(json["faults"].array.size(), 1u);
    EXPECT_EQ(json["faults"][0].string,
              std::string(kIncorrect) + "Script entry contains an empty name");
}

}  // namespace
}  // namespace clitest
