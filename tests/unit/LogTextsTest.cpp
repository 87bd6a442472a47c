// The cosupdate tool learns what the engine selected, ran and verified only
// from its log. Every event the tool recognises must come out of lines the
// engine really writes, with the names, types and numbers in them.

#include <tuple>

#include "EngineTest.h"
#include "LogEvents.h"

namespace testsupport {
namespace {

using cosupdate::cli::LogEvent;
using cosupdate::cli::parseLogEvent;

std::string describe(const LogEvent& e) {
    static const char* const kKinds[] = {"PatchSelected", "ServiceCandidate", "ServiceSelected",
                                         "ScriptRunning", "ScriptResult",     "VersionAfter",
                                         "DeployedCount"};
    std::string text = kKinds[static_cast<int>(e.kind)];
    for (const std::string& field : {e.name, e.type}) {
        text += field.empty() ? "" : " " + field;
    }
    if (e.kind == LogEvent::Kind::ScriptResult) {
        text += e.success ? " success" : " failure";
    }
    return e.number != 0 ? text + " " + std::to_string(e.number) : text;
}

class LogTextsTest : public ReadyEngineTest {
  protected:
    // What the tool reads from the lines logged since the last call.
    std::vector<std::string> events() {
        std::vector<std::string> found;
        for (const auto& line : log->lines) {
            if (auto event = parseLogEvent(line.text)) {
                found.push_back(describe(*event));
            }
        }
        log->lines.clear();
        return found;
    }
};

// Each run is chosen for the lines it writes: an audited Service that is not
// on the chip yet and a Patch after it; a Patch that fails; and, with the
// loaded entries altered, a Service without an audit script and a script of a
// type the engine does not name.
TEST_F(LogTextsTest, EveryEventTheToolReadsIsWrittenByTheEngine) {
    UpdateFile file;
    file.manifests = {serviceEntry("s1", "a1", "0100"), patchEntry("p1", "0100")};
    file.scripts = {ScriptEntry{std::string("s1"), std::string("install:one")},
                    ScriptEntry{std::string("p1"), std::string("version:0101")}};
    file.auditScripts = {ScriptEntry{std::string("a1"), std::string("check:one")}};
    load(file);
    log->lines.clear();
    EXPECT_EQ(engine->doUpdate(), 1);
    EXPECT_EQ(events(), (std::vector<std::string>{
                            "ServiceCandidate s1", "ServiceSelected", "ScriptRunning s1 Service",
                            "ScriptResult success", "VersionAfter 256", "PatchSelected p1",
                            "ScriptRunning p1 Patch", "ScriptResult success", "VersionAfter 257",
                            "DeployedCount 1"}));

    file.scripts[1]->content = "fail";
    kernel().fake.chip.version = 0x0100;
    load(file);
    log->lines.clear();
    EXPECT_EQ(engine->doUpdate(), -1);
    EXPECT_EQ(events(),
              (std::vector<std::string>{"ServiceCandidate s1", "PatchSelected p1",
                                        "ScriptRunning p1 Patch", "ScriptResult failure"}));

    kernel().fake.chip.services.clear();
    load(file);
    peer().firstManifest()->auditScriptName = nullptr;
    log->lines.clear();
    ASSERT_TRUE(engine->isUpdateAvailable());
    const_cast<ScriptManifest*>(peer().selected())->scriptType = static_cast<ScriptType>(3);
    EXPECT_EQ(engine->doUpdate(), -1);
    EXPECT_EQ(events(), (std::vector<std::string>{
                            "ServiceCandidate s1", "ServiceSelected", "ScriptRunning s1",
                            "ScriptResult success", "VersionAfter 256", "PatchSelected p1",
                            "ScriptRunning p1 Patch", "ScriptResult failure"}));
}

}  // namespace
}  // namespace testsupport
