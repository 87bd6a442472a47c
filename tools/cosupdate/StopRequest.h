// SIGINT, SIGTERM and SIGHUP ask a running command to stop: the transport
// refuses the next exchange (GuardedSEMedia), so that the library ends its
// operation between two APDUs and the next run resumes. A second signal ends
// the process at once.

#ifndef COSUPDATE_CLI_STOP_REQUEST_H
#define COSUPDATE_CLI_STOP_REQUEST_H

namespace cosupdate::cli {

// What the tool says when it stopped on a signal (exit status 6).
constexpr const char kInterruptedMessage[] = "interrupted: run the same command again to resume";

// Installs the handlers; they only record the request.
void installStopHandlers();

// Whether one of the signals arrived since installStopHandlers().
bool stopRequested();

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_STOP_REQUEST_H
