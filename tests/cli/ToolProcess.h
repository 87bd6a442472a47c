// Runs the built cosupdate as a process, as a user would: its arguments, an
// environment, and what it wrote on stdout and stderr with its exit status.

#ifndef COSUPDATE_CLI_TESTS_TOOL_PROCESS_H
#define COSUPDATE_CLI_TESTS_TOOL_PROCESS_H

#include <map>
#include <string>
#include <vector>

namespace clitest {

struct ToolResult {
    int status = -1;  // exit status; -1 when killed by a signal
    int signal = 0;   // the signal that ended it, if any
    std::string out;
    std::string err;

    std::vector<std::string> errLines() const;
    std::string describe() const;  // for failure messages
};

// `environment` adds to or replaces variables of the test's own environment;
// an empty value removes the variable.
ToolResult runTool(const std::vector<std::string>& args,
                   const std::map<std::string, std::string>& environment = {});

std::string examplePath(const std::string& name);

}  // namespace clitest

#endif  // COSUPDATE_CLI_TESTS_TOOL_PROCESS_H
