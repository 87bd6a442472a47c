#include "Multiscript.h"

#include "KernelError.h"

namespace simkernel {

namespace {

// Marks records made by this kernel in the first reserved slot; the second
// points back to the owning object.
const char kRecordTag[] = "simkernel.multiscript";

char* textOrNull(std::optional<std::string>& text) {
    return text ? text->data() : nullptr;
}

}  // namespace

Multiscript::Multiscript(std::vector<ManifestEntry> entries, std::vector<NamedScript> scripts,
                         std::vector<NamedScript> auditScripts)
    : m_entries(std::move(entries)),
      m_scripts(std::move(scripts)),
      m_auditScripts(std::move(auditScripts)) {
    // The storage above no longer moves: pointers into it are safe from here.
    m_scriptIndex = indexByName(m_scripts, "script");
    m_auditIndex = indexByName(m_auditScripts, "audit script");
    linkManifest();
    m_scriptRecords = scriptRecords<NATIVECOSPATCH_MULTISCRIPT__SCRIPT>(m_scripts);
    m_auditRecords = scriptRecords<NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT>(m_auditScripts);
    m_record.kernelReserved[0] = const_cast<char*>(kRecordTag);
    m_record.kernelReserved[1] = this;
    m_record.scriptManifests = chain(m_manifestRecords, m_manifestNodes);
    m_record.scripts = chain(m_scriptRecords, m_scriptNodes);
    m_record.auditScripts = chain(m_auditRecords, m_auditNodes);
}

Multiscript* Multiscript::fromRecord(NATIVECOSPATCH_MULTISCRIPT* record) {
    if (record == nullptr || record->kernelReserved[0] != kRecordTag) {
        return nullptr;
    }
    return static_cast<Multiscript*>(record->kernelReserved[1]);
}

NATIVECOSPATCH_MULTISCRIPT__SCRIPT* Multiscript::findScript(std::string_view name) {
    const auto found = m_scriptIndex.find(name);
    return found == m_scriptIndex.end() ? nullptr : &m_scriptRecords[found->second];
}

NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT* Multiscript::findAuditScript(std::string_view name) {
    const auto found = m_auditIndex.find(name);
    return found == m_auditIndex.end() ? nullptr : &m_auditRecords[found->second];
}

void Multiscript::linkManifest() {
    m_manifestRecords.resize(m_entries.size());
    for (size_t i = 0; i < m_entries.size(); ++i) {
        ManifestEntry& entry = m_entries[i];
        NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST& record = m_manifestRecords[i];
        record.scriptName = textOrNull(entry.scriptName);
        record.kernelReserved = nullptr;
        record.scriptType = static_cast<NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE>(entry.scriptType);
        record.auditScriptName = textOrNull(entry.auditScriptName);
        record.customerId = textOrNull(entry.customerId);
        record.cosVersion = textOrNull(entry.cosVersion);
        record.platformId = textOrNull(entry.platformId);
    }
}

Multiscript::Index Multiscript::indexByName(std::vector<NamedScript>& scripts, const char* kind) {
    Index index;
    index.reserve(scripts.size());
    for (size_t i = 0; i < scripts.size(); ++i) {
        if (!scripts[i].name) {
            continue;
        }
        const auto [existing, added] = index.emplace(*scripts[i].name, i);
        if (!added) {
            throw KernelError("update file, line " + std::to_string(scripts[i].line) + ": " + kind +
                              " '" + *scripts[i].name + "' already declared on line " +
                              std::to_string(scripts[existing->second].line));
        }
    }
    return index;
}

template <typename Record>
std::vector<Record> Multiscript::scriptRecords(std::vector<NamedScript>& scripts) {
    std::vector<Record> records(scripts.size());
    for (size_t i = 0; i < scripts.size(); ++i) {
        records[i].name = textOrNull(scripts[i].name);
        records[i].content = scripts[i].content.data();
    }
    return records;
}

template <typename Record>
NATIVECOSPATCH_LIST_NODE* Multiscript::chain(std::vector<Record>& records,
                                             std::vector<NATIVECOSPATCH_LIST_NODE>& nodes) {
    nodes.resize(records.size());
    for (size_t i = 0; i < records.size(); ++i) {
        nodes[i].data = &records[i];
        nodes[i].next = i + 1 < records.size() ? &nodes[i + 1] : nullptr;
    }
    return nodes.empty() ? nullptr : nodes.data();
}

}  // namespace simkernel
