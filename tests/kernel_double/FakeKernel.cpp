#include "FakeKernel.h"

#include "FakeMultiscript.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <sstream>

// Parsed scripts: the words of their text.
struct NATIVECOSPATCH_SCRIPT {
    std::vector<std::string> words;
};
struct NATIVECOSPATCH_AUDIT_SCRIPT : NATIVECOSPATCH_SCRIPT {};

namespace kerneldouble {

namespace {

std::vector<std::string> words(const char* text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string word; in >> word;) {
        result.push_back(word);
    }
    return result;
}

bool has(const NATIVECOSPATCH_SCRIPT& script, const std::string& word) {
    return std::find(script.words.begin(), script.words.end(), word) != script.words.end();
}

// The values of the script's "key:value" words.
std::vector<std::string> values(const NATIVECOSPATCH_SCRIPT& script, const std::string& key) {
    std::vector<std::string> result;
    for (const auto& word : script.words) {
        if (word.rfind(key + ":", 0) == 0) {
            result.push_back(word.substr(key.size() + 1));
        }
    }
    return result;
}

template <typename Script>
Script* loadScript(const char* xml, std::map<const void*, std::unique_ptr<Script>>& live) {
    auto script = std::make_unique<Script>();
    script->words = words(xml == nullptr ? "unparseable" : xml);
    if (has(*script, "unparseable")) {
        return nullptr;
    }
    Script* handle = script.get();
    live[handle] = std::move(script);
    return handle;
}

}  // namespace

FakeKernel::FakeKernel() = default;
FakeKernel::~FakeKernel() = default;

size_t FakeKernel::liveObjects() const {
    return m_multiscripts.size() + m_scripts.size() + m_auditScripts.size() + m_byteArrays.size();
}

void FakeKernel::log(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const char* format, ...) {
    if (!m_log || m_log->writeMessage == nullptr) {
        return;
    }
    va_list args;
    va_start(args, format);
    m_log->writeMessage(level, format, args);
    va_end(args);
}

template <typename Live>
bool FakeKernel::forget(Live& live, const void* object, const char* kind) {
    if (live.erase(object) == 0) {
        m_violations.push_back(std::string("free of unknown ") + kind);
        return false;
    }
    return true;
}

FakeMultiscript* FakeKernel::multiscript(NATIVECOSPATCH_MULTISCRIPT* m) {
    auto it = m_multiscripts.find(m);
    return it == m_multiscripts.end() ? nullptr : it->second.get();
}

// A script the engine holds, run against the chip.
bool FakeKernel::run(const NATIVECOSPATCH_SCRIPT* script, bool known) {
    return known && exchangeWithChip(NATIVECOSPATCH_COS_DATA_TYPE_FE) && !has(*script, "fail");
}

bool FakeKernel::memory_initComponent() {
    return true;
}

bool FakeKernel::memory_cleanupComponent() {
    return true;
}

bool FakeKernel::logManager_initComponent(NATIVECOSPATCH_LOG_COMPONENT* c) {
    m_log = *c;
    return true;
}

bool FakeKernel::logManager_open() {
    const bool opened = m_log && m_log->open != nullptr && m_log->open();
    if (opened) {
        log(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_INFO, "logManager: open");
    }
    return opened;
}

bool FakeKernel::logManager_isComponentInitialized(bool* initialized) {
    *initialized = m_log.has_value();
    return true;
}

bool FakeKernel::logManager_cleanupComponent() {
    m_log.reset();
    return true;
}

bool FakeKernel::seContextManager_initComponent() {
    log(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_DEBUG, "seContextManager: init");
    return true;
}

bool FakeKernel::seContextManager_cleanupComponent() {
    return true;
}

bool FakeKernel::seContextManager_updateCOSTagAID(NATIVECOSPATCH_COS_DATA_TYPE type, uint8_t* aid,
                                                  uint16_t length) {
    if (type < NATIVECOSPATCH_COS_DATA_TYPE_FC || type > NATIVECOSPATCH_COS_DATA_TYPE_FE) {
        return false;
    }
    m_aids[type].assign(aid, aid + length);
    return true;
}

