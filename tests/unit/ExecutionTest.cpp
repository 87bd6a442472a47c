// Running updates: the whole walk of a realistic file, and how each kind of
// failure ends a run.

#include "EngineTest.h"

namespace testsupport {
namespace {

using testing::_;
using testing::Invoke;
using testing::Return;

class ExecutionTest : public ReadyEngineTest {
  protected:
    // The engine's own lines at DEBUG and above (the kernel double writes its
    // APDUs at VERBOSE, the SE media bridge all its traces).
    std::vector<std::string> runLog() { return log->texts(COSUPDATE_LOG_DEBUG); }
};

UpdateFile withScript(const std::string& content) {
    UpdateFile file;
    file.manifests = {patchEntry("patch1", "0100")};
    file.scripts = {ScriptEntry{std::string("patch1"), content}};
    return file;
}

TEST_F(ExecutionTest, RunsTwoPatchesAndAServiceWithTheExactLog) {
    load(threeScriptFile());
    log->lines.clear();
    EXPECT_EQ(engine->doUpdate(), 1);
    const std::string m = "[COSUpdateMgr] ";
    const std::vector<std::string> search = {" >>> Current SE PlatformId : PLAT-A",
                                             m + " >>> Current SE CustomerId : CUST-1"};
    auto patch = [&](const std::string& name, const std::string& version) {
        return std::vector<std::string>{
            m + "Loading <" + name + "> script (type:Patch) ...",
            m + "Script <" + name + "> ready to be executed",
            m + "Running <" + name + "> script (type:Patch) ...",
            m + "Script execution result : Success",
            m + "Unload script after execution ...",
            m + "* Retrieving SE COS Version ...",
            m + ">>> SE COS Version after script execution : " + version,
            m + " >>> COSVersion incrementation is correct",
            "Searching next script ...",
            " >>> Current SE COS Version : " + version,
            search[0],
            search[1]};
    };
    auto audit = [&](const std::string& result) {
        return std::vector<std::string>{m + "Loading <audit1> audit script ...",
                                        m + "Audit script ready to be executed",
                                        m + "Running <audit1> audit script ...",
                                        m + "Audit script execution result : " + result};
    };
    std::vector<std::string> expected = {
        "++ COSUpdate::doUpdate()",
        m + "Starting doUpdate() ...",
        " * Checking SEMedia status ...",
        " * Starting SEMedia ...",
        " >>> SEMedia started",
        " * Retrieving SE COS Platform ...",
        m + " >>> SE COS PlatformId : PLAT-A",
        " * Retrieving SE COS Version ...",
        m + " >>> SE COS Version : 256",
        " >>> Current SE COS Version : 256",
        " >>> Current SE PlatformId : PLAT-A",
        " * Retrieving SE COS CustomerId ...",
        m + " >>> Current SE CustomerId : CUST-1",
        "Patch <patch1> matching with search constraint -> Select it",
        m + ">>> Update available",
        m + "Script selected for execution"};
    auto append = [&](const std::vector<std::string>& lines) {
        expected.insert(expected.end(), lines.begin(), lines.end());
    };
    append(patch("patch1", "257"));
    append({"Patch <patch2> matching with search constraint -> Select it",
            m + ">>> Another Update available"});
    append(patch("patch2", "258"));
    append(
        {"Service <service1> matching with search constraint -> Execute it to check if "
         "Service was deployed",
         "Service contains an Audit Script -> Execute it to check if Service was deployed"});
    append(audit("Failed"));
    append({"Service not yet deployed -> Select it", m + ">>> Another Update available",
            m + "Loading <service1> script (type:Service) ...",
            m + "Script <service1> ready to be executed",
            m + "Running <service1> script (type:Service) ...",
            m + "Script execution result : Success", m + "Unload script after execution ...",
            m + "* Retrieving SE COS Version ...",
            m + ">>> SE COS Version after script execution : 258",
            m + "COSVersion not checked after Service execution",
            m + "Audit script declared -> Manage it"});
    append(audit("Success"));
    append({m + ">>> Audit script execution done successfully -> Service correctly executed",
            "Searching next script ...", m + ">>> No more update available",
            "2 script(s) deployed successfully", " * Stopping SEMedia ...", " >>> SEMedia stopped",
            "-- COSUpdate::doUpdate()"});
    EXPECT_EQ(runLog(), expected);
    EXPECT_EQ(kernel().fake.chip.version, 0x0102);
    EXPECT_EQ(kernel().fake.chip.services, std::set<std::string>{"svc1"});
    EXPECT_FALSE(started());

    log->lines.clear();
    EXPECT_EQ(engine->doUpdate(), 0);
    EXPECT_TRUE(log->has("[COSUpdateMgr] No update available"));
    EXPECT_FALSE(log->has("0 script(s) deployed successfully"));
}

TEST_F(ExecutionTest, UsesASelectionMadeByIsUpdateAvailableAsItStands) {
    load(threeScriptFile());
    ASSERT_TRUE(engine->isUpdateAvailable());
    kernel().journal.clear();
    log->lines.clear();
    EXPECT_EQ(engine->doUpdate(), 1);
    EXPECT_EQ(kernel().count("seContextManager_readCOSPlatformId"), 0u);
    EXPECT_FALSE(log->has("[COSUpdateMgr] >>> Update available"));
    EXPECT_EQ(runLog()[5], "[COSUpdateMgr] Script selected for execution");
}

TEST_F(ExecutionTest, EachKindOfScriptFailureEndsTheRunWithMinusOne) {
    const std::string m = "[COSUpdateMgr] ";
    const struct {
        const char* content;
        const char* failingCall;
        std::vector<std::string> errors;
        size_t versionReads;  // after the first search
    } cases[] = {
        {"version:0101", "scriptRunner_executeScript", {}, 0},
        {"unparseable", "", {m + "Unable to prepare script for execution"}, 0},
        {"inconsistent", "", {m + "Patch script is invalid"}, 0},
        {"version:0100", "", {m + "Incorrect COSVersion after script execution"}, 1},
        {"version:0101",
         "multiscriptManager_script_selectRefScript",
         {m + "Unable to found content of script <patch1>",
          m + "Unable to prepare script for execution"},
         0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.content + std::string(" ") + c.failingCall);
        restart();
        load(withScript(c.content));
        log->lines.clear();
        kernel().failNext(c.failingCall);
        EXPECT_EQ(engine->doUpdate(), -1);
        EXPECT_EQ(log->texts(COSUPDATE_LOG_ERROR), c.errors);
        EXPECT_EQ(kernel().count("seContextManager_readCOSVersion"), 1 + c.versionReads);
        EXPECT_STREQ(peer().selected()->scriptName, "patch1") << "kept for the next run";
        EXPECT_FALSE(started());
        EXPECT_EQ(kernel().fake.liveObjects(), 1u) << "only the file itself";
        if (*c.failingCall != '\0') {
            // Resumes with the same entry against the version stored then.
            kernel().journal.clear();
            EXPECT_EQ(engine->doUpdate(), 1);
            EXPECT_EQ(kernel().count("seContextManager_readCOSPlatformId"), 0u);
            EXPECT_EQ(kernel().count("seContextManager_readCOSVersion"), 1u) << "only the check";
        }
    }
}

TEST_F(ExecutionTest, APatchMustRaiseTheVersionStrictly) {
    load(withScript("version:0103"));
    EXPECT_EQ(engine->doUpdate(), 1) << "any rise passes";
    restart();
    kernel().fake.chip.version = 0xFFFF;
    UpdateFile file = withScript("version:FFFF");
    file.manifests[0]->cosVersion = "FFFF";
    load(file);
    EXPECT_EQ(engine->doUpdate(), -1) << "the unknown-version marker never passes";
}

TEST_F(ExecutionTest, AFailedVersionReadRunsTheSameEntryAgain) {
    load(withScript("version:0101"));
    EXPECT_CALL(kernel().mock, seContextManager_readCOSVersion(_))
        .WillOnce(testing::DoDefault())
        .WillOnce(Return(false))
        .WillRepeatedly(testing::DoDefault());
    EXPECT_EQ(engine->doUpdate(), 1);
    EXPECT_TRUE(log->has(COSUPDATE_LOG_ERROR,
                         "[COSUpdateMgr] Error during script execution : Unable to retrieve SE COS "
                         "Version after script execution"));
    EXPECT_EQ(kernel().count("scriptRunner_executeScript"), 2u);
}

TEST_F(ExecutionTest, ReselectingTheEntryJustRunIsReportedAndRunsItOnceMore) {
    load(threeScriptFile());
    ASSERT_TRUE(engine->isUpdateAvailable());
    char nextVersion[] = "0101";
    auto* entry = const_cast<ScriptManifest*>(peer().selected());
    EXPECT_CALL(kernel().mock, scriptRunner_executeScript(_))
        .WillRepeatedly(Invoke([&](NATIVECOSPATCH_SCRIPT* script) {
            entry->cosVersion = nextVersion;  // the entry now matches the version it produces
            return kernel().fake.scriptRunner_executeScript(script);
        }));
    EXPECT_EQ(engine->doUpdate(), -1);
    EXPECT_TRUE(log->has(COSUPDATE_LOG_ERROR,
                         "[COSUpdateMgr] Selecting again previous script manifest entry"));
    EXPECT_EQ(log->count("[COSUpdateMgr] Running <patch1> script (type:Patch) ..."), 2u);
}

TEST_F(ExecutionTest, AfterAServiceOnlyPatchesAreLookedFor) {
    UpdateFile file;
    file.manifests = {serviceEntry("s1", "a1", "0100"), serviceEntry("s2", "a2", "0100")};
    file.scripts = {ScriptEntry{std::string("s1"), std::string("install:one")},
                    ScriptEntry{std::string("s2"), std::string("install:two")}};
    file.auditScripts = {ScriptEntry{std::string("a1"), std::string("check:one")},
                         ScriptEntry{std::string("a2"), std::string("check:two")}};
    load(file);
    log->lines.clear();
    EXPECT_EQ(engine->doUpdate(), 1);
    EXPECT_FALSE(log->has("2 script(s) deployed successfully"));
    EXPECT_FALSE(log->has("1 script(s) deployed successfully"));
    EXPECT_EQ(kernel().fake.chip.services, std::set<std::string>{"one"});
    EXPECT_EQ(engine->doUpdate(), 1) << "the second Service waits for the next run";
    EXPECT_EQ(kernel().fake.chip.services, (std::set<std::string>{"one", "two"}));
}

TEST_F(ExecutionTest, FailuresOutsideAnIterationAreLoggedAndRethrown) {
    load(threeScriptFile());
    kernel().failNext("seContextManager_readCOSPlatformId");
    EXPECT_EQ(thrownMessage([&] { engine->doUpdate(); }), "Unable to retrieve SE COS PlatformId");
    EXPECT_TRUE(log->has(COSUPDATE_LOG_WARNING,
                         "[COSUpdateMgr] COSUpdateException detected on COSUpdate::doUpdate() : "
                         "Unable to retrieve SE COS PlatformId"));
    EXPECT_FALSE(started());
    EXPECT_FALSE(log->has("-- COSUpdate::doUpdate()"));

    ASSERT_TRUE(engine->isUpdateAvailable());
    const_cast<ScriptManifest*>(peer().selected())->scriptName = nullptr;
    EXPECT_EQ(thrownMessage([&] { engine->doUpdate(); }), "Script name not defined");
    EXPECT_FALSE(started());
}

TEST_F(ExecutionTest, ANonLibraryExceptionPassesThroughUnconverted) {
    UpdateFile file = withScript("version:0101");
    file.manifests[0]->cosVersion = "zz";
    load(file);
    EXPECT_THROW(engine->doUpdate(), std::invalid_argument);
    EXPECT_TRUE(started()) << "not stopped on this path";
}

}  // namespace
}  // namespace testsupport
