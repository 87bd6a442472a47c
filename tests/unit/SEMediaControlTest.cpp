// Starting the SE media for one operation and stopping it only if that
// operation started it.

#include "EngineTest.h"

namespace testsupport {
namespace {

class SEMediaControlTest : public EngineTest {
  protected:
    void SetUp() override {
        EngineTest::SetUp();
        createReady();
        log->lines.clear();
    }
    std::vector<std::string> debugLines() { return log->texts(COSUPDATE_LOG_DEBUG); }
    bool started() {
        bool flag = false;
        kernel().fake.seMediaManager_isStarted(&flag);
        return flag;
    }
};

TEST_F(SEMediaControlTest, StartsAndStopsWhenNobodyHadStarted) {
    bool wasStarted = true;
    bool startedLocally = false;
    peer().start(&wasStarted, &startedLocally);
    EXPECT_FALSE(wasStarted);
    EXPECT_TRUE(startedLocally);
    EXPECT_TRUE(started());
    peer().stop(&startedLocally);
    EXPECT_FALSE(startedLocally);
    EXPECT_FALSE(started());
    EXPECT_EQ(debugLines(),
              (std::vector<std::string>{" * Checking SEMedia status ...", " * Starting SEMedia ...",
                                        " >>> SEMedia started", " * Stopping SEMedia ...",
                                        " >>> SEMedia stopped"}));
    log->lines.clear();
    peer().stop(&startedLocally);
    EXPECT_EQ(log->texts(COSUPDATE_LOG_VERBOSE),
              (std::vector<std::string>{"++ COSUpdate::_stopSEMediaIfStartedLocally()",
                                        "-- COSUpdate::_stopSEMediaIfStartedLocally()"}));
}

TEST_F(SEMediaControlTest, BorrowsAStartedSEMediaAndLeavesItRunning) {
    ASSERT_TRUE(kernel().fake.seMediaManager_start());
    bool wasStarted = false;
    bool startedLocally = true;
    peer().start(&wasStarted, &startedLocally);
    EXPECT_TRUE(wasStarted);
    EXPECT_FALSE(startedLocally);
    peer().stop(&startedLocally);
    EXPECT_TRUE(started());
    EXPECT_EQ(debugLines(), (std::vector<std::string>{" * Checking SEMedia status ..."}));
    EXPECT_EQ(kernel().count("seMediaManager_stop"), 0u);
}

TEST_F(SEMediaControlTest, AFailedStopIsLoggedAndOwedAgain) {
    bool wasStarted = false;
    bool startedLocally = false;
    peer().start(&wasStarted, &startedLocally);
    kernel().failNext("seMediaManager_stop");
    peer().stop(&startedLocally);
    EXPECT_TRUE(startedLocally);
    EXPECT_TRUE(log->has(COSUPDATE_LOG_WARNING, "Unable to stop SEMedia"));
    peer().stop(&startedLocally);
    EXPECT_FALSE(startedLocally);
}

TEST_F(SEMediaControlTest, NullFlagsAreRefusedBeforeTheKernelIsAsked) {
    bool flag = false;
    const std::string message = "Unable to manage SEMedia status (null parameter)";
    kernel().journal.clear();
    EXPECT_EQ(thrownMessage([&] { peer().start(nullptr, &flag); }), message);
    EXPECT_EQ(thrownMessage([&] { peer().start(&flag, nullptr); }), message);
    EXPECT_EQ(thrownMessage([&] { peer().stop(nullptr); }), message);
    EXPECT_TRUE(kernel().journal.empty());
}

}  // namespace
}  // namespace testsupport
