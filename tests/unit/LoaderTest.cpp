// Loading, validating and unloading update files.

#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <thread>

#include "EngineTest.h"

namespace testsupport {
namespace {

using testing::_;
using testing::Return;
using testing::StrEq;

constexpr char kRefused[] = "Multiscript contains invalid/incorrect entry";

class LoaderTest : public ReadyEngineTest {
  protected:
    bool fileLoaded() {
        return thrownMessage([&] { engine->isUpdateAvailable(); }) != "No COSUpdate file loaded";
    }
};

struct ValidationCase {
    const char* name;
    std::function<void(UpdateFile&)> spoil;
    std::string fault;
};

// Faults a file can carry are also refused end to end over examples/broken;
// these are the exact texts, and the faults only a kernel's records can hold.
TEST_F(LoaderTest, RefusesEachFaultyFileWithTheFaultInTheLog) {
    const ScriptEntry emptyName{std::string(""), std::string("x")};
    const ValidationCase cases[] = {
        {"service with empty audit", [](UpdateFile& f) { f.manifests[2]->auditScriptName = ""; },
         "Service 'service1' have no Audit script."},
        {"null manifest", [](UpdateFile& f) { f.manifests.push_back(std::nullopt); },
         "Metadata entry is empty"},
        {"null script", [](UpdateFile& f) { f.scripts.push_back(std::nullopt); },
         "Script entry is empty"},
        {"null audit", [](UpdateFile& f) { f.auditScripts.push_back(std::nullopt); },
         "AuditScript entry is empty"},
        {"manifest faults come first",
         [&](UpdateFile& f) {
             f.scripts.push_back(emptyName);
             f.manifests[0]->type = 0;
         },
         "Metadata entry with undefined script 'updateType' "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        UpdateFile file = threeScriptFile();
        c.spoil(file);
        log->lines.clear();
        EXPECT_EQ(thrownMessage([&] { load(file); }), kRefused);
        EXPECT_EQ(log->texts(COSUPDATE_LOG_WARNING),
                  std::vector<std::string>{"Multiscript content is incorrect : " + c.fault});
        EXPECT_TRUE(log->has(COSUPDATE_LOG_INFO, "Clear Multiscript content ..."));
        EXPECT_FALSE(fileLoaded());
        EXPECT_EQ(kernel().fake.liveObjects(), 0u);
    }
}

TEST_F(LoaderTest, TellsAFailedAuditLookupFromAMissingAudit) {
    EXPECT_CALL(kernel().mock, multiscriptManager_isAuditScriptWithNameExist(_, StrEq("audit1"), _))
        .WillOnce(Return(false));
    EXPECT_EQ(thrownMessage([&] { load(threeScriptFile()); }), kRefused);
    EXPECT_TRUE(log->has(COSUPDATE_LOG_ERROR,
                         "Multiscript content is incorrect : Unable to verify that Audit script "
                         "'audit1' for Service 'service1' exist"));
    EXPECT_CALL(kernel().mock, multiscriptManager_isScriptWithNameExist).WillOnce(Return(false));
    EXPECT_EQ(thrownMessage([&] { load(threeScriptFile()); }), kRefused);
    EXPECT_TRUE(log->has(COSUPDATE_LOG_ERROR,
                         "Multiscript content is incorrect : Metadata entry with script 'patch1' "
                         "not present"));
}

TEST_F(LoaderTest, AcceptsWhatOnlyLaterStepsCareAbout) {
    UpdateFile empty;
    load(empty);
    EXPECT_FALSE(engine->isUpdateAvailable());

    UpdateFile lenient = threeScriptFile();
    lenient.manifests[0]->auditScriptName = "ghost";            // a Patch's audit is not checked
    lenient.manifests.push_back(patchEntry("patch1", "0100"));  // the same script twice
    lenient.manifests.back()->type = 3;                         // never selected
    load(lenient);
    EXPECT_TRUE(fileLoaded());
}

// From a file or a pipe (which cannot tell its length), the rest of the stream
// arrives in chunks that the loader must join in order, byte for byte.
TEST_F(LoaderTest, HandsTheKernelTheRestOfTheStreamByteForByte) {
    std::string text = "skip|";
    for (int i = 0; i < 300001; ++i) {
        text += static_cast<char>('0' + i % 43);
    }
    text += "\r\n\x01\xff";
    const std::string fifo = writeTempFile("") + ".fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {writeTempFile(text), fifo}) {
        std::thread writer([&] {
            if (path == fifo) {
                std::ofstream(fifo, std::ios::binary) << text;
            }
        });
        std::ifstream in(path, std::ios::binary);
        in.ignore(5);
        EXPECT_CALL(kernel().mock, xml_multiscript_loadFromString(StrEq(text.substr(5))))
            .WillOnce(Return(nullptr));
        EXPECT_THROW(engine->loadCOSUpdateFileOnMemory(in), COSUpdateException);
        writer.join();
    }
    std::remove(fifo.c_str());
}

TEST_F(LoaderTest, AStreamThatIsNotOpenKeepsThePreviousFile) {
    load(threeScriptFile());
    std::ifstream closed;
    EXPECT_EQ(thrownMessage([&] { engine->loadCOSUpdateFileOnMemory(closed); }),
              "COSUpdateFile is not opened");
    EXPECT_TRUE(fileLoaded());
}

TEST_F(LoaderTest, LoadForgetsTheChipIdsButNotTheVersionAndUnloadTheReverse) {
    load(threeScriptFile());
    ASSERT_TRUE(engine->isUpdateAvailable());
    log->lines.clear();
    load(threeScriptFile());
    EXPECT_EQ(
        log->texts(COSUPDATE_LOG_DEBUG),
        (std::vector<std::string>{"++ COSUpdate::loadCOSUpdateFileOnMemory()",
                                  "Clear existing Multiscript content ...",
                                  "[COSUpdateMgr] Load XML COSUpdate file stream into memory ...",
                                  "[COSUpdateMgr] Extracting 'COSUpdate' data from memory ...",
                                  "-- COSUpdate::loadCOSUpdateFileOnMemory()"}));
    EXPECT_EQ(peer().platformId(), "");
    EXPECT_EQ(peer().customerId(), "");
    EXPECT_EQ(peer().selected(), nullptr);
    EXPECT_EQ(peer().cosVersion(), 0x0100);

    ASSERT_TRUE(engine->isUpdateAvailable());
    engine->unloadCOSUpdateFromMemory();
    EXPECT_EQ(peer().customerId(), "CUST-1");
    EXPECT_EQ(peer().platformId(), "");
    EXPECT_EQ(peer().cosVersion(), 0xFFFF);
    EXPECT_EQ(peer().selected(), nullptr);
    EXPECT_EQ(log->count("Clear existing Multiscript content ..."), 2u);

    log->lines.clear();
    engine->unloadCOSUpdateFromMemory();
    EXPECT_EQ(log->texts(COSUPDATE_LOG_VERBOSE),
              (std::vector<std::string>{"++ COSUpdate::unloadCOSUpdateFromMemory()",
                                        "-- COSUpdate::unloadCOSUpdateFromMemory()"}));
}

}  // namespace
}  // namespace testsupport
