// A client built against an independently written header calls every slot of
// the engine, the log sink and the transport: the library must run the
// operation the client meant, as its entry log line shows.

#include <gtest/gtest.h>

#include <unistd.h>

#include "IndependentCOSUpdateApi.h"

namespace {

using namespace Zelmar::Device::COS::V1_0;

class Lines : public COSUpdateLogInterface {
  public:
    void writeLogMessage(COSUpdateLogLevel level, const std::string& message) override {
        if (level == COSUPDATE_LOG_DEBUG && message.rfind("++ ", 0) == 0 && entry.empty()) {
            entry = message;
        }
    }
    std::string takeEntry() { return std::move(entry); }
    std::string entry;
};

// Answers 90 00 to everything; counts the calls the library makes.
class Transport : public COSUpdateSEMediaInterface {
  public:
    int initialize() override { return ++initializeCalls; }
    bool isInitialized() override { return false; }
    bool openConnection(const std::vector<uint8_t>&, std::vector<uint8_t>& response) override {
        connected = true;
        response = {0x90, 0x00};
        return false;  // ignored by the library
    }
    bool isConnected() override { return connected; }
    int transmitApdu(const std::vector<uint8_t>&, std::vector<uint8_t>& response) override {
        response = {0x90, 0x00};
        return -1;  // ignored by the library
    }
    bool closeConnection() override {
        connected = false;
        return false;
    }
    int initializeCalls = 0;
    bool connected = false;
};

template <typename Call>
std::string entryLineOf(Lines& log, Call call) {
    log.takeEntry();
    try {
        call();
    } catch (const COSUpdateException&) {
        // Only which operation ran matters here, not whether it succeeded.
    }
    return log.takeEntry();
}

TEST(SlotOrder, EveryEngineSlotRunsTheOperationTheClientCalled) {
    auto log = std::make_shared<Lines>();
    auto transport = std::make_shared<Transport>();
    std::unique_ptr<COSUpdateInterface> engine = COSUpdateFactory::create(log);
    Lines& l = *log;
    std::vector<uint8_t> data;
    const std::string path = testing::TempDir() + "slot-order-" + std::to_string(getpid());
    std::ofstream(path) << "<not an update file/>";
    std::ifstream file(path);

    EXPECT_EQ(entryLineOf(l, [&] { engine->isInitialized(); }), "++ COSUpdate::isInitialized()");
    EXPECT_EQ(entryLineOf(l, [&] { engine->initialize(transport); }), "++ COSUpdate::initialize()");
    EXPECT_EQ(transport->initializeCalls, 1) << "slot 0 of the transport after slot 1 said false";
    EXPECT_EQ(entryLineOf(l,
                          [&] {
                              engine->setCOSUpdateTagAID(COSUPDATE_TAG_FE, {1, 2, 3});
                          }),
              "++ COSUpdate::setCOSUpdateTagAID()");
    EXPECT_EQ(entryLineOf(l, [&] { engine->loadCOSUpdateFileOnMemory(file); }),
              "++ COSUpdate::loadCOSUpdateFileOnMemory()");
    EXPECT_EQ(entryLineOf(l, [&] { engine->isUpdateAvailable(); }),
              "++ COSUpdate::isUpdateAvailable()");
    EXPECT_EQ(entryLineOf(l, [&] { engine->doUpdate(); }), "++ COSUpdate::doUpdate()");
    EXPECT_EQ(entryLineOf(l, [&] { engine->unloadCOSUpdateFromMemory(); }),
              "++ COSUpdate::unloadCOSUpdateFromMemory()");
    EXPECT_EQ(entryLineOf(l, [&] { engine->getCOSInfo(COSUPDATE_TAG_FE, data); }),
              "++ COSUpdate::getCOSInfo()");
    EXPECT_EQ(entryLineOf(l, [&] { engine->release(); }), "++ COSUpdate::release()");
    EXPECT_EQ(entryLineOf(l, [&] { engine.reset(); }), "++ COSUpdate::~COSUpdate()");
}

struct CallerError {};

class ThrowingLog : public COSUpdateLogInterface {
  public:
    void writeLogMessage(COSUpdateLogLevel, const std::string&) override { throw CallerError(); }
};

TEST(SlotOrder, TheLibrarysOwnMembersLinkAndBehave) {
    COSUpdateException error("x");
    EXPECT_STREQ(error.what(), "x");
    try {
        COSUpdateFactory::create(nullptr);
        FAIL() << "an empty sink was accepted";
    } catch (const COSUpdateException& e) {
        EXPECT_STREQ(e.what(), "COSUpdateLog not exist");
    }
    COSUpdateLogInterface plain;  // the library's default sink, through the library's vtable
    plain.writeLogMessage(COSUPDATE_LOG_INFO, "slot order test");
    // A caller's own exception unwinds through the library's frames unchanged.
    EXPECT_THROW(COSUpdateFactory::create(std::make_shared<ThrowingLog>()), CallerError);
}

}  // namespace
