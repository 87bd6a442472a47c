// Loading an update file into the kernel, validating what the kernel made of
// it, and unloading it.

#include <fstream>

#include "COSUpdateMessages.h"
#include "ZelmarNativeCOSUpdate.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

namespace {

// The rest of the stream, byte for byte. Update files run to many MiB: the
// string is sized once when the stream can tell its length, so the file is
// held once, and filled by appending cache-sized chunks rather than resized
// first, which would zero-fill all of it before the read overwrites it.
std::string readRemainingStream(std::ifstream& file) {
    std::string text;
    const std::streampos start = file.tellg();
    if (start != std::streampos(-1) && file.seekg(0, std::ios::end)) {
        const std::streampos end = file.tellg();
        file.seekg(start);
        if (end != std::streampos(-1) && end > start) {
            text.reserve(static_cast<size_t>(end - start));
        }
    }
    file.clear(file.rdstate() & ~std::ios::failbit);
    // Whatever the length said, read on to the real end (a growing file, a pipe).
    char chunk[64 * 1024];
    while (file.read(chunk, sizeof(chunk)) || file.gcount() > 0) {
        text.append(chunk, static_cast<size_t>(file.gcount()));
    }
    return text;
}

bool isEmpty(const char* text) {
    return text == nullptr || text[0] == '\0';
}

template <typename Record>
void checkScriptList(const NATIVECOSPATCH_LIST_NODE* head, const char* kind) {
    for (const NATIVECOSPATCH_LIST_NODE* node = head; node != nullptr; node = node->next) {
        const auto* script = static_cast<const Record*>(node->data);
        if (script == nullptr) {
            throw COSUpdateException(std::string(kind) + " entry is empty");
        }
        if (isEmpty(script->name)) {
            throw COSUpdateException(std::string(kind) + " entry contains an empty name");
        }
        if (isEmpty(script->content)) {
            throw COSUpdateException(std::string(kind) + " entry contains an empty script content");
        }
    }
}

}  // namespace

void COSUpdate::loadCOSUpdateFileOnMemory(std::ifstream& file) {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "++ COSUpdate::loadCOSUpdateFileOnMemory()");
    _requireInitialized();
    if (!file.is_open()) {
        throw COSUpdateException("COSUpdateFile is not opened");
    }
    _clearMultiscript();
    m_chip.forgetIds();
    m_selectedManifest = nullptr;

    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Load XML COSUpdate file stream into memory ...");
    const std::string text = readRemainingStream(file);
    _writePrefixedLogMessage(COSUPDATE_LOG_INFO, "Extracting 'COSUpdate' data from memory ...");
    m_multiscript = PatchKernel::loadMultiscript(text);
    if (!m_multiscript) {
        throw COSUpdateException("Unable to extract 'COSUpdate' data from memory");
    }
    try {
        _checkMultiscriptData(m_multiscript.get());
    } catch (const COSUpdateException& e) {
        _writeLogMessage(COSUPDATE_LOG_ERROR,
                         std::string("Multiscript content is incorrect : ") + e.what());
        _writeLogMessage(COSUPDATE_LOG_INFO, "Clear Multiscript content ...");
        m_multiscript.reset();
        throw COSUpdateException("Multiscript contains invalid/incorrect entry");
    }
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "-- COSUpdate::loadCOSUpdateFileOnMemory()");
}

void COSUpdate::unloadCOSUpdateFromMemory() {
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "++ COSUpdate::unloadCOSUpdateFromMemory()");
    _requireInitialized();
    m_selectedManifest = nullptr;
    m_chip.forgetPlatformAndVersion();
    _clearMultiscript();
    _writeLogMessage(COSUPDATE_LOG_DEBUG, "-- COSUpdate::unloadCOSUpdateFromMemory()");
}

void COSUpdate::_checkMultiscriptData(NATIVECOSPATCH_MULTISCRIPT* multiscript) {
    _writeLogMessage(COSUPDATE_LOG_VERBOSE, "++ COSUpdate::_checkMultiscriptData()");
    for (const NATIVECOSPATCH_LIST_NODE* node = multiscript->scriptManifests; node != nullptr;
         node = node->next) {
        _checkManifestEntry(multiscript, static_cast<const ScriptManifest*>(node->data));
    }
    checkScriptList<NATIVECOSPATCH_MULTISCRIPT__SCRIPT>(multiscript->scripts, "Script");
    checkScriptList<NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT>(multiscript->auditScripts,
                                                              "AuditScript");
    _writeLogMessage(COSUPDATE_LOG_VERBOSE, "-- COSUpdate::_checkMultiscriptData()");
}

void COSUpdate::_checkManifestEntry(NATIVECOSPATCH_MULTISCRIPT* multiscript,
                                    const ScriptManifest* entry) {
    if (entry == nullptr) {
        throw COSUpdateException("Metadata entry is empty");
    }
    if (entry->scriptType == NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_UNKNOWN) {
        throw COSUpdateException("Metadata entry with undefined script 'updateType' ");
    }
    if (entry->scriptName == nullptr) {
        throw COSUpdateException("Metadata entry with script name not defined");
    }
    const std::string name = entry->scriptName;
    if (!PatchKernel::isScriptWithNameExist(multiscript, entry->scriptName).value_or(false)) {
        throw COSUpdateException("Metadata entry with script '" + name + "' not present");
    }
    if (entry->scriptType != NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE) {
        return;
    }
    if (isEmpty(entry->auditScriptName)) {
        throw COSUpdateException("Service '" + name + "' have no Audit script.");
    }
    const std::string audit = entry->auditScriptName;
    const std::optional<bool> auditExists =
        PatchKernel::isAuditScriptWithNameExist(multiscript, entry->auditScriptName);
    if (!auditExists) {
        throw COSUpdateException("Unable to verify that Audit script '" + audit +
                                 "' for Service '" + name + "' exist");
    }
    if (!*auditExists) {
        throw COSUpdateException("Audit script '" + audit + "' for Service '" + name +
                                 "' not present");
    }
}

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar
