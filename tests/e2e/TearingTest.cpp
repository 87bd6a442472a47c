// Tear convergence: a power loss at any exchange of the example update, in
// each tearing mode, followed by a re-run, leaves the chip exactly where an
// untorn update leaves it, whether the re-run uses the same engine (which
// resumes with the entry that failed) or a fresh one (which searches again).

#include <gtest/gtest.h>

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

// Tears the update at `exchange`, re-runs it once; the failure text, or empty.
std::string tearAndRerun(cosim::FaultKind mode, uint64_t exchange, Rerun rerun,
                         const cosim::ChipState& expected) {
    Bench bench;
    auto& engine = bench.startEngine(kUpdate);
    cosim::Fault tear = cosim::Fault::powerLoss(exchange, mode);
    tear.keptBytes = 3;
    bench.media().injectFault(tear);

    const int torn = doUpdateCatching(engine);
    if (bench.media().powerLossCount() != 1) {
        return "the tear never happened (first run returned " + std::to_string(torn) + ")";
    }
    auto& second = rerun == Rerun::SameEngine ? engine : bench.startEngine(kUpdate);
    const int result = doUpdateCatching(second);
    if (result != 0 && result != 1) {
        return "re-run returned " + std::to_string(result) + "\n" + bench.log().dump();
    }
    if (bench.chip().state() != expected) {
        return "chip ends as " + cosim::describe(bench.chip().state());
    }
    if (doUpdateCatching(second) != 0) {
        return "a third run still found work";
    }
    return std::string();
}

class TearConvergence : public ::testing::TestWithParam<cosim::FaultKind> {};

TEST_P(TearConvergence, EveryTearPointConvergesOnTheUntornState) {
    const Reference reference = untornRun();
    ASSERT_GT(reference.exchanges, 20u);
    uint64_t tried = 0;
    for (Rerun rerun : {Rerun::SameEngine, Rerun::FreshEngine}) {
        for (uint64_t exchange = 1; exchange <= reference.exchanges; ++exchange) {
            const std::string failure =
                tearAndRerun(GetParam(), exchange, rerun, reference.finalState);
            EXPECT_EQ(failure, "")
                << cosim::faultKindName(GetParam()) << " at exchange " << exchange << ", re-run on "
                << (rerun == Rerun::SameEngine ? "the same" : "a fresh") << " engine";
            ++tried;
        }
    }
    std::cout << "[ tearing  ] " << cosim::faultKindName(GetParam()) << ": " << tried
              << " tear points tried (" << reference.exchanges
              << " exchanges, same and fresh engine)" << std::endl;
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
