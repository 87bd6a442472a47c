// The SE media bridge as the kernel drives it, against a fake transport.

#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "FakeTransport.h"
#include "KernelDouble.h"
#include "ZelmarNativeCOSUpdateSEMediaWrapper.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {
namespace {

using kerneldouble::KernelDouble;
using testing::Return;
using testsupport::CapturingLog;
using testsupport::FakeTransport;
using testsupport::LogLine;

constexpr uint8_t kUntouched = 0xEE;
constexpr uint16_t kUntouchedLength = 0xBEEF;

class SEMediaWrapperTest : public ::testing::Test {
  protected:
    void SetUp() override {
        KernelDouble::reset();
        COSUpdateSEMediaWrapper_init(log, transport);
    }

    const NATIVECOSPATCH_SEMEDIA_COMPONENT& table() {
        return *KernelDouble::instance().fake.seMediaComponent();
    }
    bool open(uint16_t aidLength = 5, uint16_t responseMax = 16) {
        return _COSUpdateSEMediaWrapper_openConnection(aid, aidLength, response, responseMax,
                                                       &responseLength);
    }
    bool transmit(uint16_t commandLength = 5, uint16_t responseMax = 16) {
        return _COSUpdateSEMediaWrapper_transmitApdu(command, commandLength, response, responseMax,
                                                     &responseLength);
    }
    void expectBufferUntouched() {
        EXPECT_EQ(responseLength, kUntouchedLength);
        for (uint8_t byte : response) {
            ASSERT_EQ(byte, kUntouched);
        }
    }
    bool logged(COSUpdateLogLevel level, const std::string& text) {
        return log->has(level, "[COSUpdateLib] " + text);
    }

    std::shared_ptr<CapturingLog> log = std::make_shared<CapturingLog>();
    std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>();
    uint8_t aid[5] = {0xA0, 0x00, 0x00, 0x05, 0xFE};
    uint8_t command[5] = {0x00, 0xA4, 0x04, 0x00, 0x00};
    uint8_t response[16];
    uint16_t responseLength = kUntouchedLength;

    SEMediaWrapperTest() { std::fill(std::begin(response), std::end(response), kUntouched); }
};

TEST_F(SEMediaWrapperTest, InitWithoutTransportThrowsAndKeepsTheSink) {
    auto other = std::make_shared<CapturingLog>();
    try {
        COSUpdateSEMediaWrapper_init(other, nullptr);
        FAIL() << "no exception";
    } catch (const COSUpdateException& e) {
        EXPECT_STREQ(e.what(), "Invalid SEMedia");
    }
    _COSUpdateSEMediaWrapper_start();
    EXPECT_TRUE(other->lines.empty());
    EXPECT_FALSE(log->lines.empty());
}

TEST_F(SEMediaWrapperTest, RefusedTableTakesTheNewSinkButKeepsTheOldTransport) {
    auto otherLog = std::make_shared<CapturingLog>();
    auto otherTransport = std::make_shared<FakeTransport>();
    EXPECT_CALL(KernelDouble::instance().mock, seMediaManager_initComponent)
        .WillOnce(Return(false));
    try {
        COSUpdateSEMediaWrapper_init(otherLog, otherTransport);
        FAIL() << "no exception";
    } catch (const COSUpdateException& e) {
        EXPECT_STREQ(e.what(), "Unable to initialize SEMedia Wrapper");
    }
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    EXPECT_TRUE(open());
    EXPECT_EQ(transport->count("openConnection"), 1u);
    EXPECT_EQ(otherTransport->count("openConnection"), 0u);
    EXPECT_TRUE(otherLog->has("[COSUpdateLib] ++ _COSUpdateSEMediaWrapper_start()"));
}

TEST_F(SEMediaWrapperTest, StartsOnceAndNeverTouchesTheTransport) {
    bool started = false;
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_isStarted(&started));
    EXPECT_FALSE(started);
    EXPECT_TRUE(_COSUpdateSEMediaWrapper_start());
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_start());
    EXPECT_TRUE(
        logged(COSUPDATE_LOG_WARNING, "_COSUpdateSEMediaWrapper_start : SEMedia already started"));
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_isStarted(&started));
    EXPECT_TRUE(started);
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_isStarted(nullptr));
    EXPECT_TRUE(transport->calls.empty());
    EXPECT_EQ(log->texts(COSUPDATE_LOG_VERBOSE).front(),
              "[COSUpdateLib] ++ _COSUpdateSEMediaWrapper_start()");
}

TEST_F(SEMediaWrapperTest, StartedFlagSurvivesReleaseAndReinit) {
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    COSUpdateSEMediaWrapper_release();
    EXPECT_EQ(KernelDouble::instance().count("seMediaManager_cleanupComponent"), 1u);
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_start()) << "no transport after release";
    COSUpdateSEMediaWrapper_init(log, transport);
    bool started = false;
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_isStarted(&started));
    EXPECT_TRUE(started);
    EXPECT_TRUE(open()) << "open proceeds under the surviving flag";
}

TEST_F(SEMediaWrapperTest, OpenBeforeStartFailsEvenWithValidArguments) {
    EXPECT_FALSE(open());
    EXPECT_TRUE(logged(COSUPDATE_LOG_WARNING,
                       "_COSUpdateSEMediaWrapper_openConnection() => error detected : SEMedia not "
                       "started"));
    expectBufferUntouched();
    EXPECT_TRUE(transport->calls.empty());
}

