// The command line: global options, accepted before or after the command
// ("cosupdate --json update FILE" and "cosupdate update FILE --json" are the
// same), then the command and its arguments.

#ifndef COSUPDATE_CLI_COMMAND_LINE_H
#define COSUPDATE_CLI_COMMAND_LINE_H

#include <optional>
#include <string>
#include <vector>

#include "EngineLog.h"
#include "EngineSession.h"

namespace cosupdate::cli {

struct Options {
    std::string transport = "sim";
    bool transportGiven = false;
    std::string chipFile;    // empty: defaultChipFile()
    std::string recordFile;  // --record: the trace of the transport's calls, or empty
    AidSet aids;             // the simulated chip's unless given
    LogOptions log;
    bool logLevelGiven = false;
    bool json = false;
    bool help = false;
    bool version = false;
    bool wait = false;   // for a chip state file another process holds
    bool force = false;  // `chip reset` over a file that is not a chip state file
    std::string events;  // update: where events go, "-" for stdout; empty for none
    // history: only the records of chips with this platform id, this FC.
    std::optional<std::string> platformFilter;
    std::optional<Bytes> fcFilter;
};

struct Invocation {
    Options options;
    std::vector<std::string> words;  // the command and its arguments
    // The first thing wrong with the command line (an unknown option, a
    // missing or bad value), or empty. The rest is parsed all the same, so
    // that a failure still names the command and answers in JSON if asked.
    std::string error;
};

// `args` without the program name. Never throws.
Invocation parseCommandLine(const std::vector<std::string>& args);

// The AID an --aid-* option gives: 3 to 16 bytes of hex.
Bytes parseAid(const std::string& text, const std::string& option);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_COMMAND_LINE_H
