// Every file in examples/broken/ is refused at load with the library's message
// in the log, and drops the file loaded before it.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "E2eSupport.h"

namespace e2e {
namespace {

TEST(BrokenUpdateFile, EachIsRefusedWithItsMessage) {
    const std::string incorrect = "Multiscript content is incorrect : ";
    const std::map<std::string, std::string> expected{
        {"malformed.xml", "update file, line 4: not well-formed XML"},
        {"undefined-update-type.xml",
         incorrect + "Metadata entry with undefined script 'updateType'"},
        {"missing-script-name.xml", incorrect + "Metadata entry with script name not defined"},
        {"script-not-present.xml",
         incorrect + "Metadata entry with script 'patch-0101-0102' not present"},
        {"service-without-audit.xml",
         incorrect + "Service 'service-transit' have no Audit script."},
        {"audit-not-present.xml",
         incorrect + "Audit script 'audit-transit' for Service 'service-transit' not present"},
        {"script-empty-name.xml", incorrect + "Script entry contains an empty name"},
        {"script-empty-content.xml", incorrect + "Script entry contains an empty script content"},
        {"audit-empty-name.xml", incorrect + "AuditScript entry contains an empty name"},
        {"audit-empty-content.xml",
         incorrect + "AuditScript entry contains an empty script content"}};
    size_t tried = 0;
    for (const auto& file : std::filesystem::directory_iterator(examplePath("broken"))) {
        const std::string name = file.path().filename().string();
        SCOPED_TRACE(name);
        const auto message = expected.find(name);
        ASSERT_NE(message, expected.end()) << "no expected message for this file";
        Bench bench;
        auto& engine = bench.startEngine(examplePath("update.xml"));

        EXPECT_THROW(bench.load(file.path().string()), api::COSUpdateException);

        EXPECT_TRUE(bench.log().contains(message->second)) << bench.log().text;
        EXPECT_THROW(engine.doUpdate(), api::COSUpdateException);  // nothing kept
        EXPECT_EQ(bench.chip().state(), cosim::ChipState::factoryDefault());
        ++tried;
    }
    EXPECT_EQ(tried, expected.size());
}

}  // namespace
}  // namespace e2e
