// The example update deployed through the public API on simulated chips.

#include <gtest/gtest.h>

#include "E2eSupport.h"
#include "cosim/StateFile.h"

namespace e2e {
namespace {

const std::string kUpdate = examplePath("update.xml");

TEST(Update, FactoryChipGetsBothPatchesAndTheService) {
    Bench bench;
    auto& engine = bench.startEngine(kUpdate);

    EXPECT_TRUE(engine.isUpdateAvailable());
    EXPECT_EQ(engine.doUpdate(), 1) << bench.log().dump();

    EXPECT_EQ(bench.chip().state(), updatedFactoryState()) << cosim::describe(bench.chip().state());
    EXPECT_TRUE(bench.log().contains("Running <patch-0100-0101> script (type:Patch)"));
    EXPECT_TRUE(bench.log().contains("Running <patch-0101-0102-acme> script (type:Patch)"));
    EXPECT_TRUE(bench.log().contains("Running <service-transit> script (type:Service)"));
    EXPECT_FALSE(bench.log().contains("Running <patch-0101-0102> "));
}

TEST(Update, SecondRunFindsNothingLeft) {
    Bench bench;
    auto& engine = bench.startEngine(kUpdate);
    ASSERT_EQ(engine.doUpdate(), 1) << bench.log().dump();

    EXPECT_EQ(engine.doUpdate(), 0);
    EXPECT_FALSE(engine.isUpdateAvailable());

    auto& fresh = bench.startEngine(kUpdate);
    EXPECT_FALSE(fresh.isUpdateAvailable());
    EXPECT_EQ(fresh.doUpdate(), 0);
    EXPECT_EQ(bench.chip().state(), updatedFactoryState());
}

struct CustomerCase {
    const char* customerId;
    const char* secondPatch;
};

class UpdateByCustomer : public ::testing::TestWithParam<CustomerCase> {};

TEST_P(UpdateByCustomer, GetsItsOwnBuildOrTheGenericOne) {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.customerId = GetParam().customerId;
    Bench bench(state);
    auto& engine = bench.startEngine(kUpdate);

    EXPECT_EQ(engine.doUpdate(), 1) << bench.log().dump();

    EXPECT_EQ(bench.chip().state().cosVersion, 0x0102);
    EXPECT_TRUE(bench.log().contains(std::string("Running <") + GetParam().secondPatch + ">"))
        << bench.log().dump();
}

INSTANTIATE_TEST_SUITE_P(Customers, UpdateByCustomer,
                         ::testing::Values(CustomerCase{"ACME", "patch-0101-0102-acme"},
                                           CustomerCase{"GLOBEX", "patch-0101-0102-globex"},
                                           CustomerCase{"INITECH", "patch-0101-0102"},
                                           CustomerCase{"", "patch-0101-0102"}),
                         [](const ::testing::TestParamInfo<CustomerCase>& info) {
                             const std::string id = info.param.customerId;
                             return id.empty() ? std::string("NoCustomer") : id;
                         });

TEST(Update, OtherPlatformHasNothingToDo) {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.platformId = "ZLM-P3";
    Bench bench(state);
    auto& engine = bench.startEngine(kUpdate);

    EXPECT_FALSE(engine.isUpdateAvailable());
    EXPECT_EQ(engine.doUpdate(), 0);
    EXPECT_EQ(bench.chip().state(), state);
}

TEST(Update, ChipOnLatestVersionOnlyGetsTheMissingService) {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.cosVersion = 0x0102;
    Bench bench(state);
    auto& engine = bench.startEngine(kUpdate);

    EXPECT_EQ(engine.doUpdate(), 1) << bench.log().dump();

    EXPECT_EQ(bench.chip().state(), updatedFactoryState());
    EXPECT_FALSE(bench.log().contains("(type:Patch)"));
}

TEST(Update, RefusedCommitFailsTheRunAndTheNextRunResumes) {
    Bench bench;
    auto& engine = bench.startEngine(kUpdate);
    // FE platform id (2), version (2), customer id (2), then patch 1: SELECT,
    // BEGIN, three blocks, COMMIT.
    constexpr uint64_t kFirstCommit = 6 + 6;
    cosim::Fault refused;
    refused.kind = cosim::FaultKind::StatusWord;
    refused.atExchange = kFirstCommit;
    refused.statusWord = 0x6A80;
    bench.media().injectFault(refused);

    EXPECT_EQ(engine.doUpdate(), -1);
    EXPECT_EQ(bench.chip().state().cosVersion, 0x0100);
    EXPECT_TRUE(bench.log().contains(api::COSUPDATE_LOG_ERROR, "unexpected status word 6A80"))
        << bench.log().dump();

    EXPECT_EQ(engine.doUpdate(), 1) << bench.log().dump();
    EXPECT_EQ(bench.chip().state(), updatedFactoryState());
}

TEST(Update, TransportThatNeverAnswersFailsWithoutChangingTheChip) {
    Bench bench;
    auto& engine = bench.startEngine(kUpdate);
    for (uint64_t exchange = 1; exchange <= 64; ++exchange) {
        cosim::Fault broken;
        broken.kind = cosim::FaultKind::TransportError;
        broken.atExchange = exchange;
        bench.media().injectFault(broken);
    }

    EXPECT_THROW(engine.doUpdate(), api::COSUpdateException);
    EXPECT_EQ(bench.chip().state(), cosim::ChipState::factoryDefault());
}

TEST(Update, KernelReportsNoLeakedObjects) {
    Bench bench;
    auto& engine = bench.startEngine(kUpdate);
    ASSERT_EQ(engine.doUpdate(), 1);
    bench.stopEngine();  // the engine's teardown asks the kernel for leaks

    EXPECT_TRUE(bench.log().contains("-- COSUpdate::~COSUpdate()"));
    EXPECT_FALSE(bench.log().contains("never freed")) << bench.log().dump();
}

TEST(Update, ChipStateFileFollowsTheUpdate) {
    const std::string path = ::testing::TempDir() + "/e2e-chip-state.txt";
    cosim::saveStateFile(path, cosim::ChipState::factoryDefault());
    Bench bench(cosim::loadStateFile(path));
    bench.media().persistTo(path);
    auto& engine = bench.startEngine(kUpdate);

    ASSERT_EQ(engine.doUpdate(), 1) << bench.log().dump();

    EXPECT_EQ(cosim::loadStateFile(path), updatedFactoryState());
}

}  // namespace
}  // namespace e2e
