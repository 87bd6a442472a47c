// Registering the AIDs of FC, FD and FE, and reading the objects. Reading
// each object whole (FD: its first two bytes) is checked end to end.

#include "EngineTest.h"

namespace testsupport {
namespace {

using testing::_;
using testing::Return;

class COSInfoTest : public ReadyEngineTest {
  protected:
    void SetUp() override {
        ReadyEngineTest::SetUp();
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

TEST_F(COSInfoTest, RefusesAnAIDOfTheWrongSizeSilentlyAndAnUnsupportedTagWithAWarning) {
    for (size_t size : {size_t{0}, size_t{2}, size_t{65536}}) {
        EXPECT_EQ(thrownMessage([&] {
                      engine->setCOSUpdateTagAID(static_cast<COSUpdateTag>(3),
                                                 std::vector<uint8_t>(size, 0xA0));
                  }),
                  "Invalid AID (incorrect size)");
    }
    EXPECT_TRUE(log->texts(COSUPDATE_LOG_WARNING).empty());
    for (int tag : {0, 3, 8}) {
        EXPECT_EQ(thrownMessage([&] {
                      engine->setCOSUpdateTagAID(static_cast<COSUpdateTag>(tag), {1, 2, 3});
                  }),
                  "Unsupported COS tag)");
    }
    EXPECT_EQ(log->count("COSUpdateException detected on COSUpdate::setCOSUpdateTagAID() : "
                         "Unsupported COS tag)"),
              3u);
    EXPECT_EQ(kernel().count("seContextManager_updateCOSTagAID"), 3u) << "only SetUp's";
}

TEST_F(COSInfoTest, LogsTheSizeOfAllButFDAndGivesBackOnlyTheContentItUsed) {
    kernel().fake.chip.data[NATIVECOSPATCH_COS_DATA_TYPE_FC] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    kernel().fake.chip.data[NATIVECOSPATCH_COS_DATA_TYPE_FD] = {0xD1, 0xD2, 0xD3, 0xD4};
    EXPECT_EQ(read(COSUPDATE_TAG_FC).size(), 10u);
    EXPECT_EQ(read(COSUPDATE_TAG_FD).size(), 2u);
    EXPECT_EQ(log->count("COS Data size : 10"), 1u);
    EXPECT_EQ(log->count("COS Data size : 4"), 0u) << "no size line for FD";
    EXPECT_EQ(kernel().count("byteArray_freeContent"), 2u);

    // An FD of another size, or no data at all, reads as empty.
    static uint8_t bytes[5] = {1, 2, 3, 4, 5};
    kernel().fake.chip.data.clear();
    EXPECT_TRUE(read(COSUPDATE_TAG_FC).empty());
    for (uint16_t size : {uint16_t{2}, uint16_t{3}, uint16_t{5}}) {
        EXPECT_CALL(kernel().mock, seContextManager_readCOSData(NATIVECOSPATCH_COS_DATA_TYPE_FD, _))
            .WillOnce([size](NATIVECOSPATCH_COS_DATA_TYPE, NATIVECOSPATCH_BYTE_ARRAY* a) {
                a->data = bytes;
                a->size = size;
                return true;
            });
        EXPECT_TRUE(read(COSUPDATE_TAG_FD).empty());
    }
    EXPECT_EQ(kernel().count("byteArray_freeContent"), 2u) << "not given back";
}

TEST_F(COSInfoTest, AnUnsupportedTagIsAskedAsTypeZeroThenRefusedWithTheSEMediaStopped) {
    EXPECT_CALL(kernel().mock,
                seContextManager_getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE_NONE, _))
        .WillOnce(testing::DoAll(testing::SetArgPointee<1>(3), Return(true)));
    EXPECT_EQ(thrownMessage([&] { read(3); }), "Unsupported COS tag)");
    EXPECT_EQ(kernel().count("seMediaManager_start"), 1u);
    EXPECT_TRUE(log->has(COSUPDATE_LOG_WARNING,
                         "COSUpdateException detected on COSUpdate::getCOSInfo() : Unsupported COS "
                         "tag)"));
    EXPECT_FALSE(started());
}

}  // namespace
}  // namespace testsupport
