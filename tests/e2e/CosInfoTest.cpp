// getCOSInfo reads the chip's data objects through the kernel.

#include <gtest/gtest.h>

#include "E2eSupport.h"

namespace e2e {
namespace {

TEST(CosInfo, ReturnsFcFdPrefixAndFe) {
    Bench bench;
    auto& engine = bench.startEngine();
    const cosim::ChipState& state = bench.chip().state();
    std::vector<uint8_t> info;

    engine.getCOSInfo(api::COSUPDATE_TAG_FC, info);
    EXPECT_EQ(info, state.fc);
    engine.getCOSInfo(api::COSUPDATE_TAG_FD, info);
    EXPECT_EQ(info, (std::vector<uint8_t>{state.fd[0], state.fd[1]}));
    engine.getCOSInfo(api::COSUPDATE_TAG_FE, info);
    EXPECT_EQ(info, cosim::encodeFe(state));
}

TEST(CosInfo, FeShowsTheVersionAfterTheUpdate) {
    Bench bench;
    auto& engine = bench.startEngine(examplePath("update.xml"));
    ASSERT_EQ(engine.doUpdate(), 1);
    std::vector<uint8_t> info;

    engine.getCOSInfo(api::COSUPDATE_TAG_FE, info);

    EXPECT_EQ(info, cosim::encodeFe(updatedFactoryState()));
}

TEST(CosInfo, LargeFcIsReadInSeveralChunks) {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.fc.resize(700);
    for (size_t i = 0; i < state.fc.size(); ++i) {
        state.fc[i] = static_cast<uint8_t>(i * 31);
    }
    Bench bench(state);
    auto& engine = bench.startEngine();
    std::vector<uint8_t> info;

    engine.getCOSInfo(api::COSUPDATE_TAG_FC, info);

    EXPECT_EQ(info, state.fc);
}

TEST(CosInfo, UnreachableChipFailsTheRead) {
    Bench bench;
    auto& engine = bench.startEngine();
    cosim::Fault lost = cosim::Fault::powerLoss(1, cosim::FaultKind::PowerLossBeforeChip);
    bench.media().injectFault(lost);
    std::vector<uint8_t> info;

    EXPECT_THROW(engine.getCOSInfo(api::COSUPDATE_TAG_FE, info), api::COSUpdateException);
    engine.getCOSInfo(api::COSUPDATE_TAG_FE, info);  // the link comes back with the next open
    EXPECT_EQ(info, cosim::encodeFe(bench.chip().state()));
}

}  // namespace
}  // namespace e2e
