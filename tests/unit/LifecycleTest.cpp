// Construction, initialize/release and destruction against the kernel double.

#include <fstream>
#include <map>
#include <tuple>

#include "EngineTest.h"

namespace testsupport {
namespace {

using testing::DoAll;
using testing::Return;
using testing::SetArgPointee;

class LifecycleTest : public EngineTest {};

std::vector<std::string> without(const std::vector<std::string>& calls, const std::string& name) {
    std::vector<std::string> result;
    for (const auto& call : calls) {
        if (call != name) {
            result.push_back(call);
        }
    }
    return result;
}

TEST_F(LifecycleTest, ConstructionBringsUpTheKernelInOrderAndLogsTheVersion) {
    create();
    EXPECT_EQ(kernel().journal,
              (std::vector<std::string>{"memory_initComponent", "logManager_initComponent",
                                        "logManager_open", "seContextManager_initComponent"}));
    EXPECT_EQ(log->lines, (std::vector<LogLine>{
                              {COSUPDATE_LOG_DEBUG, "+ COSUpdate::COSUpdate()"},
                              {COSUPDATE_LOG_INFO, " - COSUpdate library version : 1.2.2"},
                              {COSUPDATE_LOG_INFO, "logManager: open"},
                              {COSUPDATE_LOG_DEBUG, "seContextManager: init"},
                              {COSUPDATE_LOG_DEBUG, "+ COSUpdate::COSUpdate()"},
                          }));
    EXPECT_FALSE(engine->isInitialized());
    EXPECT_EQ(log->texts(COSUPDATE_LOG_VERBOSE).size(), 7u);
}

TEST_F(LifecycleTest, InitializeBindsTheTransportAndInitializesItOnlyWhenNeeded) {
    create();
    EXPECT_EQ(thrownMessage([&] { engine->initialize(nullptr); }), "SEMedia component is null");
    transport->throws["isInitialized"] = FakeTransport::Throw::COSUpdate;
    EXPECT_EQ(thrownMessage([&] { engine->initialize(transport); }),
              "transport failure in isInitialized");
    EXPECT_FALSE(engine->isInitialized());

    transport->throws.clear();
    transport->calls.clear();
    transport->initialized = false;
    engine->initialize(transport);
    EXPECT_TRUE(engine->isInitialized());
    EXPECT_EQ(transport->calls, (std::vector<std::string>{"isInitialized", "initialize"}));
    EXPECT_TRUE(
        log->has(COSUPDATE_LOG_DEBUG, "COSUpdate::initialize() -> Do SEMedia initialization ..."));
    EXPECT_EQ(log->texts(COSUPDATE_LOG_DEBUG).back(), "-- COSUpdate::isInitialized()");

    EXPECT_EQ(thrownMessage([&] { engine->initialize(transport); }),
              "COSUpdate component already initialized");
    engine->release();
    transport->calls.clear();
    engine->initialize(transport);
    EXPECT_EQ(transport->calls, (std::vector<std::string>{"isInitialized"}));
}

// Refused before anything is logged as a failure or the SE media is started.
TEST_F(LifecycleTest, EveryOperationChecksItsPreconditionsFirst) {
    std::vector<uint8_t> info;
    std::ifstream closed;
    const std::map<std::string, std::function<void()>> operations = {
        {"isUpdateAvailable", [&] { engine->isUpdateAvailable(); }},
        {"doUpdate", [&] { engine->doUpdate(); }},
        {"getCOSInfo", [&] { engine->getCOSInfo(COSUPDATE_TAG_FC, info); }},
        {"setCOSUpdateTagAID",
         [&] {
             engine->setCOSUpdateTagAID(COSUPDATE_TAG_FE, {1, 2, 3});
         }},
        {"load", [&] { engine->loadCOSUpdateFileOnMemory(closed); }},
        {"unload", [&] { engine->unloadCOSUpdateFromMemory(); }},
        {"release", [&] { engine->release(); }},
    };
    enum State { NotInitialized, NoFile, NoAID };
    std::vector<std::tuple<State, std::string, std::string>> cases = {
        {NoFile, "isUpdateAvailable", "No COSUpdate file loaded"},
        {NoFile, "doUpdate", "COSUpdate data not loaded from file"},
        {NoAID, "isUpdateAvailable", " AID for COS FE tag not defined"},
        {NoAID, "doUpdate", " AID for COS FE tag not defined"},
        {NoAID, "getCOSInfo", " AID for COS tag not defined"},
    };
    for (const auto& operation : operations) {
        cases.emplace_back(NotInitialized, operation.first, "COSUpdate component not initialized");
    }
    for (const auto& [state, operation, message] : cases) {
        SCOPED_TRACE(operation + ": " + message);
        restart();
        if (state == NotInitialized) {
            engine->release();
        } else if (state == NoAID) {
            load(threeScriptFile());
            EXPECT_CALL(kernel().mock, seContextManager_getCOSTagAIDSize)
                .WillOnce(DoAll(SetArgPointee<1>(0), Return(true)));
        }
        EXPECT_EQ(thrownMessage(operations.at(operation)), message);
        EXPECT_EQ(kernel().count("seMediaManager_start"), 0u);
        EXPECT_TRUE(log->texts(COSUPDATE_LOG_WARNING).empty());
    }
}

TEST_F(LifecycleTest, ReleaseFreesTheLoadedFileButKeepsTheCustomerId) {
    createReady();
    engine->release();
    EXPECT_FALSE(log->has("Clear existing Multiscript content ..."));

    engine->initialize(transport);
    load(threeScriptFile());
    ASSERT_TRUE(engine->isUpdateAvailable());
    ASSERT_EQ(peer().customerId(), "CUST-1");
    engine->release();
    EXPECT_EQ(log->count("Clear existing Multiscript content ..."), 1u);
    EXPECT_EQ(kernel().fake.liveObjects(), 0u);
    bool seMedia = true;
    ASSERT_TRUE(kernel().fake.seMediaManager_isComponentInitialized(&seMedia));
    EXPECT_FALSE(seMedia) << "SE media component cleaned up";
    EXPECT_EQ(peer().customerId(), "CUST-1");
    EXPECT_EQ(peer().platformId(), "");
    EXPECT_EQ(peer().cosVersion(), 0xFFFF);
    engine->initialize(transport);
    EXPECT_EQ(peer().customerId(), "") << "initialize forgets it";
}

TEST_F(LifecycleTest, DestructionTearsDownInOrder) {
    createReady();
    load(threeScriptFile());
    kernel().journal.clear();
    log->lines.clear();
    engine.reset();
    EXPECT_EQ(without(kernel().journal, "logManager_isComponentInitialized"),
              (std::vector<std::string>{"multiscriptManager_freeMultiscript",
                                        "seContextManager_cleanupComponent",
                                        "seMediaManager_cleanupComponent",
                                        "memory_cleanupComponent", "logManager_cleanupComponent"}));
    EXPECT_EQ(log->texts(COSUPDATE_LOG_VERBOSE),
              (std::vector<std::string>{"++ COSUpdate::~COSUpdate()",
                                        "Clear existing Multiscript content ...",
                                        "-- COSUpdate::~COSUpdate()"}));
}

TEST_F(LifecycleTest, DestructionCleansUpTheLogManagerOnlyWhenItSaysItIsInitialized) {
    for (const auto& [initialized, answered] : {std::pair{false, true}, std::pair{true, false}}) {
        KernelDouble::reset();
        create();
        EXPECT_CALL(kernel().mock, logManager_isComponentInitialized)
            .WillOnce(DoAll(SetArgPointee<0>(initialized), Return(answered)));
        engine.reset();
        EXPECT_EQ(kernel().count("logManager_cleanupComponent"), 0u);
    }
}

TEST_F(LifecycleTest, DestructionSurvivesASinkThatThrows) {
    createReady();
    load(threeScriptFile());
    log->throwAt = log->written + 1;
    engine.reset();
    EXPECT_EQ(kernel().count("memory_cleanupComponent"), 1u);
    EXPECT_EQ(kernel().count("logManager_cleanupComponent"), 1u);
}

}  // namespace
}  // namespace testsupport
