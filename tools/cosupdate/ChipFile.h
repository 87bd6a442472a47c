// The file that keeps the simulated chip between runs of the tool (the
// format of cosim/StateFile.h). A missing file is a factory-fresh chip; a
// symbolic link stands for its target.

#ifndef COSUPDATE_CLI_CHIP_FILE_H
#define COSUPDATE_CLI_CHIP_FILE_H

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "ChipLock.h"
#include "cosim/ChipState.h"

namespace cosupdate::cli {

// The tool's directory in the user's state directory: $XDG_STATE_HOME/cosupdate,
// else ~/.local/state/cosupdate; none without either variable (null or empty).
std::optional<std::string> stateDirectory(const char* xdgStateHome, const char* home);
std::optional<std::string> stateDirectory();

// $XDG_STATE_HOME/cosupdate/chip.state, else ~/.local/state/cosupdate/chip.state,
// else ./cosupdate-chip.state. Either variable may be null or empty.
std::string defaultChipFile(const char* xdgStateHome, const char* home);
// The same from the process environment.
std::string defaultChipFile();

class ChipFile {
  public:
    explicit ChipFile(std::string path) : m_path(std::move(path)) {}

    const std::string& path() const { return m_path; }
    bool exists() const;

    // Takes the chip for this process (ChipLock) and removes what crashed
    // saves left beside the file. Refuses a path that is not a regular file
    // first, and creates missing parent directories. Throws ToolError.
    std::unique_ptr<ChipLock> lock(bool wait, const ChipLock::WaitNotice& notice) const;

    // Throw ToolError naming the file (and the line at fault, or the OS's
    // reason).
    cosim::ChipState load() const;
    // A missing file is written with the factory state first.
    cosim::ChipState loadOrCreate() const;
    // Creates missing parent directories.
    void save(const cosim::ChipState& state) const;

  private:
    std::string usableTarget() const;
    void createDirectoryOf(const std::string& target) const;

    std::string m_path;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_CHIP_FILE_H
