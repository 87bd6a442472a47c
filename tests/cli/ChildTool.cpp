#include "ChildTool.h"

#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace cosupdate::test {

namespace {

// One page: the child can run only a few APDUs ahead of what the test read.
constexpr int kPipeSize = 4096;
constexpr uid_t kNobody = 65534;

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::string> commandLine(const std::vector<std::string>& args,
                                     const ChildOptions& options) {
    std::vector<std::string> line;
    if (std::strlen(COSUPDATE_TOOL_LAUNCHER) != 0) {
        line.push_back(COSUPDATE_TOOL_LAUNCHER);  // a cross build's emulator
    }
    line.push_back(options.program.empty() ? COSUPDATE_TOOL : options.program);
    line.insert(line.end(), args.begin(), args.end());
    return line;
}

// The write end of stderr and the end the test reads.
std::pair<int, int> stderrChannel(bool terminal) {
    if (terminal) {
        const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
            throw std::runtime_error(std::string("pseudo-terminal: ") + std::strerror(errno));
        }
        const int slave = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios mode{};
        tcgetattr(slave, &mode);
        cfmakeraw(&mode);  // bytes as written, no "\r\n" for "\n"
        tcsetattr(slave, TCSANOW, &mode);
        return {slave, master};
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
    }
    fcntl(ends[0], F_SETPIPE_SZ, kPipeSize);
    return {ends[1], ends[0]};
}

[[noreturn]] void becomeTool(const std::vector<std::string>& line, const std::string& outFile,
                             int err, const ChildOptions& options) {
    for (int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        ::signal(number, SIG_DFL);
    }
    const int out = open(outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int in = open("/dev/null", O_RDONLY);
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    if (options.noFileSpace) {
        ::signal(SIGXFSZ, SIG_IGN);  // a write fails with EFBIG instead
        const rlimit none{0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
    }
    if (options.asNobody && geteuid() == 0 &&
        (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
        _exit(kNotStarted);
    }
    std::vector<char*> argv;
    for (const std::string& arg : line) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    const std::string why = std::string("exec failed: ") + std::strerror(errno) + "\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, why.data(), why.size());
    _exit(kNotStarted);
}

}  // namespace

std::string ChildResult::describe() const {
    return "exit status " + std::to_string(status) + ", signal " + std::to_string(signal) +
           "\n--- stdout\n" + out + "--- stderr\n" + err;
}

ChildTool::ChildTool(const std::vector<std::string>& args, const std::string& outFile,
                     const ChildOptions& options)
    : m_outFile(outFile) {
    const std::vector<std::string> line = commandLine(args, options);
    const auto [write, read] = stderrChannel(options.terminal);
    m_pid = fork();
    if (m_pid == 0) {
        becomeTool(line, outFile, write, options);
    }
    close(write);
    m_err = read;
    if (m_pid < 0) {
        throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    }
}

ChildTool::~ChildTool() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    close(m_err);
}

bool ChildTool::readMore() {
    char buffer[kPipeSize];
    for (;;) {
        const ssize_t size = read(m_err, buffer, sizeof buffer);
        if (size > 0) {
            m_errText.append(buffer, static_cast<size_t>(size));
            return true;
        }
        // EIO: a terminal whose other side is closed.
        if (size == 0 || errno != EINTR) {
            return false;
        }
    }
}

bool ChildTool::readUntil(const std::function<bool(const std::string&)>& stop) {
    for (;;) {
        const size_t end = m_errText.find('\n', m_scanned);
        if (end == std::string::npos) {
            if (!readMore()) {
                return false;
            }
            continue;
        }
        const std::string line = m_errText.substr(m_scanned, end - m_scanned);
        m_scanned = end + 1;
        if (stop(line)) {
            return true;
        }
    }
}

bool ChildTool::runsAfter(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT);
    return info.si_pid == 0;
}

void ChildTool::signal(int number) const {
    kill(m_pid, number);
}

ChildResult ChildTool::finish() {
    while (readMore()) {
    }
    int wait = 0;
    while (waitpid(m_pid, &wait, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    ChildResult result;
    result.status = WIFEXITED(wait) ? WEXITSTATUS(wait) : -1;
    result.signal = WIFSIGNALED(wait) ? WTERMSIG(wait) : 0;
    result.out = readFile(m_outFile);
    result.err = m_errText;
    return result;
}

ChildResult runChild(const std::vector<std::string>& args, const std::string& outFile,
                     const ChildOptions& options) {
    return ChildTool(args, outFile, options).finish();
}

}  // namespace cosupdate::test
