// cosupdate: updates the COS of a secure element from the command line.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <ostream>
#include <string>
#include <vector>

#include "Cli.h"
#include "FdOutput.h"
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

// A standard stream the caller closed is /dev/null: otherwise the next file
// the tool opens (the chip state file) would get its number, and the tool's
// messages would be written into it.
void keepStandardStreamsOpen() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDWR) != fd) {
            _exit(1);
        }
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    keepStandardStreamsOpen();
    // A reader that goes away is a write error to report, not a reason to stop.
    std::signal(SIGPIPE, SIG_IGN);
    cosupdate::cli::installStopHandlers();
    const std::vector<std::string> args(argv + 1, argv + argc);
    cosupdate::cli::FdOutput outBuffer(STDOUT_FILENO);
    cosupdate::cli::FdOutput errBuffer(STDERR_FILENO);
    std::ostream out(&outBuffer);
    std::ostream err(&errBuffer);
    return cosupdate::cli::runCli(args, out, err, stderrTerminal());
}
