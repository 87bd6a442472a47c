// A loaded update file as the kernel hands it out: the public
// NATIVECOSPATCH_MULTISCRIPT record with its three lists, backed by storage
// this object owns, plus name indexes for the lookups.

#ifndef SIMKERNEL_MULTISCRIPT_H
#define SIMKERNEL_MULTISCRIPT_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "KernelApi.h"
#include "LiveObjects.h"

namespace simkernel {

// Absent attributes stay empty optionals and reach the record as null
// pointers; present ones, even empty, as text.
struct ManifestEntry {
    std::optional<std::string> scriptName;
    int32_t scriptType = NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_UNKNOWN;
    std::optional<std::string> auditScriptName;
    std::optional<std::string> customerId;
    std::optional<std::string> cosVersion;
    std::optional<std::string> platformId;
};

struct NamedScript {
    std::optional<std::string> name;
    std::string content;  // the script's own XML text, trimmed
    int line = 0;         // where it is declared in the update file
};

class Multiscript {
  public:
    // Takes the parsed parts and builds the records. Throws KernelError when
    // two scripts (or two audit scripts) share a name.
    Multiscript(std::vector<ManifestEntry> entries, std::vector<NamedScript> scripts,
                std::vector<NamedScript> auditScripts);
    Multiscript(const Multiscript&) = delete;
    Multiscript& operator=(const Multiscript&) = delete;

    NATIVECOSPATCH_MULTISCRIPT* record() { return &m_record; }
    // The object behind a record this kernel handed out; null for anything else.
    static Multiscript* fromRecord(NATIVECOSPATCH_MULTISCRIPT* record);

    NATIVECOSPATCH_MULTISCRIPT__SCRIPT* findScript(std::string_view name);
    NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT* findAuditScript(std::string_view name);

  private:
    using Index = std::unordered_map<std::string_view, size_t>;

    void linkManifest();
    static Index indexByName(std::vector<NamedScript>& scripts, const char* kind);
    template <typename Record>
    static std::vector<Record> scriptRecords(std::vector<NamedScript>& scripts);
    template <typename Record>
    static NATIVECOSPATCH_LIST_NODE* chain(std::vector<Record>& records,
                                           std::vector<NATIVECOSPATCH_LIST_NODE>& nodes);

    LiveCount<ObjectKind::Multiscript> m_live;
    NATIVECOSPATCH_MULTISCRIPT m_record{};
    std::vector<ManifestEntry> m_entries;
    std::vector<NamedScript> m_scripts;
    std::vector<NamedScript> m_auditScripts;
    std::vector<NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST> m_manifestRecords;
    std::vector<NATIVECOSPATCH_MULTISCRIPT__SCRIPT> m_scriptRecords;
    std::vector<NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT> m_auditRecords;
    std::vector<NATIVECOSPATCH_LIST_NODE> m_manifestNodes;
    std::vector<NATIVECOSPATCH_LIST_NODE> m_scriptNodes;
    std::vector<NATIVECOSPATCH_LIST_NODE> m_auditNodes;
    Index m_scriptIndex;
    Index m_auditIndex;
};

// Parses an update file. Throws KernelError saying what is wrong and on which
// line.
std::unique_ptr<Multiscript> parseMultiscript(const char* xml);

}  // namespace simkernel

#endif  // SIMKERNEL_MULTISCRIPT_H
