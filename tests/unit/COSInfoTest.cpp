// Registering the AIDs of FC, FD and FE, and reading the objects.

#include "EngineTest.h"

namespace testsupport {
namespace {

using testing::_;
using testing::DoAll;
using testing::Invoke;
using testing::Return;
using testing::SetArgPointee;

class COSInfoTest : public EngineTest {
  protected:
    void SetUp() override {
        EngineTest::SetUp();
        createReady();
        engine->setCOSUpdateTagAID(COSUPDATE_TAG_FC, {0xA0, 0x00, 0xFC});
        engine->setCOSUpdateTagAID(COSUPDATE_TAG_FD, {0xA0, 0x00, 0xFD});
        log->lines.clear();
    }
    std::vector<uint8_t> read(int tag) {
        std::vector<uint8_t> info{0x55};  // cleared by the read
        engine->getCOSInfo(static_cast<COSUpdateTag>(tag), info);
        return info;
    }
};

TEST_F(COSInfoTest, ForwardsEachTagsAIDUnderItsKernelType) {
    const struct {
        int tag;
        NATIVECOSPATCH_COS_DATA_TYPE type;
    } cases[] = {{COSUPDATE_TAG_FC, NATIVECOSPATCH_COS_DATA_TYPE_FC},
                 {COSUPDATE_TAG_FD, NATIVECOSPATCH_COS_DATA_TYPE_FD},
                 {COSUPDATE_TAG_FE, NATIVECOSPATCH_COS_DATA_TYPE_FE}};
    for (const auto& c : cases) {
        EXPECT_CALL(kernel().mock, seContextManager_updateCOSTagAID(c.type, _, 3));
        engine->setCOSUpdateTagAID(static_cast<COSUpdateTag>(c.tag), {1, 2, 3});
    }
    EXPECT_EQ(log->texts(COSUPDATE_LOG_DEBUG).back(), "-- COSUpdate::setCOSUpdateTagAID()");
}

TEST_F(COSInfoTest, RefusesAIDsOfTheWrongSizeBeforeLookingAtTheTag) {
    for (size_t size : {size_t{0}, size_t{2}, size_t{65536}}) {
        EXPECT_EQ(thrownMessage([&] {
                      engine->setCOSUpdateTagAID(static_cast<COSUpdateTag>(3),
                                                 std::vector<uint8_t>(size, 0xA0));
                  }),
                  "Invalid AID (incorrect size)");
    }
    EXPECT_TRUE(log->texts(COSUPDATE_LOG_WARNING).empty());
    EXPECT_EQ(kernel().count("seContextManager_updateCOSTagAID"), 3u) << "only SetUp's";
}

TEST_F(COSInfoTest, LogsAndRethrowsAnUnsupportedTagOrARefusedAID) {
    for (int tag : {0, 3, 8}) {
        EXPECT_EQ(thrownMessage([&] {
                      engine->setCOSUpdateTagAID(static_cast<COSUpdateTag>(tag), {1, 2, 3});
                  }),
                  "Unsupported COS tag)");
    }
    EXPECT_EQ(log->count("COSUpdateException detected on COSUpdate::setCOSUpdateTagAID() : "
                         "Unsupported COS tag)"),
              3u);
    EXPECT_CALL(kernel().mock, seContextManager_updateCOSTagAID).WillOnce(Return(false));
    EXPECT_EQ(thrownMessage([&] {
                  engine->setCOSUpdateTagAID(COSUPDATE_TAG_FD, {1, 2, 3});
              }),
              "Unable to save AID for FD tag)");
    EXPECT_TRUE(log->has(COSUPDATE_LOG_WARNING,
                         "COSUpdateException detected on COSUpdate::setCOSUpdateTagAID() : Unable "
                         "to save AID for FD tag)"));
}

TEST_F(COSInfoTest, ReadsWholeObjectsButOnlyTheFirstTwoBytesOfFD) {
    kernel().fake.chip.data[NATIVECOSPATCH_COS_DATA_TYPE_FC] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    kernel().fake.chip.data[NATIVECOSPATCH_COS_DATA_TYPE_FD] = {0xD1, 0xD2, 0xD3, 0xD4};
    kernel().fake.chip.data[NATIVECOSPATCH_COS_DATA_TYPE_FE] = {0xFE};
    EXPECT_EQ(read(COSUPDATE_TAG_FC), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_TRUE(log->has(COSUPDATE_LOG_DEBUG, "COS Data size : 10"));
    EXPECT_EQ(read(COSUPDATE_TAG_FD), (std::vector<uint8_t>{0xD1, 0xD2}));
    EXPECT_EQ(read(COSUPDATE_TAG_FE), (std::vector<uint8_t>{0xFE}));
    EXPECT_EQ(kernel().count("byteArray_freeContent"), 3u);
    EXPECT_EQ(log->count("COS Data size : 1"), 1u) << "no size line for FD";
    EXPECT_FALSE(started());
}

TEST_F(COSInfoTest, FDOfAnotherSizeOrNoDataReadsAsEmptyAndIsNotGivenBack) {
    static uint8_t bytes[5] = {1, 2, 3, 4, 5};
    EXPECT_CALL(kernel().mock, seContextManager_readCOSData(_, _))
        .WillRepeatedly(testing::DoDefault());
    for (uint16_t size : {uint16_t{2}, uint16_t{3}, uint16_t{5}}) {
        EXPECT_CALL(kernel().mock, seContextManager_readCOSData(NATIVECOSPATCH_COS_DATA_TYPE_FD, _))
            .WillOnce(Invoke([size](NATIVECOSPATCH_COS_DATA_TYPE, NATIVECOSPATCH_BYTE_ARRAY* a) {
                a->data = bytes;
                a->size = size;
                return true;
            }));
        EXPECT_TRUE(read(COSUPDATE_TAG_FD).empty());
    }
    EXPECT_TRUE(read(COSUPDATE_TAG_FC).empty()) << "the chip's FC is empty";
    EXPECT_EQ(kernel().count("byteArray_freeContent"), 0u);
}

TEST_F(COSInfoTest, AnUnsupportedTagIsAskedAsTypeZeroThenRefusedWithTheSEMediaStopped) {
    EXPECT_CALL(kernel().mock,
                seContextManager_getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE_NONE, _))
        .WillOnce(DoAll(SetArgPointee<1>(3), Return(true)));
    EXPECT_EQ(thrownMessage([&] { read(3); }), "Unsupported COS tag)");
    EXPECT_EQ(kernel().count("seMediaManager_start"), 1u);
    EXPECT_TRUE(log->has(COSUPDATE_LOG_WARNING,
                         "COSUpdateException detected on COSUpdate::getCOSInfo() : Unsupported COS "
                         "tag)"));
    EXPECT_FALSE(started());
}

TEST_F(COSInfoTest, AFailedReadLeavesABorrowedSEMediaRunning) {
    ASSERT_TRUE(kernel().fake.seMediaManager_start());
    kernel().failNext("seContextManager_readCOSData");
    std::vector<uint8_t> info{1};
    EXPECT_EQ(thrownMessage([&] { engine->getCOSInfo(COSUPDATE_TAG_FC, info); }),
              "Unable to read COSData for FC tag");
    EXPECT_TRUE(info.empty());
    EXPECT_TRUE(log->has(COSUPDATE_LOG_WARNING,
                         "COSUpdateException detected on COSUpdate::getCOSInfo() : Unable to read "
                         "COSData for FC tag"));
    EXPECT_TRUE(started());
    EXPECT_EQ(kernel().count("seMediaManager_stop"), 0u);
}

}  // namespace
}  // namespace testsupport
