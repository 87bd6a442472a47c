#include "EngineTest.h"

#include <unistd.h>

#include <fstream>

namespace testsupport {

const std::vector<uint8_t> kFeAid{0xA0, 0x00, 0x00, 0x05, 0xFE};

std::string thrownMessage(const std::function<void()>& action) {
    try {
        action();
    } catch (const COSUpdateException& e) {
        return e.what();
    }
    return "<no COSUpdateException>";
}

void EngineTest::SetUp() {
    KernelDouble::reset();
}

void EngineTest::TearDown() {
    engine.reset();
    expectKernelClean();
}

void EngineTest::expectKernelClean() {
    EXPECT_TRUE(kernel().fake.violations().empty())
        << "first violation: "
        << (kernel().fake.violations().empty() ? "" : kernel().fake.violations().front());
    EXPECT_EQ(kernel().fake.liveObjects(), 0u) << "kernel objects leaked";
}

bool EngineTest::started() {
    bool flag = false;
    kernel().fake.seMediaManager_isStarted(&flag);
    return flag;
}

void EngineTest::create() {
    engine.reset();  // one engine at a time: the bridges are module-wide
    engine = COSUpdateFactory::create(log);
}

void EngineTest::restart() {
    engine.reset();
    expectKernelClean();
    KernelDouble::reset();
    createReady();
}

void EngineTest::createReady() {
    create();
    engine->initialize(transport);
    engine->setCOSUpdateTagAID(COSUPDATE_TAG_FE, kFeAid);
}

std::string EngineTest::writeTempFile(const std::string& content) {
    static int counter = 0;
    // Tests run as parallel processes: the pid keeps their files apart.
    const std::string path = ::testing::TempDir() + "cosupdate-test-" + std::to_string(getpid()) +
                             "-" + std::to_string(++counter) + ".xml";
    std::ofstream out(path, std::ios::binary);
    out << content;
    return path;
}

void EngineTest::load(const UpdateFile& file) {
    static int counter = 0;
    const std::string text = "<update file " + std::to_string(++counter) + ">";
    kernel().fake.files[text] = file;
    std::ifstream in(writeTempFile(text), std::ios::binary);
    engine->loadCOSUpdateFileOnMemory(in);
}

ManifestEntry patchEntry(const std::string& script, const std::string& from) {
    ManifestEntry entry;
    entry.scriptName = script;
    entry.type = NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH;
    entry.cosVersion = from;
    return entry;
}

ManifestEntry serviceEntry(const std::string& script, const std::string& audit,
                           const std::string& from) {
    ManifestEntry entry = patchEntry(script, from);
    entry.type = NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE;
    entry.auditScriptName = audit;
    return entry;
}

UpdateFile threeScriptFile() {
    UpdateFile file;
    file.manifests = {patchEntry("patch1", "0100"), patchEntry("patch2", "0101"),
                      serviceEntry("service1", "audit1", "0102")};
    file.scripts = {ScriptEntry{std::string("patch1"), std::string("version:0101")},
                    ScriptEntry{std::string("patch2"), std::string("version:0102")},
                    ScriptEntry{std::string("service1"), std::string("install:svc1")}};
    file.auditScripts = {ScriptEntry{std::string("audit1"), std::string("check:svc1")}};
    return file;
}

}  // namespace testsupport