TEST_F(SEMediaWrapperTest, OpenThatDoesNotConnectFailsWithoutAnErrorLine) {
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    transport->connectOnOpen = false;
    EXPECT_FALSE(open());
    EXPECT_TRUE(log->texts(COSUPDATE_LOG_WARNING).empty());
    expectBufferUntouched();
    EXPECT_EQ(log->texts(COSUPDATE_LOG_VERBOSE).back(),
              "[COSUpdateLib] -- _COSUpdateSEMediaWrapper_openConnection()");
}

// Sizes and pointers are pinned down by the length contract test; here, what
// transmit asks of the transport.
TEST_F(SEMediaWrapperTest, TransmitIgnoresTheStartedFlagButNeedsAConnection) {
    EXPECT_FALSE(transmit());
    EXPECT_TRUE(logged(COSUPDATE_LOG_WARNING,
                       "_COSUpdateSEMediaWrapper_transmitApdu() => error detected : SEMedia is not "
                       "connected"));
    expectBufferUntouched();
    transport->connected = true;
    transport->apduAnswer = {0x61, 0x10, 0x90, 0x00};
    EXPECT_TRUE(transmit(4));
    EXPECT_EQ(responseLength, 4u);
    EXPECT_EQ(std::vector<uint8_t>(response, response + 4), transport->apduAnswer);
    EXPECT_EQ(transport->lastCommand, std::vector<uint8_t>(command, command + 4));
    bool connected = false;
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_isConnected(&connected));
    EXPECT_TRUE(connected);
}

TEST_F(SEMediaWrapperTest, TransportExceptionsAreLoggedWithOrWithoutTheirText) {
    transport->connected = true;
    transport->throws["transmitApdu"] = FakeTransport::Throw::COSUpdate;
    EXPECT_FALSE(transmit());
    EXPECT_TRUE(logged(COSUPDATE_LOG_WARNING,
                       "_COSUpdateSEMediaWrapper_transmitApdu() => error detected : transport "
                       "failure in transmitApdu"));
    transport->throws["transmitApdu"] = FakeTransport::Throw::Other;
    EXPECT_FALSE(transmit());
    EXPECT_TRUE(
        logged(COSUPDATE_LOG_WARNING, "_COSUpdateSEMediaWrapper_transmitApdu() => error detected"));
    expectBufferUntouched();

    bool connected = false;
    transport->throws["isConnected"] = FakeTransport::Throw::Other;
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_isConnected(&connected));
    EXPECT_TRUE(
        logged(COSUPDATE_LOG_WARNING, "_COSUpdateSEMediaWrapper_isConnected() => error detected"));
}

TEST_F(SEMediaWrapperTest, CloseAsksIsConnectedUnderAMisleadingLineThenCloses) {
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_closeConnection());
    EXPECT_TRUE(logged(COSUPDATE_LOG_WARNING,
                       "_COSUpdateSEMediaWrapper_closeConnection() => error detected : SEMedia is "
                       "not connected"));
    transport->connected = true;
    transport->calls.clear();
    EXPECT_TRUE(_COSUpdateSEMediaWrapper_closeConnection());
    EXPECT_EQ(transport->calls, (std::vector<std::string>{"isConnected", "closeConnection"}));
    EXPECT_TRUE(logged(COSUPDATE_LOG_VERBOSE,
                       "_COSUpdateSEMediaWrapper_closeConnection : calling SEMedia->transmitApdu() "
                       "..."));
}

TEST_F(SEMediaWrapperTest, StopClosesAnOpenConnectionAndClearsTheFlag) {
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_stop());
    EXPECT_TRUE(logged(COSUPDATE_LOG_WARNING,
                       "_COSUpdateSEMediaWrapper_stop : SEMedia not started or already stopped"));
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    transport->connected = true;
    EXPECT_TRUE(_COSUpdateSEMediaWrapper_stop());
    EXPECT_EQ(transport->calls, (std::vector<std::string>{"isConnected", "closeConnection"}));
    bool started = true;
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_isStarted(&started));
    EXPECT_FALSE(started);
}

TEST_F(SEMediaWrapperTest, StopKeepsTheFlagWhenTheTransportThrowsItsOwnException) {
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    transport->throws["isConnected"] = FakeTransport::Throw::COSUpdate;
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_stop());
    EXPECT_TRUE(logged(COSUPDATE_LOG_WARNING,
                       "COSUpdateException on _COSUpdateSEMediaWrapper_stop() : transport failure "
                       "in isConnected"));
    bool started = false;
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_isStarted(&started));
    EXPECT_TRUE(started);
    transport->throws["isConnected"] = FakeTransport::Throw::Other;
    EXPECT_THROW(_COSUpdateSEMediaWrapper_stop(), std::logic_error);
}

TEST_F(SEMediaWrapperTest, StopAfterReleaseDoesNotReachForAMissingTransport) {
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    COSUpdateSEMediaWrapper_release();
    EXPECT_FALSE(_COSUpdateSEMediaWrapper_stop());
}

TEST_F(SEMediaWrapperTest, WorksSilentlyWithoutASinkAndSurvivesAThrowingOne) {
    COSUpdateSEMediaWrapper_init(nullptr, transport);
    ASSERT_TRUE(_COSUpdateSEMediaWrapper_start());
    EXPECT_TRUE(open());
    EXPECT_TRUE(log->lines.empty());
    COSUpdateSEMediaWrapper_init(log, transport);
    log->throwAt = 1;
    EXPECT_TRUE(transmit());
    EXPECT_TRUE(_COSUpdateSEMediaWrapper_closeConnection());
}

}  // namespace
}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
