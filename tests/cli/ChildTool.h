// cosupdate started as a child process under conditions a test sets up: its
// stderr a small pipe (or a terminal) read line by line while it runs, so a
// signal can be sent after a chosen APDU; no room to write files; another
// user. stdout goes to a file.

#ifndef COSUPDATE_TESTS_CHILD_TOOL_H
#define COSUPDATE_TESTS_CHILD_TOOL_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace cosupdate::test {

struct ChildOptions {
    bool terminal = false;     // stderr is a pseudo-terminal, not a pipe
    bool noFileSpace = false;  // RLIMIT_FSIZE 0: every write to a file fails
    bool asNobody = false;     // run as user nobody when the test runs as root
    std::string program = "";  // default: the cosupdate under test
};

struct ChildResult {
    int status = -1;  // exit status; -1 when a signal ended it
    int signal = 0;   // the signal that ended it
    std::string out;
    std::string err;  // everything, the lines already read included

    std::string describe() const;
};

class ChildTool {
  public:
    // The child's stdout goes to `outFile`.
    ChildTool(const std::vector<std::string>& args, const std::string& outFile,
              const ChildOptions& options = {});
    ~ChildTool();  // kills and reaps a child still running
    ChildTool(const ChildTool&) = delete;
    ChildTool& operator=(const ChildTool&) = delete;

    pid_t pid() const { return m_pid; }
    // Reads stderr until a line for which `stop` is true (true) or its end.
    bool readUntil(const std::function<bool(const std::string&)>& stop);
    // Whether the child is still running after `milliseconds`.
    bool runsAfter(int milliseconds);
    void signal(int number) const;
    // Reads stderr to its end and waits for the child.
    ChildResult finish();

  private:
    bool readMore();

    pid_t m_pid = -1;
    int m_err = -1;
    std::string m_outFile;
    std::string m_errText;
    size_t m_scanned = 0;
};

// Runs to the end.
ChildResult runChild(const std::vector<std::string>& args, const std::string& outFile,
                     const ChildOptions& options = {});

// The tool's exit status when it could not even be started (exec failed).
constexpr int kNotStarted = 127;

}  // namespace cosupdate::test

#endif  // COSUPDATE_TESTS_CHILD_TOOL_H
