// Running an audit script from the loaded file.

#include "EngineTest.h"

namespace testsupport {
namespace {

class AuditTest : public EngineTest {
  protected:
    void SetUp() override {
        EngineTest::SetUp();
        createReady();
        UpdateFile file;
        file.auditScripts = {ScriptEntry{std::string("svc-audit"), std::string("check:svc")},
                             ScriptEntry{std::string("broken"), std::string("unparseable")}};
        load(file);
        bool wasStarted = false;
        peer().start(&wasStarted, &startedLocally);  // callers start the SE media
        log->lines.clear();
    }
    void TearDown() override {
        peer().stop(&startedLocally);
        EngineTest::TearDown();
    }
    bool startedLocally = false;
};

// The log of a whole audit run is checked by the execution scenario.
TEST_F(AuditTest, AnswersWhetherTheServiceIsOnTheChipAndFreesTheScript) {
    EXPECT_FALSE(peer().executeAuditScript("svc-audit"));
    kernel().fake.chip.services.insert("svc");
    EXPECT_TRUE(peer().executeAuditScript("svc-audit"));
    EXPECT_EQ(kernel().count("auditScriptManager_freeAuditScript"), 2u);
}

TEST_F(AuditTest, ThrowsWhenTheScriptCannotBeFoundOrLoaded) {
    EXPECT_EQ(thrownMessage([&] { peer().executeAuditScript(nullptr); }),
              "AuditScript name not declared");
    EXPECT_EQ(thrownMessage([&] { peer().executeAuditScript("ghost"); }),
              "Unable to retreive content of Audit script 'ghost'");
    EXPECT_EQ(thrownMessage([&] { peer().executeAuditScript("broken"); }),
              "Unable to load of Audit script 'broken'");
    EXPECT_TRUE(log->texts(COSUPDATE_LOG_WARNING).empty()) << "the caller logs these";
}

}  // namespace
}  // namespace testsupport
