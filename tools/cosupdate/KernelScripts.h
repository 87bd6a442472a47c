// The patch kernel's own reading of an update file, for what the library
// checks only when it runs a script: the one place the tool calls the kernel.
//
// The library's engine initialises the kernel's components when it is created
// and cleans them up when it is destroyed; use this only while an engine
// lives (inside an EngineSession), on the engine's thread, between its
// operations. The kernel logs its reasons to the engine's log sink.

#ifndef COSUPDATE_CLI_KERNEL_SCRIPTS_H
#define COSUPDATE_CLI_KERNEL_SCRIPTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nativeCOSPatchKernel.h"

namespace cosupdate::cli {

// A manifest entry's fields, null fields as nullopt.
struct ManifestEntry {
    std::optional<std::string> scriptName;
    int32_t scriptType = 0;
    std::optional<std::string> auditScriptName;
    std::optional<std::string> cosVersion;
};

// A multiscript parsed from an update file's text and freed with this object.
class KernelMultiscript {
  public:
    // Parses `text` up to its first NUL byte; loaded() tells whether it could.
    explicit KernelMultiscript(const std::string& text);
    ~KernelMultiscript();
    KernelMultiscript(const KernelMultiscript&) = delete;
    KernelMultiscript& operator=(const KernelMultiscript&) = delete;

    bool loaded() const { return m_multiscript != nullptr; }
    std::vector<ManifestEntry> manifest() const;

    // The text of the update or audit script of that name, borrowed from the
    // multiscript; null when there is none (or it has no text).
    const char* scriptContent(const std::string& name) const;
    const char* auditScriptContent(const std::string& name) const;

  private:
    NATIVECOSPATCH_MULTISCRIPT* m_multiscript;
};

enum class ScriptVerdict { Runnable, NotParsed, Inconsistent };

// What the kernel makes of a script's text: the parse and, for an update
// script, the consistency check it runs before executing one.
ScriptVerdict checkUpdateScript(const char* content);
ScriptVerdict checkAuditScript(const char* content);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_KERNEL_SCRIPTS_H
