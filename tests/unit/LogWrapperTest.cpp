// The log bridge as the kernel drives it: open, write, isOpened, close. The
// text of each line (printf's, cut to 510 characters) is fuzzed; here, the
// record, the open state, the levels and what init binds.

#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "ZelmarNativeCOSUpdateLogWrapper.h"

namespace {

using namespace Zelmar::Device::COS::V1_0;
using testsupport::CapturingLog;
using testsupport::LogLine;

// Calls the write callback the way the kernel does: printf-style arguments.
bool kernelWrites(int level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const bool result = _COSUpdateLogWrapper_writeMessage(
        static_cast<NATIVECOSPATCH_LOG_MESSAGE_LEVEL>(level), format, args);
    va_end(args);
    return result;
}

class LogWrapperTest : public ::testing::Test {
  protected:
    void SetUp() override { COSUpdateLogWrapper_init(log, &component); }

    std::shared_ptr<CapturingLog> log = std::make_shared<CapturingLog>();
    NATIVECOSPATCH_LOG_COMPONENT component{};
};

TEST_F(LogWrapperTest, FillsTheRecordAndOpensOnceUntilReleased) {
    EXPECT_EQ(component.open, &_COSUpdateLogWrapper_open);
    EXPECT_EQ(component.isOpened, &_COSUpdateLogWrapper_isOpened);
    EXPECT_EQ(component.writeMessage, &_COSUpdateLogWrapper_writeMessage);
    EXPECT_EQ(component.close, &_COSUpdateLogWrapper_close);

    EXPECT_FALSE(kernelWrites(2, "hello %d", 1));
    EXPECT_TRUE(log->lines.empty()) << "nothing is written until opened";
    EXPECT_TRUE(_COSUpdateLogWrapper_open());
    EXPECT_FALSE(_COSUpdateLogWrapper_open());
    EXPECT_FALSE(_COSUpdateLogWrapper_close());
    kernelWrites(3, "still open");
    EXPECT_EQ(log->lines.size(), 1u) << "close leaves the bridge open";

    COSUpdateLogWrapper_release();
    EXPECT_FALSE(_COSUpdateLogWrapper_isOpened(nullptr));
    bool opened = true;
    ASSERT_TRUE(_COSUpdateLogWrapper_isOpened(&opened));
    EXPECT_FALSE(opened);
    COSUpdateLogWrapper_init(log, nullptr);
    EXPECT_FALSE(_COSUpdateLogWrapper_open()) << "a null record binds no sink";
    COSUpdateLogWrapper_init(log, &component);
    EXPECT_TRUE(_COSUpdateLogWrapper_open());
}

TEST_F(LogWrapperTest, ASecondInitWhileOpenRepointsTheSinkButStaysOpen) {
    ASSERT_TRUE(_COSUpdateLogWrapper_open());
    auto second = std::make_shared<CapturingLog>();
    COSUpdateLogWrapper_init(second, &component);
    EXPECT_FALSE(_COSUpdateLogWrapper_open());
    kernelWrites(2, "to the second sink");
    EXPECT_TRUE(log->lines.empty());
    EXPECT_EQ(second->lines.size(), 1u);
}

TEST_F(LogWrapperTest, TranslatesLevelsAlwaysReturnsFalseAndLetsASinkExceptionThrough) {
    ASSERT_TRUE(_COSUpdateLogWrapper_open());
    const struct {
        int kernelLevel;
        COSUpdateLogLevel expected;
    } cases[] = {{0, COSUPDATE_LOG_VERBOSE}, {1, COSUPDATE_LOG_DEBUG}, {2, COSUPDATE_LOG_INFO},
                 {3, COSUPDATE_LOG_WARNING}, {4, COSUPDATE_LOG_ERROR}, {5, COSUPDATE_LOG_DEBUG},
                 {7, COSUPDATE_LOG_DEBUG},   {-1, COSUPDATE_LOG_DEBUG}};
    for (const auto& c : cases) {
        EXPECT_FALSE(kernelWrites(c.kernelLevel, "apdu %s #%d", "00A4", c.kernelLevel));
        ASSERT_FALSE(log->lines.empty());
        EXPECT_EQ(log->lines.back(),
                  (LogLine{c.expected, "apdu 00A4 #" + std::to_string(c.kernelLevel)}));
    }
    log->throwAt = log->written + 1;
    EXPECT_THROW(kernelWrites(2, "boom"), std::runtime_error);
}

}  // namespace
