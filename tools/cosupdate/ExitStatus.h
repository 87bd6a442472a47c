// The exit statuses of cosupdate, as its manual in README.md lists them. Scripts
// tell an update that was deployed, one that had nothing to do and one that
// failed apart by these.

#ifndef COSUPDATE_CLI_EXIT_STATUS_H
#define COSUPDATE_CLI_EXIT_STATUS_H

namespace cosupdate::cli {

enum class ExitStatus : int {
    Ok = 0,            // done; `update`: deployed; `check`: an update applies
    Error = 1,         // failed: I/O, transport, the library, the chip state file
    Usage = 2,         // the command line is wrong
    NothingToDo = 3,   // `update`, `check`: no update applies to the chip
    UpdateFailed = 4,  // `update`: a script failed or did not verify
    InvalidFile = 5,   // the library refused the update file
    Interrupted = 6,   // stopped by SIGINT, SIGTERM or SIGHUP; run it again to resume
};

inline int toInt(ExitStatus status) {
    return static_cast<int>(status);
}

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_EXIT_STATUS_H
