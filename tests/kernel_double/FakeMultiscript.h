// A multiscript of the kernel test double, built from an UpdateFile, with
// everything its records point to: nodes, records and strings.

#ifndef KERNEL_DOUBLE_FAKE_MULTISCRIPT_H
#define KERNEL_DOUBLE_FAKE_MULTISCRIPT_H

#include <cstring>
#include <deque>

#include "FakeKernel.h"

namespace kerneldouble {

struct FakeMultiscript {
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

    explicit FakeMultiscript(const UpdateFile& file) {
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
        record.scripts = list(file.scripts, scripts, [this](const ScriptEntry& s) {
            return NATIVECOSPATCH_MULTISCRIPT__SCRIPT{text(s.name), text(s.content)};
        });
        record.auditScripts = list(file.auditScripts, auditScripts, [this](const ScriptEntry& s) {
            return NATIVECOSPATCH_MULTISCRIPT__AUDIT_SCRIPT{text(s.name), text(s.content)};
        });
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

}  // namespace kerneldouble

#endif  // KERNEL_DOUBLE_FAKE_MULTISCRIPT_H
