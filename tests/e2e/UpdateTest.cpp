// The example update and getCOSInfo through the shipped library's public API.

#include <gtest/gtest.h>

#include "E2eSupport.h"
#include "cosupdate/apdu/Hex.h"

namespace e2e {
namespace {

TEST(Update, ExampleDeploysOnceThenFindsNothingLeft) {
    Bench bench;
    auto& engine = bench.startEngine(examplePath("update.xml"));
    cosim::ChipState updated = cosim::ChipState::factoryDefault();
    updated.cosVersion = 0x0102;
    updated.services.insert(cosupdate::apdu::decodeHex("F05A4C4D53000001").bytes);

    EXPECT_EQ(engine.doUpdate(), 1) << bench.log().text;
    EXPECT_EQ(bench.chip().state(), updated) << cosim::describe(bench.chip().state());
    EXPECT_EQ(engine.doUpdate(), 0);
    bench.stopEngine();  // the engine's teardown asks the kernel for leaks
    EXPECT_FALSE(bench.log().contains("never freed")) << bench.log().text;

    EXPECT_EQ(bench.startEngine(examplePath("update.xml")).doUpdate(), 0) << bench.log().text;
    EXPECT_EQ(bench.chip().state(), updated);
}

// FD and FE are read through the tool as well; FC here takes more than one
// READ BINARY.
TEST(CosInfo, ReadsAnFcLongerThanOneReadBinary) {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.fc.resize(700);
    for (size_t i = 0; i < state.fc.size(); ++i) {
        state.fc[i] = static_cast<uint8_t>(i * 31);
    }
    Bench bench(state);
    std::vector<uint8_t> info;
    bench.startEngine().getCOSInfo(api::COSUPDATE_TAG_FC, info);
    EXPECT_EQ(info, state.fc);
}

}  // namespace
}  // namespace e2e
