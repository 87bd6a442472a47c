#include "FakeKernel.h"

#include <cstdarg>
#include <cstring>
#include <deque>
#include <sstream>

struct NATIVECOSPATCH_SCRIPT {
    std::vector<std::string> commands;
};
struct NATIVECOSPATCH_AUDIT_SCRIPT {
    std::vector<std::string> commands;
};

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

bool contains(const std::vector<std::string>& commands, const std::string& command) {
    for (const auto& c : commands) {
        if (c == command) {
            return true;
        }
    }
    return false;
}

// "key:value" commands.
std::vector<std::string> arguments(const std::vector<std::string>& commands,
                                   const std::string& key) {
    std::vector<std::string> result;
    for (const auto& c : commands) {
        if (c.compare(0, key.size() + 1, key + ":") == 0) {
            result.push_back(c.substr(key.size() + 1));
        }
    }
    return result;
}

}  // namespace

// A multiscript with everything it points to: records, nodes and strings.
struct FakeKernel::OwnedMultiscript {
    NATIVECOSPATCH_MULTISCRIPT record{};
    std::deque<std::string> strings;
    std::deque<NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST> manifests;
    std::deque<NATIVECOSPATCH_MULTISCRIPT__SCRIPT> scripts;
    std::deque<NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT> auditScripts;
    std::deque<NATIVECOSPATCH_LIST_NODE> nodes;

    char* text(const Text& value) {
        if (!value) {
            return nullptr;
        }
        strings.push_back(*value);
        return &strings.back()[0];
    }

    template <typename Entry, typename Record, typename Make>
    NATIVECOSPATCH_LIST_NODE* list(const std::vector<std::optional<Entry>>& entries,
                                   std::deque<Record>& records, Make make) {
        NATIVECOSPATCH_LIST_NODE* head = nullptr;
        NATIVECOSPATCH_LIST_NODE** link = &head;
        for (const auto& entry : entries) {
            nodes.push_back(NATIVECOSPATCH_LIST_NODE{nullptr, nullptr});
            if (entry) {
                records.push_back(make(*entry));
                nodes.back().data = &records.back();
            }
            *link = &nodes.back();
            link = &nodes.back().next;
        }
        return head;
    }

    explicit OwnedMultiscript(const UpdateFile& file) {
        record.scriptManifests = list(file.manifests, manifests, [this](const ManifestEntry& m) {
            NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST r{};
            r.scriptName = text(m.scriptName);
            r.scriptType = static_cast<NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE>(m.type);
            r.auditScriptName = text(m.auditScriptName);
            r.customerId = text(m.customerId);
            r.cosVersion = text(m.cosVersion);
            r.platformId = text(m.platformId);
            return r;
        });
        auto script = [this](const ScriptEntry& s) {
            return NATIVECOSPATCH_MULTISCRIPT__SCRIPT{text(s.name), text(s.content)};
        };
        auto audit = [this](const ScriptEntry& s) {
            return NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT{text(s.name), text(s.content)};
        };
        record.scripts = list(file.scripts, scripts, script);
        record.auditScripts = list(file.auditScripts, auditScripts, audit);
    }

    template <typename Record>
    Record* find(std::deque<Record>& records, const char* name) {
        for (auto& r : records) {
            if (name != nullptr && r.name != nullptr && std::strcmp(r.name, name) == 0) {
                return &r;
            }
        }
        return nullptr;
    }
};

FakeKernel::FakeKernel() = default;
FakeKernel::~FakeKernel() = default;

size_t FakeKernel::liveObjects() const {
    return m_multiscripts.size() + m_scripts.size() + m_auditScripts.size() + m_byteArrays.size();
}

const NATIVECOSPATCH_SEMEDIA_COMPONENT* FakeKernel::seMediaComponent() const {
    return m_seMedia ? &*m_seMedia : nullptr;
}

