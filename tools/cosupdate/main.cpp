// cosupdate: updates the COS of a secure element from the command line.

#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "Cli.h"
#include "StopRequest.h"

namespace {

cosupdate::cli::Terminal stderrTerminal() {
    cosupdate::cli::Terminal terminal;
    terminal.interactive = isatty(STDERR_FILENO) == 1;
    winsize size{};
    if (terminal.interactive && ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        terminal.width = size.ws_col;
    }
    return terminal;
}

}  // namespace

int main(int argc, char* argv[]) {
    cosupdate::cli::installStopHandlers();
    const std::vector<std::string> args(argv + 1, argv + argc);
    return cosupdate::cli::runCli(args, std::cout, std::cerr, stderrTerminal());
}
