// A caller built apart from the library, against nothing but the public header
// and the shared library, the way a host service links it: it catches the
// library's exception by type, receives log lines through its own override of
// the log sink and gets its own exceptions back through the library's frames.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace {

using Zelmar::Device::COS::V1_0::COSUpdateException;
using Zelmar::Device::COS::V1_0::COSUpdateFactory;
using Zelmar::Device::COS::V1_0::COSUpdateInterface;
using Zelmar::Device::COS::V1_0::COSUpdateLogInterface;
using Zelmar::Device::COS::V1_0::COSUpdateLogLevel;

class RecordingLog : public COSUpdateLogInterface {
  public:
    void writeLogMessage(COSUpdateLogLevel, const std::string& message) override {
        lines.push_back(message);
    }
    std::vector<std::string> lines;
};

struct CallerError : std::exception {};

class ThrowingLog : public COSUpdateLogInterface {
  public:
    void writeLogMessage(COSUpdateLogLevel, const std::string&) override { throw CallerError(); }
};

TEST(LibraryConsumer, CatchesTheLibraryExceptionByItsType) {
    try {
        COSUpdateFactory::create(nullptr);
        FAIL() << "an empty log sink was accepted";
    } catch (const COSUpdateException& e) {
        EXPECT_STREQ("COSUpdateLog not exist", e.what());
    }
    EXPECT_THROW(COSUpdateFactory::create(nullptr), std::runtime_error);
}

TEST(LibraryConsumer, CallsTheCallersOverrideOfTheLogSink) {
    auto log = std::make_shared<RecordingLog>();
    std::unique_ptr<COSUpdateInterface> engine;
    try {
        engine = COSUpdateFactory::create(log);
    } catch (const COSUpdateException&) {
        // A patch kernel may refuse to come up here; the lines written before
        // the engine first calls it are what this test is about.
    }
    ASSERT_GE(log->lines.size(), 2u);
    EXPECT_EQ("+ COSUpdate::COSUpdate()", log->lines[0]);
    EXPECT_EQ(std::string(" - COSUpdate library version : ") + COSUPDATE_PROJECT_VERSION,
              log->lines[1]);
}

TEST(LibraryConsumer, CallersExceptionUnwindsThroughTheLibrary) {
    EXPECT_THROW(COSUpdateFactory::create(std::make_shared<ThrowingLog>()), CallerError);
}

}  // namespace
