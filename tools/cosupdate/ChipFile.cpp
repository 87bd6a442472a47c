#include "ChipFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "Errors.h"
#include "cosim/StateFile.h"

namespace cosupdate::cli {

namespace fs = std::filesystem;

namespace {

bool isSet(const char* value) {
    return value != nullptr && value[0] != '\0';
}

// The parser's messages start "chip state, line N: ..." or "chip state: ...";
// ours name the file instead.
std::string withoutPrefix(const std::string& message) {
    for (const char* prefix : {"chip state, ", "chip state: "}) {
        const std::string start = prefix;
        if (message.compare(0, start.size(), start) == 0) {
            return message.substr(start.size());
        }
    }
    return message;
}

}  // namespace

std::optional<std::string> stateDirectory(const char* xdgStateHome, const char* home) {
    if (isSet(xdgStateHome)) {
        return (fs::path(xdgStateHome) / "cosupdate").string();
    }
    if (isSet(home)) {
        return (fs::path(home) / ".local" / "state" / "cosupdate").string();
    }
    return std::nullopt;
}

std::optional<std::string> stateDirectory() {
    return stateDirectory(std::getenv("XDG_STATE_HOME"), std::getenv("HOME"));
}

std::string defaultChipFile(const char* xdgStateHome, const char* home) {
    const std::optional<std::string> directory = stateDirectory(xdgStateHome, home);
    return directory ? (fs::path(*directory) / "chip.state").string() : "cosupdate-chip.state";
}

std::string defaultChipFile() {
    return defaultChipFile(std::getenv("XDG_STATE_HOME"), std::getenv("HOME"));
}

bool ChipFile::exists() const {
    std::error_code error;
    return fs::exists(m_path, error);
}

std::unique_ptr<ChipLock> ChipFile::lock(bool wait, const ChipLock::WaitNotice& notice) const {
    const std::string target = usableTarget();
    createDirectoryOf(target);
    auto lock =
        std::make_unique<ChipLock>(target + ".lock", "chip state file " + m_path, wait, notice);
    cosim::removeStaleTemporaryFiles(target);
    return lock;
}

cosim::ChipState ChipFile::load() const {
    usableTarget();
    std::ifstream file(m_path, std::ios::binary);
    if (!file) {
        throw ToolError("chip state file " + m_path + ": cannot read: " + std::strerror(errno));
    }
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (file.bad()) {
        throw ToolError("chip state file " + m_path + ": cannot read");
    }
    try {
        return cosim::parseState(text);
    } catch (const cosim::StateFileError& e) {
        throw ToolError("chip state file " + m_path + " is corrupt: " + withoutPrefix(e.what()));
    }
}

cosim::ChipState ChipFile::loadOrCreate() const {
    if (!exists()) {
        save(cosim::ChipState::factoryDefault());
    }
    return load();
}

void ChipFile::save(const cosim::ChipState& state) const {
    createDirectoryOf(usableTarget());
    try {
        cosim::saveStateFile(m_path, state);
    } catch (const cosim::StateFileError& e) {
        throw ToolError(e.what());
    }
}

// The file the path stands for, refused unless missing or a regular file.
std::string ChipFile::usableTarget() const {
    try {
        const std::string target = cosim::stateFileTarget(m_path);
        cosim::requireRegularStateFile(target);
        return target;
    } catch (const cosim::StateFileError& e) {
        throw ToolError(e.what());
    }
}

void ChipFile::createDirectoryOf(const std::string& target) const {
    const fs::path parent = fs::path(target).parent_path();
    std::error_code error;
    if (!parent.empty() && !fs::is_directory(parent, error)) {
        fs::create_directories(parent, error);
        if (error) {
            throw ToolError("chip state file " + m_path + ": cannot create " + parent.string() +
                            ": " + error.message());
        }
    }
}

}  // namespace cosupdate::cli
