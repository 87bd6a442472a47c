// The default behaviour of the kernel test double: a small, honest patch kernel
// over a fake chip. Update files are described in C++ (UpdateFile) and
// registered under the text a test loads; scripts are one-line command lists.
//
// Script commands (space separated):
//   version:<hex>   the chip's COS version becomes <hex>
//   install:<name>  the chip gains service <name>
//   fail            execution reports failure
//   inconsistent    the consistency check fails
//   unparseable     loading the text yields null
// Audit script commands: check:<name> (the chip has service <name>), fail,
// unparseable.
// Every chip read and every script run also exchanges one APDU through the
// registered SE media callbacks (open the object's AID, transmit, close), as a
// real kernel would.

#ifndef KERNEL_DOUBLE_FAKE_KERNEL_H
#define KERNEL_DOUBLE_FAKE_KERNEL_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "KernelFunctions.h"
#include "nativeCOSPatchKernel.h"

namespace kerneldouble {

struct FakeMultiscript;
using Text = std::optional<std::string>;  // nullopt is a null char*

struct FakeChip {
    std::string platformId = "PLAT-A";
    std::string customerId = "CUST-1";
    uint16_t version = 0x0100;
    std::map<int, std::vector<uint8_t>> data;  // by COS data type
    std::set<std::string> services;
    bool unterminatedIds = false;  // write 128 id bytes without a NUL
};

struct ManifestEntry {
    Text scriptName;
    int32_t type = NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH;
    Text auditScriptName;
    Text customerId;
    Text cosVersion;
    Text platformId = std::string("PLAT-A");
};

struct ScriptEntry {
    Text name;
    Text content;
};

// std::nullopt elements stand for list nodes whose element is null.
struct UpdateFile {
    std::vector<std::optional<ManifestEntry>> manifests;
    std::vector<std::optional<ScriptEntry>> scripts;
    std::vector<std::optional<ScriptEntry>> auditScripts;
};

class FakeKernel {
  public:
    FakeKernel();
    ~FakeKernel();

    FakeChip chip;
    // Update files by the exact text the engine hands to the XML loader.
    std::map<std::string, UpdateFile> files;

    size_t liveObjects() const;
    // Frees of objects this kernel never handed out, or handed out and freed.
    const std::vector<std::string>& violations() const { return m_violations; }
    // Writes through the registered log component, as the kernel's own lines.
    void log(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const char* format, ...);

#define KERNEL_DOUBLE_DECLARE(result, name, params, args) result name params;
    KERNEL_DOUBLE_FUNCTIONS(KERNEL_DOUBLE_DECLARE)
#undef KERNEL_DOUBLE_DECLARE

  private:
    FakeMultiscript* multiscript(NATIVECOSPATCH_MULTISCRIPT* m);
    bool run(const NATIVECOSPATCH_SCRIPT* script, bool known);
    bool exchangeWithChip(NATIVECOSPATCH_COS_DATA_TYPE type);
    bool writeId(const std::string& id, char* buffer, uint16_t capacity);
    template <typename Live>
    bool forget(Live& live, const void* object, const char* kind);

    std::optional<NATIVECOSPATCH_LOG_COMPONENT> m_log;
    std::optional<NATIVECOSPATCH_SEMEDIA_COMPONENT> m_seMedia;
    std::map<int, std::vector<uint8_t>> m_aids;
    std::map<const void*, std::unique_ptr<FakeMultiscript>> m_multiscripts;
    std::map<const void*, std::unique_ptr<NATIVECOSPATCH_SCRIPT>> m_scripts;
    std::map<const void*, std::unique_ptr<NATIVECOSPATCH_AUDIT_SCRIPT>> m_auditScripts;
    std::map<const void*, std::unique_ptr<uint8_t[]>> m_byteArrays;
    std::vector<std::string> m_violations;
};

}  // namespace kerneldouble

#endif  // KERNEL_DOUBLE_FAKE_KERNEL_H
