// The update history: a file of one JSON record a line, one line per update
// that touched a chip, oldest first. The simulated chip's lives beside its
// state file; another transport's chips each have one in the tool's state
// directory, named after what identifies the chip: its platform id and FC.
// Lines are appended durably under a lock that readers take too, so that
// nobody reads half a line: the simulated chip's state file lock for its
// history, a ChipLock on "<file>.lock" for the others.

#ifndef COSUPDATE_CLI_HISTORY_FILE_H
#define COSUPDATE_CLI_HISTORY_FILE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ChipLock.h"
#include "HexArguments.h"
#include "Reply.h"

namespace cosupdate::cli {

// "<state file>.history", beside the file a link stands for.
std::string simHistoryFile(const std::string& chipFile);

// <state directory>/history (see stateDirectory()), else ./cosupdate-history.
std::string historyDirectory();

// "<platform id>_<FC>.history" in `directory`: the platform id with every
// byte but letters, digits, '.', '-' escaped as %XX, the FC in hex ("none"
// when empty, "unknown" when it could not be read); either as
// "sha256-<digest>" when it would be longer than 64 characters.
std::string chipHistoryFile(const std::string& directory, const std::string& platformId,
                            const std::optional<Bytes>& fc);
// For a chip whose FE could not be read.
std::string unidentifiedHistoryFile(const std::string& directory);

// The *.history files in `directory`, sorted; none when it does not exist.
std::vector<std::string> historyFilesIn(const std::string& directory);

struct CorruptLine {
    std::string file;
    size_t line = 0;  // from 1
    std::string reason;
};

struct HistoryListing {
    std::vector<Json> records;  // oldest first
    std::vector<CorruptLine> corrupt;
};

class HistoryFile {
  public:
    // A history the caller holds the lock of: the simulated chip's, whose
    // state file lock covers it.
    static HistoryFile underChipLock(std::string path) {
        return HistoryFile(std::move(path), false);
    }
    // A history locked on its own.
    static HistoryFile withOwnLock(std::string path) { return HistoryFile(std::move(path), true); }

    const std::string& path() const { return m_path; }

    // Appends `record` as one line, on disk when this returns; creates the
    // file and missing directories. Throws ToolError naming the file.
    void append(const Json& record, const ChipLock::WaitNotice& notice) const;

    // Every record; a line that is not one (recordFault) is listed as
    // corrupt instead. A missing file holds none. Throws ToolError naming the
    // file when it cannot be read.
    HistoryListing read(const ChipLock::WaitNotice& notice) const;

  private:
    HistoryFile(std::string path, bool ownLock) : m_path(std::move(path)), m_ownLock(ownLock) {}
    // Null when the caller holds the lock.
    std::unique_ptr<ChipLock> lock(const ChipLock::WaitNotice& notice) const;

    std::string m_path;
    bool m_ownLock;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_HISTORY_FILE_H
