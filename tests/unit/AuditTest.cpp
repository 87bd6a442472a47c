// Audit scripts: how a Service is verified after it ran, and how each
// failure of its audit ends the run.

#include "EngineTest.h"

namespace testsupport {
namespace {

class AuditTest : public ReadyEngineTest {};

// The Service comes first: isUpdateAvailable runs its audit to see it is not
// yet deployed, then the run verifies it with the same audit.
TEST_F(AuditTest, AServiceIsVerifiedByItsAuditResumedAfterAFailureAndNotCounted) {
    UpdateFile file = threeScriptFile();
    file.manifests[2]->cosVersion = "0100";
    const std::string m = "[COSUpdateMgr] ";
    const std::string failed = m + "Error during Audit script execution : ";
    const struct {
        const char* call;
        std::string error;
    } cases[] = {
        {"xml_audit_script_loadFromString", failed + "Unable to load of Audit script 'audit1'"},
        {"multiscriptManager_script_selectRefAuditScript",
         failed + "Unable to retreive content of Audit script 'audit1'"},
        {"auditscriptRunner_executeAuditScript",
         m + ">>> Audit script execution failed -> Service not correctly executed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.call);
        restart();
        load(file);
        ASSERT_TRUE(engine->isUpdateAvailable());
        kernel().failNext(c.call);
        EXPECT_EQ(engine->doUpdate(), -1);
        EXPECT_TRUE(log->has(COSUPDATE_LOG_ERROR, c.error));
        log->lines.clear();
        EXPECT_EQ(engine->doUpdate(), 1) << "resumes with the Service, then the Patches";
        EXPECT_TRUE(log->has("2 script(s) deployed successfully"));
    }
}

}  // namespace
}  // namespace testsupport
