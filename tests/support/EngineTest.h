// Fixture for tests of the engine against the kernel test double: a fresh
// double, a capturing sink, a fake transport, and helpers to build an engine
// and load update files described as UpdateFile.

#ifndef TESTS_SUPPORT_ENGINE_TEST_H
#define TESTS_SUPPORT_ENGINE_TEST_H

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "CapturingLog.h"
#include "FakeTransport.h"
#include "KernelDouble.h"
#include "ZelmarNativeCOSUpdate.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "ZelmarNativeCOSUpdateSEMediaControl.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

// Reaches the engine's private steps for the tests that need them.
class COSUpdateTestPeer {
  public:
    explicit COSUpdateTestPeer(COSUpdateInterface& engine)
        : m_engine(static_cast<COSUpdate&>(engine)) {}
    const std::string& platformId() const { return m_engine.m_chip.platformId; }
    const std::string& customerId() const { return m_engine.m_chip.customerId; }
    uint16_t cosVersion() const { return m_engine.m_chip.cosVersion; }
    const ScriptManifest* selected() const { return m_engine.m_selectedManifest; }
    // Runs `steps` on one use of the SE media, as an operation would.
    template <typename Steps>
    void useSEMedia(Steps steps) {
        COSUpdate::SEMediaUse media(m_engine, {"failed: "});
        steps(media);
    }
    ScriptManifest* firstManifest() const {
        return static_cast<ScriptManifest*>(m_engine.m_multiscript->scriptManifests->data);
    }

  private:
    COSUpdate& m_engine;
};

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

namespace testsupport {

using namespace Zelmar::Device::COS::V1_0;
using kerneldouble::KernelDouble;
using kerneldouble::ManifestEntry;
using kerneldouble::ScriptEntry;
using kerneldouble::UpdateFile;

// The message of the COSUpdateException `action` throws, or a marker.
std::string thrownMessage(const std::function<void()>& action);

extern const std::vector<uint8_t> kFeAid;

class EngineTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
    void expectKernelClean();

    KernelDouble& kernel() { return KernelDouble::instance(); }
    COSUpdateTestPeer peer() { return COSUpdateTestPeer(*engine); }
    // Whether the SE media bridge is started.
    bool started();

    void create();
    // Destroys the engine, checks what it left in the kernel, and starts over
    // with a fresh double and a ready engine.
    void restart();
    // Created, initialized with the fake transport, FE AID registered.
    void createReady();
    // Registers `file` with the double and loads it through a real stream.
    void load(const UpdateFile& file);
    std::string writeTempFile(const std::string& content);

    std::shared_ptr<CapturingLog> log = std::make_shared<CapturingLog>();
    std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>();
    std::unique_ptr<COSUpdateInterface> engine;
};

// Starts every test with a ready engine.
class ReadyEngineTest : public EngineTest {
  protected:
    void SetUp() override {
        EngineTest::SetUp();
        createReady();
    }
};

// A patch from `from` to `to` (hex text), for platform PLAT-A and every customer.
ManifestEntry patchEntry(const std::string& script, const std::string& from);
ManifestEntry serviceEntry(const std::string& script, const std::string& audit,
                           const std::string& from);
// Two patches 0100 -> 0101 -> 0102 and a service svc1 audited by audit1.
UpdateFile threeScriptFile();

}  // namespace testsupport

#endif  // TESTS_SUPPORT_ENGINE_TEST_H
