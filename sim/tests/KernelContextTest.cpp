// The kernel's components and SE context: AIDs, reads of FC/FD/FE, byte
// arrays, live-object accounting and callback handling.

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "KernelHarness.h"
#include "cosim/Protocol.h"

namespace {

using harness::KernelFixture;

TEST(KernelContext, ReadsIdentityFromFe) {
    KernelFixture kernel;
    char platform[NATIVECOSPATCH_ID_BUFFER_SIZE] = {};
    char customer[NATIVECOSPATCH_ID_BUFFER_SIZE] = {};
    uint16_t version = 0;

    EXPECT_TRUE(nativeCOSPatch_seContextManager_readCOSPlatformId(platform, sizeof(platform)));
    EXPECT_TRUE(nativeCOSPatch_seContextManager_readCOSVersion(&version));
    EXPECT_TRUE(nativeCOSPatch_seContextManager_readCOSCustomerId(customer, sizeof(customer)));

    EXPECT_STREQ(platform, "ZLM-P1");
    EXPECT_EQ(version, 0x0100);
    EXPECT_STREQ(customer, "ACME");
    EXPECT_EQ(kernel.closes(), 3);
}

TEST(KernelContext, LongestIdentityFitsTheCallersBuffer) {
    KernelFixture kernel;
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.platformId = std::string(127, 'P');
    state.customerId = "";
    kernel.chip().setState(state);
    kernel.chip().powerOn();
    char buffer[NATIVECOSPATCH_ID_BUFFER_SIZE];
    std::memset(buffer, 'x', sizeof(buffer));

    ASSERT_TRUE(nativeCOSPatch_seContextManager_readCOSPlatformId(buffer, sizeof(buffer)));
    EXPECT_EQ(std::string(buffer), state.platformId);
    EXPECT_FALSE(nativeCOSPatch_seContextManager_readCOSPlatformId(buffer, 127));
    EXPECT_TRUE(nativeCOSPatch_seContextManager_readCOSCustomerId(buffer, sizeof(buffer)));
    EXPECT_STREQ(buffer, "");
}

TEST(KernelContext, AidsAreCopiedAndCounted) {
    KernelFixture kernel;
    uint8_t aid[] = {0xF0, 0x5A, 0x4C, 0x4D, 0x00, 0xFE};
    uint16_t size = 99;

    ASSERT_TRUE(nativeCOSPatch_seContextManager_updateCOSTagAID(NATIVECOSPATCH_COS_DATA_TYPE_FE,
                                                                aid, sizeof(aid)));
    std::memset(aid, 0, sizeof(aid));  // the caller frees its copy
    uint16_t version = 0;
    EXPECT_TRUE(nativeCOSPatch_seContextManager_readCOSVersion(&version));
    EXPECT_TRUE(
        nativeCOSPatch_seContextManager_getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE_FE, &size));
    EXPECT_EQ(size, sizeof(aid));
    EXPECT_FALSE(
        nativeCOSPatch_seContextManager_getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE_NONE, &size));
    EXPECT_FALSE(nativeCOSPatch_seContextManager_updateCOSTagAID(
        static_cast<NATIVECOSPATCH_COS_DATA_TYPE>(4), aid, sizeof(aid)));

    nativeCOSPatch_seContextManager_cleanupComponent();
    nativeCOSPatch_seContextManager_initComponent();
    EXPECT_TRUE(
        nativeCOSPatch_seContextManager_getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE_FE, &size));
    EXPECT_EQ(size, 0);
    EXPECT_FALSE(nativeCOSPatch_seContextManager_readCOSVersion(&version));
    EXPECT_TRUE(kernel.logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_ERROR, "no AID registered for FE"));
}

struct ObjectCase {
    NATIVECOSPATCH_COS_DATA_TYPE type;
    cosim::Bytes expected;
};

class KernelCosData : public ::testing::TestWithParam<ObjectCase> {};

