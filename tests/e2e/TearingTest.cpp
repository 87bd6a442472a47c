// Tear convergence: a power loss at any exchange of the example update, in
// each tearing mode, followed by a re-run, leaves the chip exactly where an
// untorn update leaves it, whether the re-run uses the same engine (which
// resumes with the entry that failed) or a fresh one (which searches again).
// Throughout, the chip never goes backwards: its COS version never drops and
// no installed service disappears, at any exchange of any run.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "E2eSupport.h"

namespace e2e {
namespace {

const std::string kUpdate = examplePath("update.xml");

struct Reference {
    uint64_t exchanges;
    cosim::ChipState finalState;
};

Reference untornRun() {
    Bench bench;
    auto& engine = bench.startEngine(kUpdate);
    EXPECT_EQ(engine.doUpdate(), 1) << bench.log().dump();
    return Reference{bench.media().exchangeCount(), bench.chip().state()};
}

enum class Rerun { SameEngine, FreshEngine };

std::string versionText(uint16_t version) {
    char text[8];
    std::snprintf(text, sizeof(text), "%04X", version);
    return text;
}

// Watches the chip's persistent state at every exchange that answered and at
// the end of every run: it may only move forward.
class ForwardOnly {
  public:
    explicit ForwardOnly(Bench& bench) : m_chip(bench.chip()), m_last(m_chip.state()) {
        bench.media().setExchangeObserver(
            [this](uint64_t index, const cosim::Bytes&, const cosim::Bytes&) {
                check("exchange " + std::to_string(index));
                ++m_checks;
            });
    }

    // Called after each run, so that a step back at the run's last exchange,
    // whose answer the tear swallowed, shows too.
    void check(const std::string& where) {
        const cosim::ChipState& now = m_chip.state();
        if (m_failure.empty() && now.cosVersion < m_last.cosVersion) {
            m_failure = "COS version went back from " + versionText(m_last.cosVersion) + " to " +
                        versionText(now.cosVersion) + " at " + where;
        }
        if (m_failure.empty() && !std::includes(now.services.begin(), now.services.end(),
                                                m_last.services.begin(), m_last.services.end())) {
            m_failure = "an installed service disappeared at " + where;
        }
        m_last = now;
    }

    const std::string& failure() const { return m_failure; }
    uint64_t checks() const { return m_checks; }

  private:
    const cosim::Chip& m_chip;
    cosim::ChipState m_last;
    std::string m_failure;
    uint64_t m_checks = 0;
};

struct TearResult {
    std::string failure;  // empty: converged, never backwards
    uint64_t versionChecks = 0;
};

// Tears the update at `exchange`, re-runs it once, then once more.
TearResult tearAndRerun(cosim::FaultKind mode, uint64_t exchange, Rerun rerun,
                        const cosim::ChipState& expected) {
    Bench bench;
    ForwardOnly forward(bench);
    auto& engine = bench.startEngine(kUpdate);
    cosim::Fault tear = cosim::Fault::powerLoss(exchange, mode);
    tear.keptBytes = 3;
    bench.media().injectFault(tear);
    const auto outcome = [&](std::string failure) {
        return TearResult{forward.failure().empty() ? failure : forward.failure(),
                          forward.checks()};
    };

    const int torn = doUpdateCatching(engine);
    forward.check("the end of the torn run");
    if (bench.media().powerLossCount() != 1) {
        return outcome("the tear never happened (first run returned " + std::to_string(torn) + ")");
    }
    auto& second = rerun == Rerun::SameEngine ? engine : bench.startEngine(kUpdate);
    const int result = doUpdateCatching(second);
    forward.check("the end of the re-run");
    if (result != 0 && result != 1) {
        return outcome("re-run returned " + std::to_string(result) + "\n" + bench.log().dump());
    }
    if (bench.chip().state() != expected) {
        return outcome("chip ends as " + cosim::describe(bench.chip().state()));
    }
    const int third = doUpdateCatching(second);
    forward.check("the end of the third run");
    if (third != 0) {
        return outcome("a third run still found work");
    }
    return outcome(std::string());
}

class TearConvergence : public ::testing::TestWithParam<cosim::FaultKind> {};

TEST_P(TearConvergence, EveryTearPointConvergesOnTheUntornStateAndNeverGoesBack) {
    const Reference reference = untornRun();
    ASSERT_GT(reference.exchanges, 20u);
    uint64_t tried = 0;
    uint64_t versionChecks = 0;
    for (Rerun rerun : {Rerun::SameEngine, Rerun::FreshEngine}) {
        for (uint64_t exchange = 1; exchange <= reference.exchanges; ++exchange) {
            const TearResult result =
                tearAndRerun(GetParam(), exchange, rerun, reference.finalState);
            EXPECT_EQ(result.failure, "")
                << cosim::faultKindName(GetParam()) << " at exchange " << exchange << ", re-run on "
                << (rerun == Rerun::SameEngine ? "the same" : "a fresh") << " engine";
            ++tried;
            versionChecks += result.versionChecks;
        }
    }
    std::cout << "[ tearing  ] " << cosim::faultKindName(GetParam()) << ": " << tried
              << " tear points tried (" << reference.exchanges
              << " exchanges, same and fresh engine), COS version and services checked at "
              << versionChecks << " exchanges" << std::endl;
}

// The watch itself: a chip set back, as a faulty rollback would leave it, is
// reported with the step that showed it.
TEST(ForwardOnly, ReportsAChipThatWentBack) {
    Bench bench(updatedFactoryState());
    ForwardOnly forward(bench);
    forward.check("the start");
    EXPECT_EQ(forward.failure(), "");
    cosim::ChipState older = updatedFactoryState();
    older.services.clear();
    bench.chip().setState(older);
    forward.check("a lost service");
    EXPECT_EQ(forward.failure(), "an installed service disappeared at a lost service");
    ForwardOnly again(bench);
    bench.chip().setState(cosim::ChipState::factoryDefault());
    again.check("the rollback");
    EXPECT_EQ(again.failure(), "COS version went back from 0102 to 0100 at the rollback");
}

INSTANTIATE_TEST_SUITE_P(Modes, TearConvergence,
                         ::testing::Values(cosim::FaultKind::PowerLossBeforeChip,
                                           cosim::FaultKind::PowerLossAfterExecution,
                                           cosim::FaultKind::PowerLossTruncatedResponse),
                         [](const ::testing::TestParamInfo<cosim::FaultKind>& info) {
                             switch (info.param) {
                                 case cosim::FaultKind::PowerLossBeforeChip:
                                     return std::string("BeforeChip");
                                 case cosim::FaultKind::PowerLossAfterExecution:
                                     return std::string("AfterExecution");
                                 default:
                                     return std::string("TruncatedResponse");
                             }
                         });

}  // namespace
}  // namespace e2e
