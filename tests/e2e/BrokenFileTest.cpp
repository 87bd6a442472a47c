// Every broken example is refused at load with the library's own message.

#include <gtest/gtest.h>

#include "E2eSupport.h"

namespace e2e {
namespace {

struct BrokenFile {
    const char* file;
    const char* message;
};

class BrokenUpdateFile : public ::testing::TestWithParam<BrokenFile> {};

TEST_P(BrokenUpdateFile, IsRefusedWithItsValidationMessage) {
    Bench bench;
    auto& engine = bench.startEngine();

    try {
        bench.load(examplePath(std::string("broken/") + GetParam().file));
        FAIL() << "loaded";
    } catch (const api::COSUpdateException& e) {
        EXPECT_STREQ(e.what(), "Multiscript contains invalid/incorrect entry");
    }

    EXPECT_TRUE(bench.log().contains(
        api::COSUPDATE_LOG_ERROR,
        std::string("Multiscript content is incorrect : ") + GetParam().message))
        << bench.log().dump();
    EXPECT_THROW(engine.doUpdate(), api::COSUpdateException);  // nothing kept
}

INSTANTIATE_TEST_SUITE_P(
    Examples, BrokenUpdateFile,
    ::testing::Values(
        BrokenFile{"undefined-update-type.xml",
                   "Metadata entry with undefined script 'updateType' "},
        BrokenFile{"missing-script-name.xml", "Metadata entry with script name not defined"},
        BrokenFile{"script-not-present.xml",
                   "Metadata entry with script 'patch-0101-0102' not present"},
        BrokenFile{"service-without-audit.xml", "Service 'service-transit' have no Audit script."},
        BrokenFile{"audit-not-present.xml",
                   "Audit script 'audit-transit' for Service 'service-transit' not present"},
        BrokenFile{"script-empty-name.xml", "Script entry contains an empty name"},
        BrokenFile{"script-empty-content.xml", "Script entry contains an empty script content"},
        BrokenFile{"audit-empty-name.xml", "AuditScript entry contains an empty name"},
        BrokenFile{"audit-empty-content.xml",
                   "AuditScript entry contains an empty script content"}),
    [](const ::testing::TestParamInfo<BrokenFile>& info) {
        std::string name = info.param.file;
        name = name.substr(0, name.find('.'));
        for (char& c : name) {
            c = c == '-' ? '_' : c;
        }
        return name;
    });

TEST(BrokenUpdateFile, MalformedXmlIsRefusedWithTheLineAtFault) {
    Bench bench;
    bench.startEngine();

    try {
        bench.load(examplePath("broken/malformed.xml"));
        FAIL() << "loaded";
    } catch (const api::COSUpdateException& e) {
        EXPECT_STREQ(e.what(), "Unable to extract 'COSUpdate' data from memory");
    }
    EXPECT_TRUE(bench.log().contains(api::COSUPDATE_LOG_ERROR, "update file, line 4"))
        << bench.log().dump();
}

TEST(BrokenUpdateFile, RefusalDropsTheFileLoadedBefore) {
    Bench bench;
    auto& engine = bench.startEngine(examplePath("update.xml"));

    EXPECT_THROW(bench.load(examplePath("broken/script-not-present.xml")), api::COSUpdateException);

    EXPECT_THROW(engine.isUpdateAvailable(), api::COSUpdateException);
    EXPECT_EQ(bench.chip().state(), cosim::ChipState::factoryDefault());
}

}  // namespace
}  // namespace e2e