TEST_P(KernelCosData, ReadsTheWholeObject) {
    KernelFixture kernel;
    NATIVECOSPATCH_BYTE_ARRAY data{};

    ASSERT_TRUE(nativeCOSPatch_seContextManager_readCOSData(GetParam().type, &data));

    EXPECT_EQ(cosim::Bytes(data.data, data.data + data.size), GetParam().expected);
    EXPECT_TRUE(nativeCOSPatch_byteArray_freeContent(&data));
    EXPECT_EQ(data.data, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Objects, KernelCosData,
    ::testing::Values(ObjectCase{NATIVECOSPATCH_COS_DATA_TYPE_FC,
                                 cosim::fromHex("5A4C4D010000002A")},
                      ObjectCase{NATIVECOSPATCH_COS_DATA_TYPE_FD, cosim::fromHex("0A010003")},
                      ObjectCase{NATIVECOSPATCH_COS_DATA_TYPE_FE,
                                 cosim::encodeFe(cosim::ChipState::factoryDefault())}));

TEST(KernelContext, EmptyObjectGivesNoContent) {
    KernelFixture kernel;
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.fc.clear();
    kernel.chip().setState(state);
    kernel.chip().powerOn();
    NATIVECOSPATCH_BYTE_ARRAY data{};

    ASSERT_TRUE(
        nativeCOSPatch_seContextManager_readCOSData(NATIVECOSPATCH_COS_DATA_TYPE_FC, &data));
    EXPECT_EQ(data.data, nullptr);
    EXPECT_EQ(data.size, 0);
}

TEST(KernelContext, UnreachableObjectFailsTheRead) {
    KernelFixture kernel;
    kernel.breakTransport(true);
    NATIVECOSPATCH_BYTE_ARRAY data{};
    uint16_t version = 0;

    EXPECT_FALSE(
        nativeCOSPatch_seContextManager_readCOSData(NATIVECOSPATCH_COS_DATA_TYPE_FD, &data));
    EXPECT_FALSE(nativeCOSPatch_seContextManager_readCOSVersion(&version));
    EXPECT_TRUE(
        kernel.logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_ERROR, "selecting FE: no connection"));
}

TEST(KernelMemory, CleanupReportsObjectsNeverFreed) {
    KernelFixture kernel;
    NATIVECOSPATCH_BYTE_ARRAY data{};
    ASSERT_TRUE(
        nativeCOSPatch_seContextManager_readCOSData(NATIVECOSPATCH_COS_DATA_TYPE_FD, &data));
    NATIVECOSPATCH_SCRIPT* script = harness::loadScript("<script><close/></script>");

    nativeCOSPatch_memory_cleanupComponent();
    EXPECT_TRUE(kernel.logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_WARNING, "1 script(s) never freed"));
    EXPECT_TRUE(
        kernel.logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_WARNING, "1 byte array(s) never freed"));
    nativeCOSPatch_scriptManager_freeScript(script);
    nativeCOSPatch_byteArray_freeContent(&data);
}

TEST(KernelComponents, ReportTheirStateHonestly) {
    bool initialized = true;
    EXPECT_TRUE(nativeCOSPatch_logManager_isComponentInitialized(&initialized));
    EXPECT_FALSE(initialized);
    EXPECT_FALSE(nativeCOSPatch_logManager_open());
    EXPECT_TRUE(nativeCOSPatch_seMediaManager_isComponentInitialized(&initialized));
    EXPECT_FALSE(initialized);
    EXPECT_FALSE(nativeCOSPatch_seMediaManager_start());
    {
        KernelFixture kernel;
        EXPECT_TRUE(nativeCOSPatch_logManager_isComponentInitialized(&initialized));
        EXPECT_TRUE(initialized);
        EXPECT_TRUE(nativeCOSPatch_seMediaManager_isComponentInitialized(&initialized));
        EXPECT_TRUE(initialized);
    }
    EXPECT_TRUE(nativeCOSPatch_seMediaManager_isComponentInitialized(&initialized));
    EXPECT_FALSE(initialized);
    NATIVECOSPATCH_SEMEDIA_COMPONENT partial{};
    EXPECT_FALSE(nativeCOSPatch_seMediaManager_initComponent(&partial));
    EXPECT_FALSE(nativeCOSPatch_seMediaManager_initComponent(nullptr));
}

bool throwingStart() {
    throw std::runtime_error("transport's own failure");
}
bool yes() {
    return true;
}
bool yesFlag(bool* flag) {
    *flag = true;
    return true;
}
bool noExchange(uint8_t*, uint16_t, uint8_t*, uint16_t, uint16_t*) {
    return false;
}

TEST(KernelComponents, CallbackExceptionsReachTheCaller) {
    NATIVECOSPATCH_SEMEDIA_COMPONENT media{throwingStart, yesFlag, noExchange, yesFlag,
                                           noExchange,    yes,     yes};
    ASSERT_TRUE(nativeCOSPatch_seMediaManager_initComponent(&media));

    EXPECT_THROW(nativeCOSPatch_seMediaManager_start(), std::runtime_error);
    bool started = false;
    EXPECT_TRUE(nativeCOSPatch_seMediaManager_isStarted(&started));
    EXPECT_TRUE(started);
    EXPECT_TRUE(nativeCOSPatch_seMediaManager_stop());
    nativeCOSPatch_seMediaManager_cleanupComponent();
}

}  // namespace
