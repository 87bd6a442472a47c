// Tear convergence: a power loss at any exchange of the example update, in each
// of three modes, then a re-run on the same engine (which resumes with the
// entry that failed) or on a fresh one (which searches again), ends exactly
// where an untorn update ends, and a third run finds nothing to do. At every
// exchange of every run the COS version never drops and no service vanishes.

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "E2eSupport.h"

namespace e2e {
namespace {

const std::string kUpdate = examplePath("update.xml");

// Tears the update at `exchange` and re-runs it twice; empty when all is well.
// Counts the chip states it watched in `checks`.
std::string tearAndRerun(cosupdate::sim::FaultKind mode, uint64_t exchange, bool freshEngine,
                         const cosim::ChipState& untorn, uint64_t& checks) {
    Bench bench;
    cosim::ChipState last = bench.chip().state();
    std::string wentBack;
    const auto forwardOnly = [&](const std::string& where) {
        const cosim::ChipState& now = bench.chip().state();
        if (wentBack.empty() && (now.cosVersion < last.cosVersion ||
                                 !std::includes(now.services.begin(), now.services.end(),
                                                last.services.begin(), last.services.end()))) {
            wentBack = "went back from " + cosim::describe(last) + " to " + cosim::describe(now) +
                       " at " + where;
        }
        last = now;
        ++checks;
    };
    bench.media().setExchangeObserver(
        [&](uint64_t index, const cosim::Bytes&, const cosim::Bytes&) {
            forwardOnly("exchange " + std::to_string(index));
        });
    api::COSUpdateInterface* engine = &bench.startEngine(kUpdate);
    cosupdate::sim::Fault tear = cosupdate::sim::Fault::powerLoss(exchange, mode);
    tear.keptBytes = 3;
    bench.media().injectFault(tear);
    int results[3];  // the torn run, the re-run, a third run
    for (int run = 0; run < 3; ++run) {
        engine = run == 1 && freshEngine ? &bench.startEngine(kUpdate) : engine;
        try {
            results[run] = engine->doUpdate();
        } catch (const api::COSUpdateException&) {
            results[run] = -100;
        }
        // The torn exchange itself is not observed.
        forwardOnly("the end of run " + std::to_string(run + 1));
    }
    bench.media().setExchangeObserver(nullptr);

    if (bench.media().powerLossCount() != 1) {
        return "the tear never happened (the run returned " + std::to_string(results[0]) + ")";
    }
    if (!wentBack.empty()) {
        return wentBack;
    }
    if ((results[1] != 0 && results[1] != 1) || results[2] != 0) {
        return "runs returned " + std::to_string(results[1]) + ", " + std::to_string(results[2]) +
               "\n" + bench.log().text;
    }
    return bench.chip().state() == untorn ? "" : "ends as " + cosim::describe(bench.chip().state());
}

std::string modeName(const ::testing::TestParamInfo<cosupdate::sim::FaultKind>& info) {
    std::string name = cosupdate::sim::faultKindName(info.param);
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

class TearConvergence : public ::testing::TestWithParam<cosupdate::sim::FaultKind> {};

TEST_P(TearConvergence, EveryTearPointConvergesOnTheUntornStateAndNeverGoesBack) {
    Bench untorn;
    ASSERT_EQ(untorn.startEngine(kUpdate).doUpdate(), 1) << untorn.log().text;
    untorn.stopEngine();  // one engine at a time in a process
    const uint64_t exchanges = untorn.media().exchangeCount();
    ASSERT_GT(exchanges, 20u);
    uint64_t tried = 0, checks = 0;
    for (bool freshEngine : {false, true}) {
        for (uint64_t exchange = 1; exchange <= exchanges; ++exchange, ++tried) {
            EXPECT_EQ(
                tearAndRerun(GetParam(), exchange, freshEngine, untorn.chip().state(), checks), "")
                << cosupdate::sim::faultKindName(GetParam()) << " at exchange " << exchange
                << ", re-run on " << (freshEngine ? "a fresh" : "the same") << " engine";
        }
    }
    std::cout << "[ tearing  ] " << cosupdate::sim::faultKindName(GetParam()) << ": " << tried
              << " tear points tried (" << exchanges
              << " exchanges, same and fresh engine), COS version and services checked at "
              << checks << " exchanges and run ends" << std::endl;
}

INSTANTIATE_TEST_SUITE_P(Modes, TearConvergence,
                         ::testing::Values(cosupdate::sim::FaultKind::PowerLossBeforeChip,
                                           cosupdate::sim::FaultKind::PowerLossAfterExecution,
                                           cosupdate::sim::FaultKind::PowerLossTruncatedResponse),
                         modeName);

}  // namespace
}  // namespace e2e
