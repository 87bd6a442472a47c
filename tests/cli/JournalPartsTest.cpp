// The parts of the events and the history that a process test cannot reach
// at will: percent and time left at any point of a run, which exchanges get
// a progress event, the names of chips' history files, which records a
// listing refuses and which earlier run gives a total, and the digest.

#include <gtest/gtest.h>

#include "HistoryFile.h"
#include "HistoryRecord.h"
#include "ProgressEstimate.h"
#include "Sha256.h"

namespace cosupdate::cli {
namespace {

using std::chrono::milliseconds;

TEST(ProgressEstimateTest, PercentAndTimeLeftOnlyWithinAKnownTotal) {
    struct Case {
        uint64_t done;
        int64_t elapsedMs;
        std::optional<uint64_t> expected;
        std::optional<int> percent;
        std::optional<int64_t> etaMs;
    };
    const std::vector<Case> cases{
        {5, 50, std::nullopt, std::nullopt, std::nullopt},  // no total
        {5, 50, 0, std::nullopt, std::nullopt},             // a total of nothing
        {0, 0, 40, 0, std::nullopt},                        // no pace yet
        {1, 30, 3, 33, 60},                                 // whole percent, rounded down
        {10, 50, 40, 25, 150},
        {40, 200, 40, 100, 0},
        {41, 210, 40, std::nullopt, std::nullopt},  // past the total: it no longer holds
    };
    for (const Case& c : cases) {
        const Estimate e = estimate(c.done, milliseconds(c.elapsedMs), c.expected);
        EXPECT_EQ(e.percent, c.percent) << c.done;
        EXPECT_EQ(e.etaMs, c.etaMs) << c.done;
    }
}

TEST(ProgressThrottleTest, TheFirstEachNewPercentAndThenTheInterval) {
    ProgressThrottle throttle;
    const auto t0 = ProgressThrottle::Clock::time_point{};
    const auto later = [t0](int64_t ms) { return t0 + milliseconds(ms); };
    const Estimate none{};
    EXPECT_TRUE(throttle.due(none, later(0)));
    EXPECT_FALSE(throttle.due(none, later(99)));
    EXPECT_TRUE(throttle.due(none, later(100)));
    EXPECT_FALSE(throttle.due(none, later(150)));
    EXPECT_TRUE(throttle.due(Estimate{7, 10}, later(151)));  // the percent moved
    EXPECT_FALSE(throttle.due(Estimate{7, 9}, later(152)));  // not again
    EXPECT_TRUE(throttle.due(Estimate{8, 8}, later(153)));
    EXPECT_TRUE(throttle.due(none, later(154)));  // past the total: the percent went
}

TEST(HistoryFileTest, ChipsAreNamedByPlatformAndFcSafely) {
    const std::string longPlatform(70, 'P');
    const Bytes longFc(33, 0xAB);
    struct Case {
        std::string platform;
        std::optional<Bytes> fc;
        std::string name;
    };
    const std::vector<Case> cases{
        {"ZLM-P1", Bytes{0x5A, 0x4C, 0x00, 0x2A}, "ZLM-P1_5A4C002A.history"},
        {"ZLM-P1", Bytes{}, "ZLM-P1_none.history"},
        {"ZLM-P1", std::nullopt, "ZLM-P1_unknown.history"},
        {"a/b c_d", Bytes{0x01}, "a%2Fb%20c%5Fd_01.history"},
        {"..", Bytes{0x01}, "%2E._01.history"},
        {longPlatform, Bytes{0x01}, "sha256-" + sha256Hex(longPlatform) + "_01.history"},
        {"P", longFc,
         "P_sha256-" + sha256Hex(std::string(longFc.begin(), longFc.end())) + ".history"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(chipHistoryFile("/h", c.platform, c.fc), "/h/" + c.name) << c.platform;
    }
}

TEST(Sha256Test, KnownDigests) {
    EXPECT_EQ(sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

RunFacts deployedRun(const std::string& sha256, uint16_t before, uint64_t apdus) {
    RunFacts facts;
    facts.time = "2025-01-01T00:00:00.000Z";
    facts.file = "/u.xml";
    facts.sha256 = sha256;
    facts.before = CosIdentity{"ZLM-P1", before, "ACME"};
    facts.apdus = apdus;
    facts.result = "deployed";
    facts.status = ExitStatus::Ok;
    return facts;
}

Json recordOf(const RunFacts& facts) {
    return historyRecord(facts, RecordSource{{"sim", ""}, "simulated chip", "/c.state", ""});
}

TEST(HistoryRecordTest, ARecordItWritesIsOneItLists) {
    RunFacts facts = deployedRun("ab", 0x0100, 28);
    facts.scripts.push_back(ScriptRun{ScriptRef{"p", "Patch"}, true, 0x0101, 6, {}});
    EXPECT_EQ(recordFault(recordOf(facts)), std::nullopt);
    facts.before.reset();
    facts.result.reset();
    EXPECT_EQ(recordFault(recordOf(facts)), std::nullopt) << "a run that did not get far";

    Json record = recordOf(deployedRun("ab", 0x0100, 28));
    record["scripts"] = Json::array({Json{{"name", "p"}}});
    EXPECT_EQ(recordFault(record), "'scripts' is not a list of scripts with name and result");
    record = recordOf(deployedRun("ab", 0x0100, 28));
    record["before"] = Json{{"platformId", "ZLM-P1"}};
    EXPECT_EQ(recordFault(record), "'before' is not a chip identity or null");
}

TEST(HistoryRecordTest, TheTotalComesFromTheNewestFullRunOfTheFileFromTheState) {
    RunFacts failed = deployedRun("ab", 0x0100, 9);
    failed.result = "failed";
    RunFacts otherCustomer = deployedRun("ab", 0x0100, 50);
    otherCustomer.before->customerId = "GLOBEX";
    const std::vector<Json> records{
        recordOf(deployedRun("ab", 0x0100, 28)),
        recordOf(deployedRun("ab", 0x0100, 30)),
        recordOf(deployedRun("cd", 0x0100, 40)),
        recordOf(deployedRun("ab", 0x0101, 12)),
        recordOf(failed),
        recordOf(otherCustomer),
    };
    const CosIdentity acme{"ZLM-P1", 0x0100, "ACME"};
    EXPECT_EQ(previousRunApdus(records, "ab", acme), 30u);
    EXPECT_EQ(previousRunApdus(records, "ab", CosIdentity{"ZLM-P1", 0x0101, "ACME"}), 12u);
    EXPECT_EQ(previousRunApdus(records, "ef", acme), std::nullopt);
    EXPECT_EQ(previousRunApdus(records, "ab", CosIdentity{"ZLM-P2", 0x0100, "ACME"}), std::nullopt);
}

}  // namespace
}  // namespace cosupdate::cli
