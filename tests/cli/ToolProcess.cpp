#include "ToolProcess.h"

#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
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

// One page: the child runs only a few lines ahead of what the test read.
constexpr int kPipeSize = 4096;
constexpr uid_t kNobody = 65534;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

// A stream of the child: `child` becomes its descriptor; `test` is the end
// the test keeps, if any.
struct Stream {
    Fd child;
    Fd test;
};

Stream openPipe(bool childReads) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail("pipe");
    }
    Fd read(ends[0]);
    Fd write(ends[1]);
    return childReads ? Stream{std::move(read), std::move(write)}
                      : Stream{std::move(write), std::move(read)};
}

Stream openTerminal() {
    Fd master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (master.get() < 0 || grantpt(master.get()) != 0 || unlockpt(master.get()) != 0) {
        fail("pseudo-terminal");
    }
    Fd slave(open(ptsname(master.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios mode{};
    tcgetattr(slave.get(), &mode);
    cfmakeraw(&mode);  // bytes as written, no "\r\n" for "\n"
    tcsetattr(slave.get(), TCSANOW, &mode);
    return {std::move(slave), std::move(master)};
}

Fd openDevice(const char* path, int flags) {
    Fd device(open(path, flags | O_CLOEXEC));
    if (device.get() < 0) {
        fail(path);
    }
    return device;
}

Stream openOutput(Output output, bool isStderr) {
    switch (output) {
        case Output::Captured: {
            if (isStderr) {
                Stream stream = openPipe(false);
                fcntl(stream.test.get(), F_SETPIPE_SZ, kPipeSize);
                return stream;
            }
            // A file of its own, nowhere in a directory the test lists.
            Fd file(memfd_create("stdout", MFD_CLOEXEC));
            Fd child(fcntl(file.get(), F_DUPFD_CLOEXEC, 0));
            if (child.get() < 0) {
                fail("stdout file");
            }
            return {std::move(child), std::move(file)};
        }
        case Output::ClosedPipe: {
            Stream stream = openPipe(false);
            stream.test.reset();  // nobody will ever read
            return stream;
        }
        case Output::Full:
            return {openDevice("/dev/full", O_WRONLY), Fd()};
        case Output::Terminal:
            if (isStderr) {
                return openTerminal();
            }
            break;
        case Output::Stderr:
            if (!isStderr) {
                return {};  // set up with stderr
            }
            break;
    }
    throw std::invalid_argument("no such place for the child's output");
}

// What the child does between fork and exec: only calls that are safe there.
struct ChildPlan {
    std::vector<char*> argv;
    int in;
    int out;
    int err;
    bool noFileSpace;
    bool asNobody;
};

void say(const char* text) {
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, std::strlen(text));
}

[[noreturn]] void becomeProgram(const ChildPlan& plan) {
    for (int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        ::signal(number, SIG_DFL);
    }
    dup2(plan.in, STDIN_FILENO);
    dup2(plan.err, STDERR_FILENO);
    dup2(plan.out, STDOUT_FILENO);
    if (plan.noFileSpace) {
        ::signal(SIGXFSZ, SIG_IGN);  // a write fails with EFBIG instead
        const rlimit none{0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
    }
    if (plan.asNobody && geteuid() == 0 &&
        (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
        say("exec failed: cannot become nobody\n");
        _exit(kNotStarted);
    }
    execv(plan.argv[0], plan.argv.data());
    say("exec failed: ");
    say(std::strerror(errno));
    say("\n");
    _exit(kNotStarted);
}

void writeAll(int fd, const std::string& text) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;  // the child stopped reading: what it read is its input
        }
        done += static_cast<size_t>(written);
    }
}

std::string readAll(int fd) {
    std::string text;
    char buffer[kPipeSize];
    for (off_t at = 0;;) {
        const ssize_t size = pread(fd, buffer, sizeof buffer, at);
        if (size <= 0) {
            return text;
        }
        text.append(buffer, static_cast<size_t>(size));
        at += size;
    }
}

}  // namespace

void Fd::reset(int fd) {
    if (m_fd >= 0) {
        close(m_fd);
    }
    m_fd = fd;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string ToolResult::describe() const {
    return "exit status " + std::to_string(status) +
           (signal != 0 ? " (signal " + std::to_string(signal) + ")" : "") + "\n--- stdout\n" +
           out + "--- stderr\n" + err;
}

Process::Process(const std::vector<std::string>& argv, const ProcessSetup& setup, Finished finished)
    : m_finished(std::move(finished)) {
    // The test must survive a child that stops reading its input.
    ::signal(SIGPIPE, SIG_IGN);
    Stream in = setup.input ? openPipe(true) : Stream{openDevice("/dev/null", O_RDONLY), Fd()};
    Stream err = openOutput(setup.err, true);
    Stream out = openOutput(setup.out, false);
    ChildPlan plan{{},
                   in.child.get(),
                   setup.out == Output::Stderr ? err.child.get() : out.child.get(),
                   err.child.get(),
                   setup.noFileSpace,
                   setup.asNobody};
    for (const std::string& arg : argv) {
        plan.argv.push_back(const_cast<char*>(arg.c_str()));
    }
    plan.argv.push_back(nullptr);

    m_pid = fork();
    if (m_pid == 0) {
        becomeProgram(plan);
    }
    if (m_pid < 0) {
        fail("fork");
    }
    m_err = std::move(err.test);
    m_out = std::move(out.test);
    in.child.reset();
    err.child.reset();
    out.child.reset();
    if (setup.input) {
        // Returns once the child has read it all, or has gone.
        writeAll(in.test.get(), *setup.input);
    }
}

Process::~Process() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
}

bool Process::readMore() {
    char buffer[kPipeSize];
    while (m_err.get() >= 0) {
        const ssize_t size = read(m_err.get(), buffer, sizeof buffer);
        if (size > 0) {
            m_errText.append(buffer, static_cast<size_t>(size));
            return true;
        }
        // EIO: a terminal whose other side is closed.
        if (size == 0 || errno != EINTR) {
            return false;
        }
    }
    return false;
}

bool Process::readUntil(const std::function<bool(const std::string&)>& stop) {
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

void Process::stopReading() {
    m_err.reset();
}

bool Process::runsAfter(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT);
    return info.si_pid == 0;
}

void Process::signal(int number) const {
    kill(m_pid, number);
}

ToolResult Process::finish() {
    while (readMore()) {
    }
    int wait = 0;
    while (waitpid(m_pid, &wait, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    ToolResult result;
    result.status = WIFEXITED(wait) ? WEXITSTATUS(wait) : -1;
    result.signal = WIFSIGNALED(wait) ? WTERMSIG(wait) : 0;
    result.out = m_out.get() >= 0 ? readAll(m_out.get()) : "";
    result.err = m_errText;
    if (m_finished) {
        m_finished(result);
    }
    return result;
}

ToolResult runProcess(const std::vector<std::string>& argv, const ProcessSetup& setup) {
    return Process(argv, setup).finish();
}

std::vector<std::string> commandLine(const std::string& program,
                                     const std::vector<std::string>& args) {
    std::vector<std::string> line;
    if (std::strlen(COSUPDATE_TOOL_LAUNCHER) != 0) {
        line.push_back(COSUPDATE_TOOL_LAUNCHER);  // a cross build's emulator
    }
    line.push_back(program);
    line.insert(line.end(), args.begin(), args.end());
    return line;
}

}  // namespace cosupdate::test
