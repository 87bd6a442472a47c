// cosupdate run as a process, as a user runs it: arguments, standard input,
// where stdout and stderr go (a file, a pipe nobody reads, a full device),
// and what comes back. ToolTest gives each test a directory of its own as
// $XDG_STATE_HOME, so its default chip state file, and checks every --json
// output the test produced against docs/cosupdate.schema.json.

#ifndef COSUPDATE_TESTS_CLI_TOOL_PROCESS_H
#define COSUPDATE_TESTS_CLI_TOOL_PROCESS_H

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace cosupdate::test {

std::string readFile(const std::filesystem::path& path);

struct ToolResult {
    int status = -1;  // the exit status; -1 when a signal ended it
    int signal = 0;   // the signal that ended it, if one did
    std::string out;  // empty unless the stream went to a file
    std::string err;

    std::string describe() const;
};

// Where the process's stdout or stderr goes.
enum class Output {
    File,        // a file, read back into ToolResult
    ClosedPipe,  // a pipe whose reader is gone: every write fails with EPIPE
    Full,        // /dev/full: every write fails with ENOSPC
};

struct ProcessSetup {
    std::optional<std::string> input;  // written to stdin through a pipe; else /dev/null
    Output out = Output::File;
    Output err = Output::File;
};

// Runs argv[0] with `argv` and the environment of the test; `scratch` holds
// the files the output goes to. SIGPIPE has its default action in the child.
ToolResult runProcess(std::vector<std::string> argv, const std::filesystem::path& scratch,
                      const ProcessSetup& setup = {});

class ToolTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // The tool with `args` (a cross build's emulator in front).
    ToolResult run(std::vector<std::string> args, const ProcessSetup& setup = {});

    std::string chipText() const { return readFile(m_dir / "cosupdate" / "chip.state"); }
    std::string writeFile(const std::string& name, const std::string& content) const;

    std::filesystem::path m_dir;

  private:
    void checkJsonOutputs() const;

    std::vector<std::string> m_jsonOutputs;
};

// The example update file and the directory of broken ones.
std::string exampleUpdate();
std::string brokenExamples();

}  // namespace cosupdate::test

#endif  // COSUPDATE_TESTS_CLI_TOOL_PROCESS_H
