#include "ToolProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace cosupdate::test {

namespace {

// Owns the descriptors of the pipes the parent keeps.
class Fd {
  public:
    explicit Fd(int fd = -1) : m_fd(fd) {}
    ~Fd() { reset(); }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return m_fd; }
    void reset(int fd = -1) {
        if (m_fd >= 0) {
            close(m_fd);
        }
        m_fd = fd;
    }

  private:
    int m_fd;
};

struct Pipe {
    Fd read;
    Fd write;
};

void openPipe(Pipe& pipe) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
    }
    pipe.read.reset(fds[0]);
    pipe.write.reset(fds[1]);
}

class SpawnActions {
  public:
    SpawnActions() { posix_spawn_file_actions_init(&m_actions); }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&m_actions); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    posix_spawn_file_actions_t* get() { return &m_actions; }

  private:
    posix_spawn_file_actions_t m_actions;
};

// Sets up `fd` of the child as `output` asks; `pipe` holds a pipe's write end
// until the child has it.
void routeOutput(SpawnActions& actions, int fd, Output output, const std::string& file,
                 Pipe& pipe) {
    switch (output) {
        case Output::File:
            posix_spawn_file_actions_addopen(actions.get(), fd, file.c_str(),
                                             O_WRONLY | O_CREAT | O_TRUNC, 0600);
            return;
        case Output::Full:
            posix_spawn_file_actions_addopen(actions.get(), fd, "/dev/full", O_WRONLY, 0);
            return;
        case Output::ClosedPipe:
            openPipe(pipe);
            pipe.read.reset();  // nobody will ever read
            posix_spawn_file_actions_adddup2(actions.get(), pipe.write.get(), fd);
            return;
    }
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

int waitFor(pid_t pid) {
    int wait = 0;
    while (waitpid(pid, &wait, 0) < 0 && errno == EINTR) {
    }
    return wait;
}

}  // namespace

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

ToolResult runProcess(std::vector<std::string> argv, const std::filesystem::path& scratch,
                      const ProcessSetup& setup) {
    // The parent must survive a child that stops reading its input.
    signal(SIGPIPE, SIG_IGN);
    std::vector<char*> pointers;
    for (std::string& arg : argv) {
        pointers.push_back(arg.data());
    }
    pointers.push_back(nullptr);
    const std::string files[] = {(scratch / ".out").string(), (scratch / ".err").string()};
    SpawnActions actions;
    Pipe input;
    if (setup.input) {
        openPipe(input);
        posix_spawn_file_actions_adddup2(actions.get(), input.read.get(), STDIN_FILENO);
    } else {
        posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    Pipe outPipe;
    Pipe errPipe;
    routeOutput(actions, STDOUT_FILENO, setup.out, files[0], outPipe);
    routeOutput(actions, STDERR_FILENO, setup.err, files[1], errPipe);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t pid = 0;
    const int spawned =
        posix_spawn(&pid, pointers[0], actions.get(), &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (spawned != 0) {
        throw std::runtime_error(argv[0] + ": " + std::strerror(spawned));
    }
    outPipe.write.reset();
    errPipe.write.reset();
    input.read.reset();
    if (setup.input) {
        // Returns once the child has read it all, or has gone.
        writeAll(input.write.get(), *setup.input);
        input.write.reset();
    }
    const int wait = waitFor(pid);
    ToolResult result;
    result.status = WIFEXITED(wait) ? WEXITSTATUS(wait) : -1;
    result.signal = WIFSIGNALED(wait) ? WTERMSIG(wait) : 0;
    result.out = setup.out == Output::File ? readFile(files[0]) : "";
    result.err = setup.err == Output::File ? readFile(files[1]) : "";
    return result;
}

void ToolTest::SetUp() {
    std::string dir = (std::filesystem::temp_directory_path() / "cosupdate-XXXXXX").string();
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    m_dir = dir;
    setenv("XDG_STATE_HOME", dir.c_str(), 1);
}

void ToolTest::TearDown() {
    checkJsonOutputs();
    std::filesystem::remove_all(m_dir);
}

ToolResult ToolTest::run(std::vector<std::string> args, const ProcessSetup& setup) {
    const auto optionsEnd = std::find(args.begin(), args.end(), "--");
    const bool json = std::find(args.begin(), optionsEnd, "--json") != optionsEnd;
    args.insert(args.begin(), COSUPDATE_TOOL);
    if (std::strlen(COSUPDATE_TOOL_LAUNCHER) != 0) {
        args.insert(args.begin(), COSUPDATE_TOOL_LAUNCHER);  // a cross build's emulator
    }
    ToolResult result = runProcess(args, m_dir, setup);
    if (json && setup.out == Output::File) {
        EXPECT_EQ(result.out.find('\n'), result.out.size() - 1)
            << "not one line of JSON: " << result.out;
        m_jsonOutputs.push_back(result.out);
    }
    return result;
}

std::string ToolTest::writeFile(const std::string& name, const std::string& content) const {
    std::ofstream(m_dir / name, std::ios::binary) << content;
    return (m_dir / name).string();
}

// One run of the validator for all of a test's outputs.
void ToolTest::checkJsonOutputs() const {
    if (m_jsonOutputs.empty()) {
        return;
    }
    ASSERT_STRNE(COSUPDATE_SCHEMA_PYTHON, "")
        << "no Python with jsonschema to check the JSON outputs: run scripts/setup";
    std::string outputs;
    for (const std::string& output : m_jsonOutputs) {
        outputs += output;
    }
    const std::string file = writeFile(".json-outputs", outputs);
    const ToolResult check = runProcess(
        {COSUPDATE_SCHEMA_PYTHON, COSUPDATE_JSON_CHECKER, COSUPDATE_JSON_SCHEMA, file}, m_dir);
    EXPECT_EQ(check.status, 0) << "outputs that do not conform to the schema:\n"
                               << check.out << check.err;
}

std::string exampleUpdate() {
    return std::string(COSUPDATE_EXAMPLES_DIR) + "/update.xml";
}

std::string brokenExamples() {
    return std::string(COSUPDATE_EXAMPLES_DIR) + "/broken";
}

}  // namespace cosupdate::test