const NATIVECOSPATCH_LOG_COMPONENT* FakeKernel::logComponent() const {
    return m_log ? &*m_log : nullptr;
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

bool FakeKernel::memory_initComponent() {
    return true;
}

bool FakeKernel::memory_cleanupComponent() {
    if (liveObjects() > 0) {
        log(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_WARNING, "memory: %zu object(s) still alive",
            liveObjects());
    }
    return true;
}

bool FakeKernel::logManager_initComponent(NATIVECOSPATCH_LOG_COMPONENT* c) {
    if (c == nullptr) {
        return false;
    }
    m_log = *c;
    m_logInitialized = true;
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
    if (initialized == nullptr) {
        return false;
    }
    *initialized = m_logInitialized;
    return true;
}

bool FakeKernel::logManager_cleanupComponent() {
    m_log.reset();
    m_logInitialized = false;
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
    if (aid == nullptr || type < NATIVECOSPATCH_COS_DATA_TYPE_FC ||
        type > NATIVECOSPATCH_COS_DATA_TYPE_FE) {
        return false;
    }
    m_aids[type].assign(aid, aid + length);
    return true;
}

bool FakeKernel::seContextManager_getCOSTagAIDSize(NATIVECOSPATCH_COS_DATA_TYPE type,
                                                   uint16_t* size) {
    if (size == nullptr) {
        return false;
    }
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
    if (buffer == nullptr || capacity == 0 || !exchangeWithChip(NATIVECOSPATCH_COS_DATA_TYPE_FE)) {
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
    if (version == nullptr || !exchangeWithChip(NATIVECOSPATCH_COS_DATA_TYPE_FE)) {
        return false;
    }
    *version = chip.version;
    return true;
}

bool FakeKernel::seContextManager_readCOSData(NATIVECOSPATCH_COS_DATA_TYPE type,
                                              NATIVECOSPATCH_BYTE_ARRAY* data) {
    if (data == nullptr || !exchangeWithChip(type)) {
        return false;
    }
    const std::vector<uint8_t>& bytes = chip.data[type];
    if (bytes.empty()) {
        return true;
    }
    auto copy = std::make_unique<uint8_t[]>(bytes.size());
    std::memcpy(copy.get(), bytes.data(), bytes.size());
    data->data = copy.get();
    data->size = static_cast<uint16_t>(bytes.size());
    m_byteArrays[data->data] = std::move(copy);
    return true;
}

bool FakeKernel::byteArray_freeContent(NATIVECOSPATCH_BYTE_ARRAY* data) {
    if (data == nullptr || data->data == nullptr) {
        return false;
    }
    forget(m_byteArrays, data->data, "byte array");
    data->data = nullptr;
    data->size = 0;
    return true;
}

bool FakeKernel::seMediaManager_initComponent(NATIVECOSPATCH_SEMEDIA_COMPONENT* c) {
    if (c == nullptr) {
        return false;
    }
    m_seMedia = *c;
    return true;
}

bool FakeKernel::seMediaManager_cleanupComponent() {
    m_seMedia.reset();
    return true;
}

bool FakeKernel::seMediaManager_isComponentInitialized(bool* initialized) {
    if (initialized == nullptr) {
        return false;
    }
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
    auto file = xml != nullptr ? files.find(xml) : files.end();
    if (file == files.end()) {
        log(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_ERROR, "xml: not an update file");
        return nullptr;
    }
    auto owned = std::make_unique<OwnedMultiscript>(file->second);
    NATIVECOSPATCH_MULTISCRIPT* record = &owned->record;
    m_multiscripts[record] = std::move(owned);
    return record;
}

bool FakeKernel::multiscriptManager_freeMultiscript(NATIVECOSPATCH_MULTISCRIPT* m) {
    return forget(m_multiscripts, m, "multiscript");
}

bool FakeKernel::multiscriptManager_isScriptWithNameExist(NATIVECOSPATCH_MULTISCRIPT* m,
                                                          const char* name, bool* exists) {
    if (exists == nullptr || m_multiscripts.count(m) == 0) {
        return false;
    }
    *exists = m_multiscripts[m]->find(m_multiscripts[m]->scripts, name) != nullptr;
    return true;
}

bool FakeKernel::multiscriptManager_isAuditScriptWithNameExist(NATIVECOSPATCH_MULTISCRIPT* m,
                                                               const char* name, bool* exists) {
    if (exists == nullptr || m_multiscripts.count(m) == 0) {
        return false;
    }
    *exists = m_multiscripts[m]->find(m_multiscripts[m]->auditScripts, name) != nullptr;
    return true;
}

NATIVECOSPATCH_MULTISCRIPT__SCRIPT* FakeKernel::multiscriptManager_script_selectRefScript(
    NATIVECOSPATCH_MULTISCRIPT* m, const char* name) {
    auto it = m_multiscripts.find(m);
    return it == m_multiscripts.end() ? nullptr : it->second->find(it->second->scripts, name);
}

NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT*
FakeKernel::multiscriptManager_script_selectRefAuditScript(NATIVECOSPATCH_MULTISCRIPT* m,
                                                           const char* name) {
    auto it = m_multiscripts.find(m);
    return it == m_multiscripts.end() ? nullptr : it->second->find(it->second->auditScripts, name);
}

NATIVECOSPATCH_SCRIPT* FakeKernel::xml_script_loadFromString(const char* xml) {
    if (xml == nullptr || contains(words(xml), "unparseable")) {
        return nullptr;
    }
    auto script = std::make_unique<NATIVECOSPATCH_SCRIPT>(NATIVECOSPATCH_SCRIPT{words(xml)});
    NATIVECOSPATCH_SCRIPT* handle = script.get();
    m_scripts[handle] = std::move(script);
    return handle;
}

bool FakeKernel::scriptManager_isConsistency(NATIVECOSPATCH_SCRIPT* s) {
    return m_scripts.count(s) != 0 && !contains(s->commands, "inconsistent");
}

bool FakeKernel::scriptRunner_executeScript(NATIVECOSPATCH_SCRIPT* s) {
    if (m_scripts.count(s) == 0 || !exchangeWithChip(NATIVECOSPATCH_COS_DATA_TYPE_FE) ||
        contains(s->commands, "fail")) {
        return false;
    }
    for (const auto& version : arguments(s->commands, "version")) {
        chip.version = static_cast<uint16_t>(std::stoul(version, nullptr, 16));
    }
    for (const auto& service : arguments(s->commands, "install")) {
        chip.services.insert(service);
    }
    return true;
}

bool FakeKernel::scriptManager_freeScript(NATIVECOSPATCH_SCRIPT* s) {
    return forget(m_scripts, s, "script");
}

NATIVECOSPATCH_AUDIT_SCRIPT* FakeKernel::xml_audit_script_loadFromString(const char* xml) {
    if (xml == nullptr || contains(words(xml), "unparseable")) {
        return nullptr;
    }
    auto script =
        std::make_unique<NATIVECOSPATCH_AUDIT_SCRIPT>(NATIVECOSPATCH_AUDIT_SCRIPT{words(xml)});
    NATIVECOSPATCH_AUDIT_SCRIPT* handle = script.get();
    m_auditScripts[handle] = std::move(script);
    return handle;
}

bool FakeKernel::auditscriptRunner_executeAuditScript(NATIVECOSPATCH_AUDIT_SCRIPT* s) {
    if (m_auditScripts.count(s) == 0 || !exchangeWithChip(NATIVECOSPATCH_COS_DATA_TYPE_FE) ||
        contains(s->commands, "fail")) {
        return false;
    }
    for (const auto& service : arguments(s->commands, "check")) {
        if (chip.services.count(service) == 0) {
            return false;
        }
    }
    return true;
}

bool FakeKernel::auditScriptManager_freeAuditScript(NATIVECOSPATCH_AUDIT_SCRIPT* s) {
    return forget(m_auditScripts, s, "audit script");
}

}  // namespace kerneldouble
