#include "EventStream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Errors.h"

namespace cosupdate::cli {

namespace {
constexpr char kStandardOutput[] = "-";
}  // namespace

EventStream::EventStream(const std::string& path, std::ostream& standardOutput)
    : m_path(path), m_out(&standardOutput) {
    if (path == kStandardOutput) {
        return;
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