bool FakeKernel::seContextManager_getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE type,
                                                   uint16_t* size) {
    auto it = m_aids.find(type);
    *size = it == m_aids.end() ? 0 : static_cast<uint16_t>(it->second.size());
    return true;
}

// One APDU to the object's AID through the registered callbacks.
bool FakeKernel::exchangeWithChip(NATIVECOSPATCH_COS_DATA_TYPE type) {
    auto aid = m_aids.find(type);
    if (!m_seMedia || aid == m_aids.end()) {
        return false;
    }
    std::vector<uint8_t> selected = aid->second;
    uint8_t response[258];
    uint16_t length = 0;
    if (!m_seMedia->openConnection(selected.data(), static_cast<uint16_t>(selected.size()),
                                   response, sizeof(response), &length)) {
        return false;
    }
    uint8_t command[] = {0x80, 0xCA, 0x00, static_cast<uint8_t>(type), 0x00};
    log(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_VERBOSE, "apdu > 80CA00%02X00", type);
    const bool sent =
        m_seMedia->transmitApdu(command, sizeof(command), response, sizeof(response), &length);
    const bool closed = m_seMedia->closeConnection();
    return sent && closed;
}

bool FakeKernel::writeId(const std::string& id, char* buffer, uint16_t capacity) {
    if (capacity == 0 || !exchangeWithChip(NATIVECOSPATCH_COS_DATA_TYPE_FE)) {
        return false;
    }
    if (chip.unterminatedIds) {
        std::memset(buffer, 'X', capacity);
        return true;
    }
    const size_t n = std::min<size_t>(id.size(), capacity - 1u);
    std::memcpy(buffer, id.data(), n);
    buffer[n] = '\0';
    return true;
}

bool FakeKernel::seContextManager_readCOSPlatformId(char* buffer, uint16_t capacity) {
    return writeId(chip.platformId, buffer, capacity);
}

bool FakeKernel::seContextManager_readCOSCustomerId(char* buffer, uint16_t capacity) {
    return writeId(chip.customerId, buffer, capacity);
}

bool FakeKernel::seContextManager_readCOSVersion(uint16_t* version) {
    if (!exchangeWithChip(NATIVECOSPATCH_COS_DATA_TYPE_FE)) {
        return false;
    }
    *version = chip.version;
    return true;
}

bool FakeKernel::seContextManager_readCOSData(NATIVECOSPATCH_COS_DATA_TYPE type,
                                              NATIVECOSPATCH_BYTE_ARRAY* data) {
    if (!exchangeWithChip(type)) {
        return false;
    }
    const std::vector<uint8_t>& bytes = chip.data[type];
    if (!bytes.empty()) {
        auto copy = std::make_unique<uint8_t[]>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), copy.get());
        data->data = copy.get();
        data->size = static_cast<uint16_t>(bytes.size());
        m_byteArrays[data->data] = std::move(copy);
    }
    return true;
}

bool FakeKernel::byteArray_freeContent(NATIVECOSPATCH_BYTE_ARRAY* data) {
    forget(m_byteArrays, data->data, "byte array");
    data->data = nullptr;
    data->size = 0;
    return true;
}

bool FakeKernel::seMediaManager_initComponent(NATIVECOSPATCH_SEMEDIA_COMPONENT* c) {
    m_seMedia = *c;
    return true;
}

bool FakeKernel::seMediaManager_cleanupComponent() {
    m_seMedia.reset();
    return true;
}

bool FakeKernel::seMediaManager_isComponentInitialized(bool* initialized) {
    *initialized = m_seMedia.has_value();
    return true;
}

bool FakeKernel::seMediaManager_isStarted(bool* started) {
    return m_seMedia && m_seMedia->isStarted(started);
}

bool FakeKernel::seMediaManager_start() {
    return m_seMedia && m_seMedia->start();
}

