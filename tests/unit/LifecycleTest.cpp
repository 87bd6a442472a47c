// Construction, initialize/release and destruction against the kernel double.

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
    EXPECT_FALSE(engine->isInitialized());

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

TEST_F(LifecycleTest, ATransportThatFailsToInitializeLeavesTheEngineUninitialized) {
    create();
    transport->throws["isInitialized"] = FakeTransport::Throw::COSUpdate;
    EXPECT_EQ(thrownMessage([&] { engine->initialize(transport); }),
              "transport failure in isInitialized");
    EXPECT_FALSE(engine->isInitialized());
}

TEST_F(LifecycleTest, ReleaseRequiresInitializeAndFreesTheLoadedFile) {
    create();
    EXPECT_EQ(thrownMessage([&] { engine->release(); }), "COSUpdate component not initialized");
    EXPECT_FALSE(log->has("-- COSUpdate::release()"));

    createReady();
    engine->release();
    EXPECT_FALSE(log->has("Clear existing Multiscript content ..."));
    EXPECT_EQ(thrownMessage([&] { engine->release(); }), "COSUpdate component not initialized");

    engine->initialize(transport);
    load(threeScriptFile());
    engine->release();
    EXPECT_EQ(log->count("Clear existing Multiscript content ..."), 1u);
    EXPECT_EQ(kernel().fake.liveObjects(), 0u);
    EXPECT_EQ(kernel().fake.seMediaComponent(), nullptr) << "SE media component cleaned up";
}

TEST_F(LifecycleTest, ReleaseKeepsTheCustomerIdWhileInitializeClearsIt) {
    createReady();
    load(threeScriptFile());
    ASSERT_TRUE(engine->isUpdateAvailable());
    ASSERT_EQ(peer().customerId(), "CUST-1");
    engine->release();
    EXPECT_EQ(peer().customerId(), "CUST-1");
    EXPECT_EQ(peer().platformId(), "");
    EXPECT_EQ(peer().cosVersion(), 0xFFFF);
    engine->initialize(transport);
    EXPECT_EQ(peer().customerId(), "");
}

TEST_F(LifecycleTest, DestructionTearsDownInOrderAndStopsForwardingKernelLines) {
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
    create();
    EXPECT_CALL(kernel().mock, logManager_isComponentInitialized)
        .WillOnce(DoAll(SetArgPointee<0>(false), Return(true)));
    engine.reset();
    EXPECT_EQ(kernel().count("logManager_cleanupComponent"), 0u);

    KernelDouble::reset();
    create();
    EXPECT_CALL(kernel().mock, logManager_isComponentInitialized)
        .WillOnce(DoAll(SetArgPointee<0>(true), Return(false)));
    engine.reset();
    EXPECT_EQ(kernel().count("logManager_cleanupComponent"), 0u);
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
