#include "ZelmarNativeCOSUpdatePatchKernel.h"

#include <cstring>

#include "nativeCOSPatchBool.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {
namespace PatchKernel {

namespace {

using nativeCOSPatchBool::lowestBit;

// A bool out-parameter: preset to false, read only when the call succeeded.
// Calls are handed in as lambdas that name the kernel operation: a call
// through a pointer to it would be an indirect call of a C function.
template <typename Call>
std::optional<bool> askFlag(Call call) {
    bool flag = false;
    if (!lowestBit(call(&flag))) {
        return std::nullopt;
    }
    return lowestBit(flag);
}

// An identifier the kernel writes into a zero-filled buffer: up to the first
// NUL, never past the buffer even if the kernel forgot the NUL.
template <typename Call>
std::optional<std::string> readId(Call call) {
    char buffer[NATIVECOSPATCH_ID_BUFFER_SIZE] = {};
    if (!lowestBit(call(buffer, static_cast<uint16_t>(sizeof(buffer))))) {
        return std::nullopt;
    }
    return std::string(buffer, strnlen(buffer, sizeof(buffer)));
}

template <typename Free>
void freeQuietly(Free free) noexcept {
    try {
        free();
    } catch (...) {
    }
}

}  // namespace

void MultiscriptFree::operator()(NATIVECOSPATCH_MULTISCRIPT* multiscript) const noexcept {
    freeQuietly([multiscript] { nativeCOSPatch_multiscriptManager_freeMultiscript(multiscript); });
}

void ScriptFree::operator()(NATIVECOSPATCH_SCRIPT* script) const noexcept {
    freeQuietly([script] { nativeCOSPatch_scriptManager_freeScript(script); });
}

void AuditScriptFree::operator()(NATIVECOSPATCH_AUDIT_SCRIPT* script) const noexcept {
    freeQuietly([script] { nativeCOSPatch_auditScriptManager_freeAuditScript(script); });
}

ByteArrayContent::~ByteArrayContent() {
    if (m_record.data != nullptr) {
        freeQuietly([this] { nativeCOSPatch_byteArray_freeContent(&m_record); });
    }
}

void initMemory() {
    nativeCOSPatch_memory_initComponent();
}

void cleanupMemory() {
    nativeCOSPatch_memory_cleanupComponent();
}

bool initLogManager(NATIVECOSPATCH_LOG_COMPONENT& component) {
    return lowestBit(nativeCOSPatch_logManager_initComponent(&component));
}

bool openLogManager() {
    return lowestBit(nativeCOSPatch_logManager_open());
}

bool isLogManagerInitialized() {
    return askFlag([](bool* initialized) {
               return nativeCOSPatch_logManager_isComponentInitialized(initialized);
           })
        .value_or(false);
}

void cleanupLogManager() {
    nativeCOSPatch_logManager_cleanupComponent();
}

void initSEContext() {
    nativeCOSPatch_seContextManager_initComponent();
}

void cleanupSEContext() {
    nativeCOSPatch_seContextManager_cleanupComponent();
}

bool initSEMediaManager(NATIVECOSPATCH_SEMEDIA_COMPONENT& component) {
    return lowestBit(nativeCOSPatch_seMediaManager_initComponent(&component));
}

void cleanupSEMediaManager() {
    nativeCOSPatch_seMediaManager_cleanupComponent();
}

std::optional<bool> isSEMediaManagerInitialized() {
    return askFlag([](bool* initialized) {
        return nativeCOSPatch_seMediaManager_isComponentInitialized(initialized);
    });
}

std::optional<bool> isSEMediaStarted() {
    return askFlag([](bool* started) { return nativeCOSPatch_seMediaManager_isStarted(started); });
}

bool startSEMedia() {
    return lowestBit(nativeCOSPatch_seMediaManager_start());
}

bool stopSEMedia() {
    return lowestBit(nativeCOSPatch_seMediaManager_stop());
}

bool updateCOSTagAID(NATIVECOSPATCH_COS_DATA_TYPE type, std::vector<uint8_t>& aid) {
    return lowestBit(nativeCOSPatch_seContextManager_updateCOSTagAID(
        type, aid.data(), static_cast<uint16_t>(aid.size())));
}

std::optional<uint16_t> getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE type) {
    uint16_t size = 0;
    if (!lowestBit(nativeCOSPatch_seContextManager_getCOSTagAIDSize(type, &size))) {
        return std::nullopt;
    }
    return size;
}

std::optional<std::string> readCOSPlatformId() {
    return readId([](char* buffer, uint16_t capacity) {
        return nativeCOSPatch_seContextManager_readCOSPlatformId(buffer, capacity);
    });
}

std::optional<std::string> readCOSCustomerId() {
    return readId([](char* buffer, uint16_t capacity) {
        return nativeCOSPatch_seContextManager_readCOSCustomerId(buffer, capacity);
    });
}

bool readCOSVersion(uint16_t& version) {
    return lowestBit(nativeCOSPatch_seContextManager_readCOSVersion(&version));
}

bool readCOSData(NATIVECOSPATCH_COS_DATA_TYPE type, ByteArrayContent& content) {
    NATIVECOSPATCH_BYTE_ARRAY record;
    std::memset(&record, 0, sizeof(record));
    if (!lowestBit(nativeCOSPatch_seContextManager_readCOSData(type, &record))) {
        return false;
    }
    content.m_record = record;
    return true;
}

MultiscriptOwner loadMultiscript(const std::string& xml) {
    return MultiscriptOwner(nativeCOSPatch_xml_multiscript_loadFromString(xml.c_str()));
}

std::optional<bool> isScriptWithNameExist(NATIVECOSPATCH_MULTISCRIPT* multiscript,
                                          const char* name) {
    return askFlag([&](bool* exists) {
        return nativeCOSPatch_multiscriptManager_isScriptWithNameExist(multiscript, name, exists);
    });
}

std::optional<bool> isAuditScriptWithNameExist(NATIVECOSPATCH_MULTISCRIPT* multiscript,
                                               const char* name) {
    return askFlag([&](bool* exists) {
        return nativeCOSPatch_multiscriptManager_isAuditScriptWithNameExist(multiscript, name,
                                                                            exists);
    });
}

const NATIVECOSPATCH_MULTISCRIPT__SCRIPT* selectRefScript(NATIVECOSPATCH_MULTISCRIPT* multiscript,
                                                          const char* name) {
    return nativeCOSPatch_multiscriptManager_script_selectRefScript(multiscript, name);
}

const NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT* selectRefAuditScript(
    NATIVECOSPATCH_MULTISCRIPT* multiscript, const char* name) {
    return nativeCOSPatch_multiscriptManager_script_selectRefAuditScript(multiscript, name);
}

ScriptOwner loadScript(const char* xml) {
    return ScriptOwner(nativeCOSPatch_xml_script_loadFromString(xml));
}

bool isConsistent(NATIVECOSPATCH_SCRIPT* script) {
    return lowestBit(nativeCOSPatch_scriptManager_isConsistency(script));
}

bool executeScript(NATIVECOSPATCH_SCRIPT* script) {
    return lowestBit(nativeCOSPatch_scriptRunner_executeScript(script));
}

AuditScriptOwner loadAuditScript(const char* xml) {
    return AuditScriptOwner(nativeCOSPatch_xml_audit_script_loadFromString(xml));
}

bool executeAuditScript(NATIVECOSPATCH_AUDIT_SCRIPT* script) {
    return lowestBit(nativeCOSPatch_auditscriptRunner_executeAuditScript(script));
}

}  // namespace PatchKernel
}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
