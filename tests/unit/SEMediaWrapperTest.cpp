// The SE media bridge as the kernel drives it: what the length contract sweep
// and the fuzzer leave open (exact error lines, the started flag, stop, and
// what init binds).

#include "EngineTest.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

namespace {

using namespace Zelmar::Device::COS::V1_0;
using kerneldouble::KernelDouble;
using testsupport::CapturingLog;
using testsupport::FakeTransport;
using testsupport::thrownMessage;

class SEMediaWrapperTest : public ::testing::Test {
  protected:
    void SetUp() override {
        KernelDouble::reset();
        COSUpdateSEMediaWrapper_init(log, transport);
    }
    bool open() {
        uint8_t aid[5] = {0xA0, 0x00, 0x00, 0x05, 0xFE};
        return _COSUpdateSEMediaWrapper_openConnection(aid, 5, response, 16, &length);
    }
    bool transmit() {
        uint8_t command[5] = {0x00, 0xA4, 0x04, 0x00, 0x00};
        return _COSUpdateSEMediaWrapper_transmitApdu(command, 5, response, 16, &length);
    }
    bool started() {
        bool flag = false;
        EXPECT_TRUE(_COSUpdateSEMediaWrapper_isStarted(&flag));
        return flag;
    }
    // The warnings logged since the last call.
    std::vector<std::string> warnings() {
        std::vector<std::string> texts = log->texts(COSUPDATE_LOG_WARNING);
        log->lines.clear();
        return texts;
    }

    std::shared_ptr<CapturingLog> log = std::make_shared<CapturingLog>();
    std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>();
    uint8_t response[16] = {};
    uint16_t length = 0;
};

using Lines = std::vector<std::string>;
const std::string kError = "[COSUpdateLib] _COSUpdateSEMediaWrapper_";

TEST_F(SEMediaWrapperTest, InitRebindsTheSinkEvenWhenItFailsButTheTransportOnlyOnSuccess) {
    auto otherLog = std::make_shared<CapturingLog>();
    EXPECT_EQ(thrownMessage([&] { COSUpdateSEMediaWrapper_init(otherLog, nullptr); }),
              "Invalid SEMedia");
    _COSUpdateSEMediaWrapper_start();
    EXPECT_TRUE(otherLog->lines.empty()) << "an invalid transport binds nothing";
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_stop());

    auto otherTransport = std::make_shared<FakeTransport>();
    EXPECT_CALL(KernelDouble::instance().mock, seMediaManager_initComponent)
        .WillOnce(testing::Return(false));
    EXPECT_EQ(thrownMessage([&] { COSUpdateSEMediaWrapper_init(otherLog, otherTransport); }),
              "Unable to initialize SEMedia Wrapper");
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    EXPECT_TRUE(open());
    EXPECT_EQ(transport->count("openConnection"), 1u);
    EXPECT_TRUE(otherTransport->calls.empty());
    EXPECT_TRUE(otherLog->has("[COSUpdateLib] ++ _COSUpdateSEMediaWrapper_start()"));
}

TEST_F(SEMediaWrapperTest, StartsOnceWithoutTheTransportAndTheFlagOutlivesRelease) {
    EXPECT_FALSE(started());
    EXPECT_TRUE(_COSUpdateSEMediaWrapper_start());
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_start());
    EXPECT_EQ(warnings(), Lines{kError + "start : SEMedia already started"});
    EXPECT_TRUE(started());
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_isStarted(nullptr));
    EXPECT_TRUE(transport->calls.empty());

    COSUpdateSEMediaWrapper_release();
    EXPECT_EQ(KernelDouble::instance().count("seMediaManager_cleanupComponent"), 1u);
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_start()) << "no transport after release";
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_stop()) << "no transport to close";
    COSUpdateSEMediaWrapper_init(log, transport);
    EXPECT_TRUE(started());
    EXPECT_TRUE(open()) << "open proceeds under the surviving flag";
}

TEST_F(SEMediaWrapperTest, LogsWhyAnExchangeFailed) {
    EXPECT_FALSE(transmit());
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_closeConnection());
    EXPECT_EQ(warnings(),
              (Lines{kError + "transmitApdu() => error detected : SEMedia is not connected",
                     kError + "closeConnection() => error detected : SEMedia is not connected"}));

    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    transport->connectOnOpen = false;
    EXPECT_FALSE(open());
    EXPECT_EQ(warnings(), Lines{}) << "a connection that did not come up is not an error";

    transport->connected = true;
    bool connected = false;
    transport->throws["transmitApdu"] = FakeTransport::Throw::COSUpdate;
    EXPECT_FALSE(transmit());
    transport->throws["transmitApdu"] = FakeTransport::Throw::Other;
    EXPECT_FALSE(transmit());
    transport->throws["isConnected"] = FakeTransport::Throw::Other;
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_isConnected(&connected));
    EXPECT_EQ(warnings(), (Lines{kError + "transmitApdu() => error detected : transport failure in "
                                          "transmitApdu",
                                 kError + "transmitApdu() => error detected",
                                 kError + "isConnected() => error detected"}));
}

TEST_F(SEMediaWrapperTest, StopClosesAnOpenConnectionAndClearsTheFlagUnlessTheTransportFails) {
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_stop());
    EXPECT_EQ(warnings(), Lines{kError + "stop : SEMedia not started or already stopped"});
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    transport->connected = true;
    EXPECT_TRUE(_COSUpdateSEMediaWrapper_stop());
    EXPECT_EQ(transport->calls, (Lines{"isConnected", "closeConnection"}));
    EXPECT_FALSE(started());
    transport->connected = true;
    transport->calls.clear();
    EXPECT_TRUE(_COSUpdateSEMediaWrapper_closeConnection()) << "closes without being started";
    EXPECT_EQ(transport->calls, (Lines{"isConnected", "closeConnection"}));
    EXPECT_TRUE(log->has(COSUPDATE_LOG_VERBOSE,
                         kError + "closeConnection : calling SEMedia->transmitApdu() ..."));

    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    transport->throws["isConnected"] = FakeTransport::Throw::COSUpdate;
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_stop());
    EXPECT_EQ(warnings(), Lines{"[COSUpdateLib] COSUpdateException on "
                                "_COSUpdateSEMediaWrapper_stop() : transport failure in "
                                "isConnected"});
    EXPECT_TRUE(started());
    transport->throws["isConnected"] = FakeTransport::Throw::Other;
    EXPECT_THROW(_COSUpdateSEMediaWrapper_stop(), std::logic_error);
    EXPECT_TRUE(started());
}

}  // namespace
