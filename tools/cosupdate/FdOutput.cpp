#include "FdOutput.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace cosupdate::cli {

FdOutput::~FdOutput() {
    drain();
}

bool FdOutput::drain() {
    const char* next = pbase();
    while (!m_error && next < pptr()) {
        const ssize_t written = ::write(m_fd, next, static_cast<size_t>(pptr() - next));
        if (written > 0) {
            next += written;
        } else if (written == 0) {
            m_error = EIO;  // no progress, and no reason given
        } else if (errno != EINTR) {
            m_error = errno;
        }
    }
    setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
    return !m_error;
}

FdOutput::int_type FdOutput::overflow(int_type c) {
    if (!drain()) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

int FdOutput::sync() {
    return drain() ? 0 : -1;
}

std::optional<std::string> writeFailure(std::ostream& stream) {
    stream.flush();
    if (stream.good()) {
        return std::nullopt;
    }
    if (const auto* output = dynamic_cast<const FdOutput*>(stream.rdbuf())) {
        if (output->error()) {
            return std::strerror(*output->error());
        }
    }
    return "write error";
}

}  // namespace cosupdate::cli
