// Which manifest entry isUpdateAvailable selects, what it reads from the chip
// to decide, and how it fails.

#include "EngineTest.h"

namespace testsupport {
namespace {

using testing::Return;

class SelectionTest : public ReadyEngineTest {
  protected:
    // The script name of the entry the search selects, or "" for none.
    std::string select(const UpdateFile& file) {
        load(file);
        return engine->isUpdateAvailable() ? std::string(peer().selected()->scriptName)
                                           : std::string();
    }
};

UpdateFile withScripts(std::vector<std::optional<ManifestEntry>> manifests) {
    UpdateFile file;
    file.manifests = std::move(manifests);
    for (const char* name : {"p1", "p2", "s1", "s2"}) {
        file.scripts.push_back(ScriptEntry{std::string(name), std::string("version:0101")});
    }
    file.auditScripts = {ScriptEntry{std::string("present"), std::string("check:svc")},
                         ScriptEntry{std::string("missing"), std::string("check:other")}};
    return file;
}

ManifestEntry forCustomer(ManifestEntry entry, const std::string& customer) {
    entry.customerId = customer;
    return entry;
}

// A manifest version is base-16 text read on its low 16 bits; what is not a
// number ends the search with a general error.
TEST_F(SelectionTest, ReadsManifestVersionsAsBase16Text) {
    const struct {
        const char* text;
        uint16_t chipVersion;
        const char* selected;  // nullptr: the search throws
    } cases[] = {{"0x1A", 26, "p1"},      {"1a", 26, "p1"},          {"  1A", 26, "p1"},
                 {"\t+0X1a", 26, "p1"},   {"1Azz", 26, "p1"},        {"1A2B3", 0xA2B3, "p1"},
                 {"-1", 0xFFFF, "p1"},    {"00000100", 0x100, "p1"}, {"1A", 0x1B, ""},
                 {"zz", 26, nullptr},     {"", 26, nullptr},         {"g1", 26, nullptr},
                 {"80000000", 0, nullptr}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        kernel().fake.chip.version = c.chipVersion;
        if (c.selected != nullptr) {
            EXPECT_EQ(select(withScripts({patchEntry("p1", c.text)})), c.selected);
            continue;
        }
        load(withScripts({patchEntry("p1", c.text)}));
        log->lines.clear();
        EXPECT_EQ(thrownMessage([&] { engine->isUpdateAvailable(); }),
                  "Exception detected during COSUpdate::isUpdateAvailable()");
        EXPECT_TRUE(log->has(COSUPDATE_LOG_WARNING,
                             "COSUpdate::isUpdateAvailable() -> Exception detected"));
        EXPECT_FALSE(started()) << "the SE media started for the search is stopped";
    }
}

TEST_F(SelectionTest, PrefersServicesThenCustomerEntriesThenListOrder) {
    const ManifestEntry patchA = patchEntry("p1", "0100");
    const ManifestEntry patchB = patchEntry("p2", "0100");
    const ManifestEntry service = serviceEntry("s1", "missing", "0100");
    EXPECT_EQ(select(withScripts({patchA, patchB})), "p1");
    EXPECT_EQ(select(withScripts({patchA, service})), "s1");
    EXPECT_EQ(select(withScripts({patchA, forCustomer(patchB, "CUST-1")})), "p2");
    EXPECT_EQ(select(withScripts({forCustomer(patchA, "OTHER"), patchB})), "p2");
    EXPECT_EQ(select(withScripts({forCustomer(service, "OTHER")})), "");
    ManifestEntry emptyCustomer = patchA;
    emptyCustomer.customerId = "";
    EXPECT_EQ(select(withScripts({emptyCustomer})), "p1") << "empty text counts as every customer";
}

TEST_F(SelectionTest, SkipsEntriesThatCannotApply) {
    ManifestEntry noPlatform = patchEntry("p1", "0100");
    noPlatform.platformId.reset();
    ManifestEntry otherPlatform = patchEntry("p1", "0100");
    otherPlatform.platformId = "plat-a";
    ManifestEntry noVersion = patchEntry("p1", "0100");
    noVersion.cosVersion.reset();
    ManifestEntry otherType = patchEntry("p1", "0100");
    otherType.type = 3;
    EXPECT_EQ(select(withScripts({noPlatform, otherPlatform, noVersion, otherType,
                                  patchEntry("p2", "0101"), patchEntry("p2", "0100")})),
              "p2");
}

TEST_F(SelectionTest, PassesOverAServiceItsAuditFindsDeployed) {
    kernel().fake.chip.services.insert("svc");
    const auto file =
        withScripts({serviceEntry("s1", "present", "0100"), patchEntry("p1", "0100")});
    EXPECT_EQ(select(file), "p1");
    EXPECT_EQ(kernel().count("auditscriptRunner_executeAuditScript"), 1u);
    EXPECT_EQ(select(withScripts({serviceEntry("s1", "present", "0100")})), "");
}

TEST_F(SelectionTest, ReadsTheCustomerIdOnlyWhenThePlatformAppearsAndOnlyOnce) {
    ManifestEntry otherPlatform = patchEntry("p1", "0100");
    otherPlatform.platformId = "PLAT-B";
    EXPECT_EQ(select(withScripts({otherPlatform})), "");
    EXPECT_EQ(kernel().count("seContextManager_readCOSCustomerId"), 0u);

    load(withScripts({patchEntry("p1", "0200")}));
    EXPECT_FALSE(engine->isUpdateAvailable());
    EXPECT_FALSE(engine->isUpdateAvailable());
    EXPECT_EQ(kernel().count("seContextManager_readCOSCustomerId"), 1u);
    EXPECT_EQ(kernel().count("seContextManager_readCOSPlatformId"), 2u) << "once per loaded file";
    EXPECT_EQ(kernel().count("seContextManager_readCOSVersion"), 3u) << "on every search";
    EXPECT_TRUE(log->has(COSUPDATE_LOG_DEBUG,
                         " * SE COS Platform already retrieved (nothing to do on existing "
                         "updatescript list)"));
}

TEST_F(SelectionTest, KeepsItsSelectionWithoutLookingAtTheChipAgain) {
    load(withScripts({patchEntry("p1", "0100")}));
    ASSERT_TRUE(engine->isUpdateAvailable());
    kernel().journal.clear();
    log->lines.clear();
    EXPECT_TRUE(engine->isUpdateAvailable());
    EXPECT_EQ(kernel().journal, std::vector<std::string>{"seMediaManager_isComponentInitialized"});
    EXPECT_EQ(log->texts(COSUPDATE_LOG_DEBUG),
              (std::vector<std::string>{"++ COSUpdate::isUpdateAvailable()",
                                        "[COSUpdateMgr] Check if an update is available ...",
                                        "An update is already selected -> no need to search",
                                        "[COSUpdateMgr] Update available : Yes",
                                        "[COSUpdateMgr] >>> Update available",
                                        "-- COSUpdate::isUpdateAvailable()"}));
}

TEST_F(SelectionTest, ReadsIdsUpToTheirNulButNeverPastTheBuffer) {
    kernel().fake.chip.unterminatedIds = true;
    EXPECT_EQ(select(withScripts({patchEntry("p1", "0100")})), "");
    EXPECT_EQ(peer().platformId(), std::string(128, 'X'));
}

TEST_F(SelectionTest, AChipReadFailureIsLoggedStopsTheSEMediaAndIsRethrown) {
    load(withScripts({patchEntry("p1", "0100")}));
    kernel().failNext("seContextManager_readCOSCustomerId");
    EXPECT_EQ(thrownMessage([&] { engine->isUpdateAvailable(); }),
              "Unable to retrieve SE COS CustomerId");
    EXPECT_TRUE(log->has(COSUPDATE_LOG_WARNING,
                         "COSUpdate::isUpdateAvailable() -> Exception : Unable to retrieve SE COS "
                         "CustomerId"));
    EXPECT_FALSE(started());
    EXPECT_EQ(peer().platformId(), "PLAT-A") << "what was read stays cached";
}

}  // namespace
}  // namespace testsupport