bool FakeKernel::seMediaManager_stop() {
    return m_seMedia && m_seMedia->stop();
}

NATIVECOSPATCH_MULTISCRIPT* FakeKernel::xml_multiscript_loadFromString(const char* xml) {
    auto file = files.find(xml);
    if (file == files.end()) {
        log(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_ERROR, "xml: not an update file");
        return nullptr;
    }
    auto owned = std::make_unique<FakeMultiscript>(file->second);
    NATIVECOSPATCH_MULTISCRIPT* record = &owned->record;
    m_multiscripts[record] = std::move(owned);
    return record;
}

bool FakeKernel::multiscriptManager_freeMultiscript(NATIVECOSPATCH_MULTISCRIPT* m) {
    return forget(m_multiscripts, m, "multiscript");
}

bool FakeKernel::multiscriptManager_isScriptWithNameExist(NATIVECOSPATCH_MULTISCRIPT* m,
                                                          const char* name, bool* exists) {
    FakeMultiscript* owned = multiscript(m);
    if (owned == nullptr) {
        return false;
    }
    *exists = owned->find(owned->scripts, name) != nullptr;
    return true;
}

bool FakeKernel::multiscriptManager_isAuditScriptWithNameExist(NATIVECOSPATCH_MULTISCRIPT* m,
                                                               const char* name, bool* exists) {
    FakeMultiscript* owned = multiscript(m);
    if (owned == nullptr) {
        return false;
    }
    *exists = owned->find(owned->auditScripts, name) != nullptr;
    return true;
}

NATIVECOSPATCH_MULTISCRIPT__SCRIPT* FakeKernel::multiscriptManager_script_selectRefScript(
    NATIVECOSPATCH_MULTISCRIPT* m, const char* name) {
    FakeMultiscript* owned = multiscript(m);
    return owned == nullptr ? nullptr : owned->find(owned->scripts, name);
}

NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT*
FakeKernel::multiscriptManager_script_selectRefAuditScript(NATIVECOSPATCH_MULTISCRIPT* m,
                                                           const char* name) {
    FakeMultiscript* owned = multiscript(m);
    return owned == nullptr ? nullptr : owned->find(owned->auditScripts, name);
}

NATIVECOSPATCH_SCRIPT* FakeKernel::xml_script_loadFromString(const char* xml) {
    return loadScript(xml, m_scripts);
}

bool FakeKernel::scriptManager_isConsistency(NATIVECOSPATCH_SCRIPT* s) {
    return m_scripts.count(s) != 0 && !has(*s, "inconsistent");
}

bool FakeKernel::scriptRunner_executeScript(NATIVECOSPATCH_SCRIPT* s) {
    if (!run(s, m_scripts.count(s) != 0)) {
        return false;
    }
    for (const auto& version : values(*s, "version")) {
        chip.version = static_cast<uint16_t>(std::stoul(version, nullptr, 16));
    }
    for (const auto& service : values(*s, "install")) {
        chip.services.insert(service);
    }
    return true;
}

bool FakeKernel::scriptManager_freeScript(NATIVECOSPATCH_SCRIPT* s) {
    return forget(m_scripts, s, "script");
}

NATIVECOSPATCH_AUDIT_SCRIPT* FakeKernel::xml_audit_script_loadFromString(const char* xml) {
    return loadScript(xml, m_auditScripts);
}

bool FakeKernel::auditscriptRunner_executeAuditScript(NATIVECOSPATCH_AUDIT_SCRIPT* s) {
    if (!run(s, m_auditScripts.count(s) != 0)) {
        return false;
    }
    const auto checked = values(*s, "check");
    return std::all_of(checked.begin(), checked.end(),
                       [this](const std::string& service) { return chip.services.count(service); });
}

bool FakeKernel::auditScriptManager_freeAuditScript(NATIVECOSPATCH_AUDIT_SCRIPT* s) {
    return forget(m_auditScripts, s, "audit script");
}

}  // namespace kerneldouble
