#include "ToolProcess.h"

#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

extern char** environ;

namespace clitest {

namespace {

class Pipe {
  public:
    Pipe() {
        if (pipe(m_fds) != 0) {
            throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
        }
    }
    ~Pipe() {
        closeRead();
        closeWrite();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int readEnd() const { return m_fds[0]; }
    int writeEnd() const { return m_fds[1]; }
    void closeRead() { closeFd(m_fds[0]); }
    void closeWrite() { closeFd(m_fds[1]); }

  private:
    static void closeFd(int& fd) {
        if (fd >= 0) {
            close(fd);
            fd = -1;
        }
    }
    int m_fds[2] = {-1, -1};
};

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('='));
        if (changes.count(name) == 0) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : changes) {
        if (!value.empty()) {
            result.push_back(name + "=" + value);
        }
    }
    return result;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (std::string& s : strings) {
        result.push_back(s.data());
    }
    result.push_back(nullptr);
    return result;
}

// Both pipes drained together, so that neither can fill up and block the tool.
void drain(Pipe& out, Pipe& err, ToolResult& result) {
    pollfd fds[2] = {{out.readEnd(), POLLIN, 0}, {err.readEnd(), POLLIN, 0}};
    std::string* sinks[2] = {&result.out, &result.err};
    int open = 2;
    while (open > 0) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw std::runtime_error(std::string("poll: ") + std::strerror(errno));
        }
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
                continue;
            }
            char buffer[4096];
            const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                fds[i].fd = -1;
                --open;
            }
        }
    }
}

}  // namespace

std::vector<std::string> ToolResult::errLines() const {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < err.size()) {
        const size_t end = err.find('\n', start);
        lines.push_back(err.substr(start, end == std::string::npos ? end : end - start));
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    return lines;
}

std::string ToolResult::describe() const {
    return "exit status " + std::to_string(status) +
           (signal != 0 ? ", signal " + std::to_string(signal) : "") + "\n--- stdout\n" + out +
           "--- stderr\n" + err;
}

ToolResult runTool(const std::vector<std::string>& args,
                   const std::map<std::string, std::string>& environment) {
    std::vector<std::string> argv;
    const std::string launcher = COSUPDATE_TOOL_LAUNCHER;
    if (!launcher.empty()) {
        argv.push_back(launcher);  // the emulator of a cross build
    }
    argv.push_back(COSUPDATE_TOOL);
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<std::string> env = environmentWith(environment);

    Pipe out;
    Pipe err;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out.writeEnd(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.writeEnd(), STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, out.readEnd());
    posix_spawn_file_actions_addclose(&actions, err.readEnd());
    std::vector<char*> argvPointers = pointers(argv);
    std::vector<char*> envPointers = pointers(env);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv.front().c_str(), &actions, nullptr,
                                    argvPointers.data(), envPointers.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        throw std::runtime_error("cannot run " + argv.front() + ": " + std::strerror(spawned));
    }
    out.closeWrite();
    err.closeWrite();

    ToolResult result;
    drain(out, err, result);
    int waitStatus = 0;
    while (waitpid(pid, &waitStatus, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(waitStatus)) {
        result.status = WEXITSTATUS(waitStatus);
    } else if (WIFSIGNALED(waitStatus)) {
        result.signal = WTERMSIG(waitStatus);
    }
    return result;
}

std::string examplePath(const std::string& name) {
    return std::string(COSUPDATE_EXAMPLES_DIR) + "/" + name;
}

}  // namespace clitest
