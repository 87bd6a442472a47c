#include "HistoryFile.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "ChipFile.h"
#include "Errors.h"
#include "HistoryRecord.h"
#include "Sha256.h"
#include "cosim/DurableFile.h"
#include "cosim/StateFile.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

namespace fs = std::filesystem;

namespace {

constexpr char kSuffix[] = ".history";
constexpr size_t kMaxComponent = 64;

std::string shortened(const std::string& component, const std::string& original) {
    return component.size() <= kMaxComponent ? component : "sha256-" + sha256Hex(original);
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) || c == '.' || c == '-') {
            result += c;
        } else {
            char escape[4];
            std::snprintf(escape, sizeof escape, "%%%02X", byte);
            result += escape;
        }
    }
    // A leading dot would hide the file.
    return !result.empty() && result[0] == '.' ? "%2E" + result.substr(1) : result;
}

void createDirectoryOf(const std::string& path) {
    const fs::path parent = fs::path(path).parent_path();
    std::error_code error;
    if (!parent.empty() && !fs::is_directory(parent, error)) {
        fs::create_directories(parent, error);
        if (error) {
            throw ToolError("update history " + path + ": cannot create " + parent.string() + ": " +
                            error.message());
        }
    }
}

// The record a line holds, or why it holds none.
std::optional<Json> parseLine(const std::string& text, std::string& reason) {
    const Json record = Json::parse(text, nullptr, false);
    if (record.is_discarded()) {
        reason = "not JSON";
        return std::nullopt;
    }
    if (const std::optional<std::string> fault = recordFault(record)) {
        reason = *fault;
        return std::nullopt;
    }
    return record;
}

}  // namespace

std::string simHistoryFile(const std::string& chipFile) {
    try {
        return cosim::stateFileTarget(chipFile) + kSuffix;
    } catch (const cosim::StateFileError& e) {
        throw ToolError(e.what());
    }
}

std::string historyDirectory() {
    const std::optional<std::string> state = stateDirectory();
    return state ? (fs::path(*state) / "history").string() : "cosupdate-history";
}

std::string chipHistoryFile(const std::string& directory, const std::string& platformId,
                            const std::optional<Bytes>& fc) {
    std::string fcPart = "unknown";
    if (fc) {
        fcPart = fc->empty() ? "none" : shortened(apdu::encodeHex(*fc), {fc->begin(), fc->end()});
    }
    const std::string name = shortened(escaped(platformId), platformId) + "_" + fcPart + kSuffix;
    return (fs::path(directory) / name).string();
}

std::string unidentifiedHistoryFile(const std::string& directory) {
    return (fs::path(directory) / (std::string("unidentified") + kSuffix)).string();
}

std::vector<std::string> historyFilesIn(const std::string& directory) {
    std::vector<std::string> files;
    std::error_code error;
    for (fs::directory_iterator it(directory, error), end; !error && it != end;
         it.increment(error)) {
        const fs::path& path = it->path();
        std::error_code kindError;
        if (path.extension() == kSuffix && fs::is_regular_file(it->status(kindError))) {
            files.push_back(path.string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::unique_ptr<ChipLock> HistoryFile::lock(const ChipLock::WaitNotice& notice) const {
    // Held only while a line is written or the file read: worth waiting for.
    return m_ownLock ? std::make_unique<ChipLock>(m_path + ".lock", "update history " + m_path,
                                                  true, notice)
                     : nullptr;
}

void HistoryFile::append(const Json& record, const ChipLock::WaitNotice& notice) const {
    createDirectoryOf(m_path);
    const std::unique_ptr<ChipLock> held = lock(notice);
    try {
        cosim::durable::appendLine(
            m_path, record.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
    } catch (const std::system_error& e) {
        throw ToolError("update history " + m_path + ": " + e.what());
    }
}

HistoryListing HistoryFile::read(const ChipLock::WaitNotice& notice) const {
    HistoryListing listing;
    std::error_code error;
    if (!fs::exists(m_path, error)) {
        return listing;
    }
    const std::unique_ptr<ChipLock> held = lock(notice);
    std::ifstream file(m_path, std::ios::binary);
    if (!file) {
        throw ToolError("update history " + m_path + ": cannot read: " + std::strerror(errno));
    }
    std::string text;
    for (size_t number = 1; std::getline(file, text); ++number) {
        std::string reason;
        if (text.empty()) {
            continue;  // holds nothing, and hides nothing
        }
        if (std::optional<Json> record = parseLine(text, reason)) {
            listing.records.push_back(std::move(*record));
        } else {
            listing.corrupt.push_back(CorruptLine{m_path, number, reason});
        }
    }
    if (file.bad()) {
        throw ToolError("update history " + m_path + ": cannot read");
    }
    return listing;
}

}  // namespace cosupdate::cli
