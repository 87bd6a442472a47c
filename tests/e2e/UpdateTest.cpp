// The example update and getCOSInfo through the shipped library's public API.

#include <gtest/gtest.h>

#include "E2eSupport.h"

namespace e2e {
namespace {

TEST(Update, ExampleDeploysOnceThenFindsNothingLeft) {
    Bench bench;
    auto& engine = bench.startEngine(examplePath("update.xml"));
    cosim::ChipState updated = cosim::ChipState::factoryDefault();
    updated.cosVersion = 0x0102;
    updated.services.insert(cosim::fromHex("F05A4C4D53000001"));

    EXPECT_EQ(engine.doUpdate(), 1) << bench.log().dump();
    EXPECT_EQ(bench.chip().state(), updated) << cosim::describe(bench.chip().state());
    EXPECT_EQ(engine.doUpdate(), 0);
    bench.stopEngine();  // the engine's teardown asks the kernel for leaks
    EXPECT_FALSE(bench.log().contains("never freed")) << bench.log().dump();

    EXPECT_EQ(bench.startEngine(examplePath("update.xml")).doUpdate(), 0) << bench.log().dump();
    EXPECT_EQ(bench.chip().state(), updated);
}

TEST(CosInfo, ReturnsFcTheFirstTwoBytesOfFdAndFe) {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.fc.resize(700);  // more than one READ BINARY
    for (size_t i = 0; i < state.fc.size(); ++i) {
        state.fc[i] = static_cast<uint8_t>(i * 31);
    }
    state.fd = {0x0A, 0x01, 0x00, 0x03};
    Bench bench(state);
    auto& engine = bench.startEngine();
    std::vector<uint8_t> info;

    engine.getCOSInfo(api::COSUPDATE_TAG_FC, info);
    EXPECT_EQ(info, state.fc);
    engine.getCOSInfo(api::COSUPDATE_TAG_FD, info);
    EXPECT_EQ(info, (std::vector<uint8_t>{0x0A, 0x01}));
    engine.getCOSInfo(api::COSUPDATE_TAG_FE, info);
    EXPECT_EQ(info, cosim::fromHex("C1065A4C4D2D5031 C2020100 C30441434D45"));
}

}  // namespace
}  // namespace e2e
