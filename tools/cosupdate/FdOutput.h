// An output stream buffer over a file descriptor that remembers why a write
// failed. The tool's stdout and stderr are these: a reader that went away
// (EPIPE, with SIGPIPE ignored) or a full device (ENOSPC) must not stop an
// update, but must be told afterwards.

#ifndef COSUPDATE_CLI_FD_OUTPUT_H
#define COSUPDATE_CLI_FD_OUTPUT_H

#include <array>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>

namespace cosupdate::cli {

class FdOutput : public std::streambuf {
  public:
    // Borrows `fd`; never closes it.
    explicit FdOutput(int fd) : m_fd(fd) {
        setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
    }
    ~FdOutput() override;
    FdOutput(const FdOutput&) = delete;
    FdOutput& operator=(const FdOutput&) = delete;

    // The errno of the first failed write. After it, output is dropped.
    std::optional<int> error() const { return m_error; }

  protected:
    int_type overflow(int_type c) override;
    int sync() override;

  private:
    bool drain();

    int m_fd;
    std::optional<int> m_error;
    std::array<char, 4096> m_buffer{};
};

// Why nothing more could be written to `stream` ("Broken pipe"), once it is
// flushed; nothing when all of it was written.
std::optional<std::string> writeFailure(std::ostream& stream);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_FD_OUTPUT_H
