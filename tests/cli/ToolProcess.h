// A program run as a child process the way a user runs it: its standard
// input, where its stdout and stderr go (captured, a terminal, a pipe whose
// reader is gone, a full device), the limits it runs under, and what comes
// back. stderr can be read line by line while the child runs, so a test can
// act after a chosen line, or stop reading altogether.

#ifndef COSUPDATE_TESTS_CLI_TOOL_PROCESS_H
#define COSUPDATE_TESTS_CLI_TOOL_PROCESS_H

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cosupdate::test {

std::string readFile(const std::filesystem::path& path);

// Owns a file descriptor: closed once, when it is replaced or goes.
class Fd {
  public:
    Fd() = default;
    explicit Fd(int fd) : m_fd(fd) {}
    ~Fd() { reset(); }
    Fd(Fd&& other) noexcept : m_fd(other.release()) {}
    Fd& operator=(Fd&& other) noexcept {
        reset(other.release());
        return *this;
    }
    int get() const { return m_fd; }
    int release() { return std::exchange(m_fd, -1); }
    void reset(int fd = -1);

  private:
    int m_fd = -1;
};

struct ToolResult {
    int status = -1;  // the exit status; -1 when a signal ended it
    int signal = 0;   // the signal that ended it, if one did
    std::string out;  // empty unless stdout was captured
    std::string err;  // what was read of stderr, the lines read while it ran included

    std::string describe() const;
};

// Where the child's stdout or stderr goes.
enum class Output {
    Captured,    // read back into ToolResult (stderr: a pipe of one page, see readUntil)
    Terminal,    // stderr only: a pseudo-terminal, read like the pipe
    Stderr,      // stdout only: wherever stderr goes (2>&1)
    ClosedPipe,  // a pipe whose reader is gone: every write fails with EPIPE
    Full,        // /dev/full: every write fails with ENOSPC
};

struct ProcessSetup {
    std::optional<std::string> input;  // written to stdin before stderr is read; else /dev/null
    Output out = Output::Captured;
    Output err = Output::Captured;
    bool noFileSpace = false;  // RLIMIT_FSIZE 0: every write to a file fails with EFBIG
    bool asNobody = false;     // run as user nobody when the test runs as root
};

// The exit status of a child that could not become the program (exec failed,
// or it could not become nobody); stderr then starts with "exec failed".
constexpr int kNotStarted = 127;

class Process {
  public:
    using Finished = std::function<void(const ToolResult&)>;

    // Starts argv[0] with the test's environment and the default action for
    // every signal the tests send; `finished` sees the result of finish().
    Process(const std::vector<std::string>& argv, const ProcessSetup& setup = {},
            Finished finished = {});
    ~Process();  // kills and reaps a child still running
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // Reads stderr until a line for which `stop` is true (true) or its end.
    // The pipe holds one page, so the child cannot run far ahead of the reader.
    bool readUntil(const std::function<bool(const std::string&)>& stop);
    // The test reads no more: the child's next write to stderr fails (EPIPE).
    void stopReading();
    // Whether the child still runs after `milliseconds`.
    bool runsAfter(int milliseconds);
    void signal(int number) const;
    // Reads stderr to its end and waits for the child.
    ToolResult finish();

  private:
    bool readMore();

    pid_t m_pid = -1;
    Fd m_err;  // the end of stderr the test reads
    Fd m_out;  // the captured stdout
    std::string m_errText;
    size_t m_scanned = 0;
    Finished m_finished;
};

// Runs to the end.
ToolResult runProcess(const std::vector<std::string>& argv, const ProcessSetup& setup = {});

// `program` with `args`, behind the emulator of a cross build.
std::vector<std::string> commandLine(const std::string& program,
                                     const std::vector<std::string>& args);

}  // namespace cosupdate::test

#endif  // COSUPDATE_TESTS_CLI_TOOL_PROCESS_H
