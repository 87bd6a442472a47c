#include "EventStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "Errors.h"

namespace cosupdate::cli {

namespace {

constexpr char kStandardOutput[] = "-";

// The same file by inode, or, when one is missing, by path.
bool sameFile(const std::string& a, const std::string& b) {
    struct stat first {};
    struct stat second {};
    if (::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0) {
        return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
    }
    std::error_code errorA;
    std::error_code errorB;
    const auto pathA = std::filesystem::weakly_canonical(a, errorA);
    const auto pathB = std::filesystem::weakly_canonical(b, errorB);
    return !errorA && !errorB && pathA == pathB;
}

}  // namespace

EventStream::EventStream(const std::string& path, std::ostream& standardOutput,
                         const std::vector<std::string>& keep)
    : m_path(path), m_out(&standardOutput) {
    if (path == kStandardOutput) {
        return;
    }
    for (const std::string& other : keep) {
        if (sameFile(path, other)) {
            throw ToolError("--events " + path + ": that is " + other +
                            ", which the events would overwrite");
        }
    }
    m_fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (m_fd < 0) {
        throw ToolError("--events " + path + ": cannot open: " + std::strerror(errno));
    }
    m_buffer = std::make_unique<FdOutput>(m_fd);
    m_file = std::make_unique<std::ostream>(m_buffer.get());
    m_out = m_file.get();
}

EventStream::~EventStream() {
    m_file.reset();
    m_buffer.reset();  // drains what is left before the descriptor goes
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

void EventStream::write(const Json& event) {
    *m_out << event.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
    m_out->flush();
}

std::optional<std::string> EventStream::failure() {
    return writeFailure(*m_out);
}

}  // namespace cosupdate::cli
