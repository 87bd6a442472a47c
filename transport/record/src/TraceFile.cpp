#include "TraceFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace cosupdate::trace {

TraceFile::TraceFile(std::string path) : m_path(std::move(path)) {
    // O_APPEND: lines land whole at the end even if someone else appends too.
    m_fd = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    if (m_fd < 0) {
        fail(std::strerror(errno));
    }
}

TraceFile::~TraceFile() {
    if (m_fd >= 0) {
        ::fsync(m_fd);
        ::close(m_fd);
    }
}

void TraceFile::append(std::string_view line) {
    if (m_error) {
        return;
    }
    ssize_t written = -1;
    do {
        written = ::write(m_fd, line.data(), line.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        fail(std::strerror(errno));
    } else if (static_cast<size_t>(written) != line.size()) {
        fail("only " + std::to_string(written) + " of " + std::to_string(line.size()) +
             " bytes of a line were written");
    }
}

void TraceFile::fail(const std::string& what) {
    if (!m_error) {
        m_error = m_path + ": " + what;
    }
}

}  // namespace cosupdate::trace
