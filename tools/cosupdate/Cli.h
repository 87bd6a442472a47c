// The tool as a function: arguments in, output on the given streams, exit
// status out. main() only supplies the process's streams and terminal state.

#ifndef COSUPDATE_CLI_CLI_H
#define COSUPDATE_CLI_CLI_H

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace cosupdate::cli {

struct Terminal {
    bool interactive = false;  // stderr is a terminal: progress rewrites one line
    size_t width = 80;
};

// `args` without the program name. Never throws.
int runCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
           const Terminal& terminal);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_CLI_H
