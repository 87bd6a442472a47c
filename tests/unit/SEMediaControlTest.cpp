// Each operation that talks to the chip starts the SE media when nobody has,
// and stops it only if it started it.

#include "EngineTest.h"

namespace testsupport {
namespace {

class SEMediaControlTest : public EngineTest {};

TEST_F(SEMediaControlTest, StopsOnlyWhatTheOperationStarted) {
    const std::pair<const char*, std::function<void(COSUpdateInterface&)>> operations[] = {
        {"isUpdateAvailable", [](COSUpdateInterface& e) { e.isUpdateAvailable(); }},
        {"doUpdate", [](COSUpdateInterface& e) { e.doUpdate(); }},
        {"getCOSInfo",
         [](COSUpdateInterface& e) {
             std::vector<uint8_t> info;
             e.getCOSInfo(COSUPDATE_TAG_FE, info);
         }},
    };
    for (const auto& [name, operation] : operations) {
        for (bool startedBefore : {false, true}) {
            SCOPED_TRACE(std::string(name) + (startedBefore ? ", started before" : ""));
            restart();
            load(threeScriptFile());
            if (startedBefore) {
                ASSERT_TRUE(kernel().fake.seMediaManager_start());
            }
            log->lines.clear();
            operation(*engine);
            EXPECT_EQ(started(), startedBefore);
            EXPECT_EQ(kernel().count("seMediaManager_start"), startedBefore ? 0u : 1u);
            EXPECT_EQ(kernel().count("seMediaManager_stop"), startedBefore ? 0u : 1u);
            EXPECT_TRUE(log->has(COSUPDATE_LOG_DEBUG, " * Checking SEMedia status ..."));
            EXPECT_EQ(log->has(COSUPDATE_LOG_DEBUG, " >>> SEMedia stopped"), !startedBefore);
            kernel().fake.seMediaManager_stop();
        }
    }
}

TEST_F(SEMediaControlTest, AStopTheKernelRefusesIsLoggedAndTheOperationStillSucceeds) {
    createReady();
    kernel().failNext("seMediaManager_stop");
    std::vector<uint8_t> info;
    engine->getCOSInfo(COSUPDATE_TAG_FE, info);
    EXPECT_EQ(log->texts(COSUPDATE_LOG_WARNING),
              std::vector<std::string>{"Unable to stop SEMedia"});
    EXPECT_TRUE(started());
}

// A stop the kernel confirmed settles what was owed: a second stop in the same
// operation (an operation's handler stops again) must not reach the kernel,
// where the bridge would warn that the SE media is not started. A refused
// stop stays owed and is asked again.
TEST_F(SEMediaControlTest, OnlyAStopStillOwedReachesTheKernel) {
    const std::string notStarted =
        "[COSUpdateLib] _COSUpdateSEMediaWrapper_stop : SEMedia not started or already stopped";
    const struct {
        const char* name;
        bool startedBefore;
        int refusedStops;
        size_t kernelStops;
    } cases[] = {
        {"started here", false, 0, 1},
        {"started here, first stop refused", false, 1, 2},
        {"started before", true, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        restart();
        if (started() != c.startedBefore) {  // the bridge's flag outlives engines
            ASSERT_TRUE(c.startedBefore ? kernel().fake.seMediaManager_start()
                                        : kernel().fake.seMediaManager_stop());
        }
        kernel().failNext("seMediaManager_stop", c.refusedStops);
        log->lines.clear();
        peer().useSEMedia([](auto& media) {
            media.start();
            media.stop();
            media.stop();
        });
        EXPECT_EQ(kernel().count("seMediaManager_stop"), c.kernelStops);
        EXPECT_FALSE(log->has(COSUPDATE_LOG_WARNING, notStarted));
        EXPECT_EQ(started(), c.startedBefore);
    }
}

}  // namespace
}  // namespace testsupport
