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
using Kind = LogEvent::Kind;

auto fields(const LogEvent& e) {
    return std::make_tuple(e.kind, e.name, e.type, e.success, e.number);
}

class LogTextsTest : public ReadyEngineTest {
  protected:
    // What the tool reads from the lines logged so far.
    std::vector<LogEvent> events() const {
        std::vector<LogEvent> found;
        for (const auto& line : log->lines) {
            if (auto event = parseLogEvent(line.text)) {
                found.push_back(*event);
            }
        }
        return found;
    }
};

// Service s1 (audited, not yet on the chip) first, then the Patch from 0100
// to 0101; then a run whose Patch fails; then, with the file's entries
// altered the way the tool can also meet them, a Service without an audit
// script and a script of a type the engine does not name.
TEST_F(LogTextsTest, EveryEventTheToolReadsIsWrittenByTheEngine) {
    UpdateFile file;
    file.manifests = {serviceEntry("s1", "a1", "0100"), patchEntry("p1", "0100")};
    file.scripts = {ScriptEntry{std::string("s1"), std::string("install:one")},
                    ScriptEntry{std::string("p1"), std::string("version:0101")}};
    file.auditScripts = {ScriptEntry{std::string("a1"), std::string("check:one")}};
    load(file);
    ASSERT_EQ(engine->doUpdate(), 1);

    file.scripts[1]->content = "fail";
    kernel().fake.chip.version = 0x0100;
    load(file);
    ASSERT_EQ(engine->doUpdate(), -1);

    kernel().fake.chip.services.clear();
    load(file);
    peer().firstManifest()->auditScriptName = nullptr;
    ASSERT_TRUE(engine->isUpdateAvailable());
    const_cast<ScriptManifest*>(peer().selected())->scriptType = static_cast<ScriptType>(3);
    engine->doUpdate();

    const LogEvent expected[] = {
        {Kind::ServiceCandidate, "s1", "", false, 0},
        {Kind::ServiceSelected, "", "", false, 0},
        {Kind::ScriptRunning, "s1", "Service", false, 0},
        {Kind::ScriptResult, "", "", true, 0},
        {Kind::PatchSelected, "p1", "", false, 0},
        {Kind::ScriptRunning, "p1", "Patch", false, 0},
        {Kind::VersionAfter, "", "", false, 0x0101},
        {Kind::DeployedCount, "", "", false, 1},
        {Kind::ScriptResult, "", "", false, 0},
        {Kind::ScriptRunning, "s1", "", false, 0},
    };
    const std::vector<LogEvent> found = events();
    for (const auto& event : expected) {
        SCOPED_TRACE(static_cast<int>(event.kind));
        EXPECT_TRUE(std::any_of(found.begin(), found.end(),
                                [&](const LogEvent& e) { return fields(e) == fields(event); }));
    }
    EXPECT_TRUE(
        log->has(COSUPDATE_LOG_DEBUG, "Service do not contains an Audit Script -> Select it"))
        << "the last run selects its Service by the other line";
}

}  // namespace
}  // namespace testsupport
