// COSUpdate: the update engine behind COSUpdateInterface. Constructed only by
// COSUpdateFactory::create. Its operations are spread over the
// ZelmarNativeCOSUpdate*.cpp files, one concern each.

#ifndef ZELMAR_NATIVE_COS_UPDATE_H
#define ZELMAR_NATIVE_COS_UPDATE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"
#include "ZelmarNativeCOSUpdateChipFacts.h"
#include "ZelmarNativeCOSUpdatePatchKernel.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

using ScriptManifest = NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST;
using ScriptType = NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE;

class COSUpdate final : public COSUpdateInterface {
  public:
    explicit COSUpdate(std::shared_ptr<COSUpdateLogInterface> log);
    ~COSUpdate() override;

    COSUpdate(const COSUpdate&) = delete;
    COSUpdate& operator=(const COSUpdate&) = delete;

    void setCOSUpdateTagAID(COSUpdateTag tag, const std::vector<uint8_t>& aid) override;
    void initialize(std::shared_ptr<COSUpdateSEMediaInterface> seMedia) override;
    bool isInitialized() override;
    void loadCOSUpdateFileOnMemory(std::ifstream& file) override;
    bool isUpdateAvailable() override;
    int doUpdate() override;
    void unloadCOSUpdateFromMemory() override;
    void getCOSInfo(COSUpdateTag tag, std::vector<uint8_t>& info) override;
    void release() override;

  private:
    friend class COSUpdateTestPeer;  // unit tests drive the private steps directly

    // Result of running one selected script inside doUpdate().
    enum class Iteration { Continue, Stop };

    void _writeLogMessage(COSUpdateLogLevel level, const std::string& message);
    void _writePrefixedLogMessage(COSUpdateLogLevel level, const std::string& message);
    void _requireInitialized();

    // One operation's use of the SE media (ZelmarNativeCOSUpdateSEMediaControl.h).
    class SEMediaUse;

    // Update file.
    void _clearMultiscript();
    void _checkMultiscriptData(NATIVECOSPATCH_MULTISCRIPT* multiscript);
    void _checkManifestEntry(NATIVECOSPATCH_MULTISCRIPT* multiscript, const ScriptManifest* entry);

    // Selection.
    void _checkFETagAIDDefined();
    void _retrieveChipState();
    void _retrievePlatformId();
    void _retrieveCOSVersion();
    void _retrieveCustomerIdIfUseful();
    ScriptManifest* _selectRefUpdateScript();
    ScriptManifest* _selectRefUpdateScript(ScriptType type);
    ScriptManifest* _selectRefUpdateScript(std::string customerId, ScriptType type);
    bool _isServiceContainsAuditScript(ScriptManifest* entry);
    bool _isServiceAlreadyDeployed(ScriptManifest* entry);
    std::string _getUpdateTypeAsString(ScriptType type);

    // Audit scripts.
    bool _executeAuditScript(const char* name);
    void _eventLoadAuditScript(const std::string& name);
    void _eventExecuteAuditScript(const std::string& name);

    // Execution.
    int _runSelectedScripts();
    Iteration _runSelectedScript(ScriptManifest*& previous, uint16_t& deployed, int& result);
    PatchKernel::ScriptOwner _loadUpdateScript(const std::string& name);
    bool _verifyScript(const ScriptManifest* entry, ScriptType type, uint16_t& deployed);
    bool _verifyService(const ScriptManifest* entry, uint16_t& deployed);
    Iteration _selectNextScript(ScriptType lastType, const ScriptManifest* previous, int& result);
    void _eventLoadUpdateScript(const std::string& name, ScriptType type);
    void _eventExecuteUpdateScript(const std::string& name, ScriptType type);

    // COS data objects.
    NATIVECOSPATCH_COS_DATA_TYPE _convertCOSUpdateTagToCOSDataType(COSUpdateTag tag);
    void _readCOSData(COSUpdateTag tag, std::vector<uint8_t>& info);

    bool m_initialized;
    std::shared_ptr<COSUpdateLogInterface> m_logInterface;
    std::shared_ptr<COSUpdateSEMediaInterface> m_seMedia;
    PatchKernel::MultiscriptOwner m_multiscript;
    ScriptManifest* m_selectedManifest;  // points into m_multiscript
    COSChipFacts m_chip;
    std::string m_logPrefix;
};

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_H
