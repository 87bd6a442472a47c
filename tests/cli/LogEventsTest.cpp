// The library's log lines the tool reads, and lines that look alike but must
// not be taken for them.

#include <gtest/gtest.h>

#include "LogEvents.h"
#include "RunTracker.h"

namespace cosupdate::cli {
namespace {

using Kind = LogEvent::Kind;

struct LineCase {
    const char* label;
    std::string line;
    std::optional<Kind> kind;
    std::string name;
    std::string type;
    bool success;
    uint32_t number;
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const LineCase& c, std::ostream* out) {
    *out << c.label;
}

class LogLines : public ::testing::TestWithParam<LineCase> {};

TEST_P(LogLines, ParseToTheirEvent) {
    const LineCase& c = GetParam();
    const auto event = parseLogEvent(c.line);

    ASSERT_EQ(event.has_value(), c.kind.has_value()) << c.line;
    if (!event) {
        return;
    }
    EXPECT_EQ(event->kind, *c.kind);
    EXPECT_EQ(event->name, c.name);
    EXPECT_EQ(event->type, c.type);
    EXPECT_EQ(event->success, c.success);
    EXPECT_EQ(event->number, c.number);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, LogLines,
    ::testing::Values(
        LineCase{"PatchSelected",
                 "Patch <patch-0100-0101> matching with search constraint -> Select it",
                 Kind::PatchSelected, "patch-0100-0101", "", false, 0},
        LineCase{"PatchNameWithBracket",
                 "Patch <a> b> matching with search constraint -> Select it", Kind::PatchSelected,
                 "a> b", "", false, 0},
        LineCase{"ServiceCandidate",
                 "Service <service-transit> matching with search constraint -> Execute it to "
                 "check if Service was deployed",
                 Kind::ServiceCandidate, "service-transit", "", false, 0},
        LineCase{"ServiceNotDeployed", "Service not yet deployed -> Select it",
                 Kind::ServiceSelected, "", "", false, 0},
        LineCase{"ServiceWithoutAudit", "Service do not contains an Audit Script -> Select it",
                 Kind::ServiceSelected, "", "", false, 0},
        LineCase{"RunningPatch", "[COSUpdateMgr] Running <patch-0100-0101> script (type:Patch) ...",
                 Kind::ScriptRunning, "patch-0100-0101", "Patch", false, 0},
        LineCase{"RunningService", "[COSUpdateMgr] Running <svc> script (type:Service) ...",
                 Kind::ScriptRunning, "svc", "Service", false, 0},
        LineCase{"RunningUnknownType", "[COSUpdateMgr] Running <odd> script ...",
                 Kind::ScriptRunning, "odd", "", false, 0},
        LineCase{"ResultSuccess", "[COSUpdateMgr] Script execution result : Success",
                 Kind::ScriptResult, "", "", true, 0},
        LineCase{"ResultFailed", "[COSUpdateMgr] Script execution result : Failed",
                 Kind::ScriptResult, "", "", false, 0},
        LineCase{"VersionAfter", "[COSUpdateMgr] >>> SE COS Version after script execution : 258",
                 Kind::VersionAfter, "", "", false, 258},
        LineCase{"DeployedCount", "2 script(s) deployed successfully", Kind::DeployedCount, "", "",
                 false, 2},
        // Alike, but not these events.
        LineCase{"AuditRunning",
                 "[COSUpdateMgr] Running <audit-transit> audit script ...",
                 {},
                 "",
                 "",
                 false,
                 0},
        LineCase{"AuditResult",
                 "[COSUpdateMgr] Audit script execution result : Success",
                 {},
                 "",
                 "",
                 false,
                 0},
        LineCase{"Loading",
                 "[COSUpdateMgr] Loading <patch-0100-0101> script (type:Patch) ...",
                 {},
                 "",
                 "",
                 false,
                 0},
        LineCase{"RunningWithoutPrefix",
                 "Running <patch-0100-0101> script (type:Patch) ...",
                 {},
                 "",
                 "",
                 false,
                 0},
        LineCase{"ServiceHasAudit",
                 "Service contains an Audit Script -> Execute it to check if Service was deployed",
                 {},
                 "",
                 "",
                 false,
                 0},
        LineCase{"EmptyName",
                 "Patch <> matching with search constraint -> Select it",
                 {},
                 "",
                 "",
                 false,
                 0},
        LineCase{"VersionNotDecimal",
                 "[COSUpdateMgr] >>> SE COS Version after script execution : 25x",
                 {},
                 "",
                 "",
                 false,
                 0},
        LineCase{"ResultUnknown",
                 "[COSUpdateMgr] Script execution result : Maybe",
                 {},
                 "",
                 "",
                 false,
                 0},
        LineCase{"CountNotANumber", "some script(s) deployed successfully", {}, "", "", false, 0}),
    [](const ::testing::TestParamInfo<LineCase>& info) { return info.param.label; });

// The lines of a real update run, abridged: check then a Service whose audit
// found it deployed, so it is not selected.
TEST(RunTracker, FollowsSelectionRunsAndExchanges) {
    RunTracker tracker;
    const auto log = [&](api::COSUpdateLogLevel level, const char* line) {
        tracker.logged(level, line);
    };
    log(api::COSUPDATE_LOG_DEBUG,
        "Patch <patch-0100-0101> matching with search constraint -> Select it");
    ASSERT_TRUE(tracker.selected());
    EXPECT_EQ(tracker.selected()->name, "patch-0100-0101");
    EXPECT_EQ(tracker.selected()->type, "Patch");

    tracker.exchanged();  // an FE read before the script: no run's
    log(api::COSUPDATE_LOG_INFO,
        "[COSUpdateMgr] Running <patch-0100-0101> script (type:Patch) ...");
    tracker.exchanged();
    tracker.exchanged();
    log(api::COSUPDATE_LOG_ERROR, "[SimKernel] script, line 5: unexpected status word 6985");
    log(api::COSUPDATE_LOG_INFO, "[COSUpdateMgr] Script execution result : Failed");
    tracker.exchanged();  // reading the version back
    log(api::COSUPDATE_LOG_INFO, "[COSUpdateMgr] >>> SE COS Version after script execution : 256");

    ASSERT_EQ(tracker.runs().size(), 1u);
    const ScriptRun& run = tracker.runs()[0];
    EXPECT_EQ(run.script.name, "patch-0100-0101");
    EXPECT_EQ(run.success, std::optional<bool>(false));
    EXPECT_EQ(run.apdus, 2u);
    EXPECT_EQ(run.versionAfter, std::optional<uint16_t>(0x0100));
    EXPECT_EQ(tracker.apdus(), 4u);
    EXPECT_EQ(tracker.errors(),
              std::vector<std::string>{"[SimKernel] script, line 5: unexpected status word 6985"});

    tracker.clearSelection();
    log(api::COSUPDATE_LOG_DEBUG,
        "Service <service-transit> matching with search constraint -> Execute it to check if "
        "Service was deployed");
    log(api::COSUPDATE_LOG_DEBUG,
        "Service contains an Audit Script -> Execute it to check if Service was deployed");
    EXPECT_FALSE(tracker.selected()) << "a Service is selected only when found missing";
    log(api::COSUPDATE_LOG_DEBUG, "Service not yet deployed -> Select it");
    ASSERT_TRUE(tracker.selected());
    EXPECT_EQ(tracker.selected()->name, "service-transit");
    EXPECT_EQ(tracker.selected()->type, "Service");
}

class RecordingListener : public RunListener {
  public:
    void scriptStarted(const ScriptRun& run) override {
        events.push_back("start " + run.script.name);
    }
    void exchanged(const ScriptRun* current) override {
        events.push_back(current ? "apdu " + current->script.name : "apdu");
    }
    void scriptFinished(const ScriptRun& run) override {
        events.push_back("end " + run.script.name);
    }
    std::vector<std::string> events;
};

TEST(RunTracker, EndsARunTheLibraryGaveNoResultForWhenTheNextStarts) {
    RunTracker tracker;
    RecordingListener listener;
    tracker.setListener(&listener);

    tracker.logged(api::COSUPDATE_LOG_INFO, "[COSUpdateMgr] Running <a> script (type:Patch) ...");
    tracker.exchanged();
    tracker.logged(api::COSUPDATE_LOG_INFO, "[COSUpdateMgr] Running <b> script (type:Patch) ...");
    tracker.logged(api::COSUPDATE_LOG_INFO, "[COSUpdateMgr] Script execution result : Success");
    tracker.exchanged();

    EXPECT_EQ(listener.events,
              (std::vector<std::string>{"start a", "apdu a", "end a", "start b", "end b", "apdu"}));
    ASSERT_EQ(tracker.runs().size(), 2u);
    EXPECT_FALSE(tracker.runs()[0].success.has_value());
    EXPECT_EQ(tracker.runs()[1].success, std::optional<bool>(true));
}

}  // namespace
}  // namespace cosupdate::cli
