#include "Help.h"

#include "Transport.h"

namespace cosupdate::cli {

namespace {

constexpr const char kUsage[] = R"(usage: cosupdate [OPTIONS] COMMAND [ARGS]

Updates the card operating system (COS) of a secure element with an update
file, through libnativecosupdateapi-zelmar.so.

Commands:
  validate FILE          load and validate an update file (no chip needed)
  check FILE             tell whether an update applies, and which script
  update FILE            run the update, with progress and a summary
  info FC|FD|FE          print a COS data object's bytes in hex
  chip show|reset|set    the simulated chip's state (--transport sim)
  history                the updates that touched a chip, newest first
  help [COMMAND]         this text, or a command's
FILE "-" is standard input.

Options (before or after the command):
  --transport NAME[:ARG] how to reach the secure element (default: sim)
  --chip FILE            the simulated chip's state file
                         (default: $XDG_STATE_HOME/cosupdate/chip.state,
                         else ~/.local/state/cosupdate/chip.state,
                         else ./cosupdate-chip.state)
  --record FILE          write every call to the secure element's transport to
                         the trace FILE, as it happens (replay it with
                         --transport replay:FILE)
  --aid-fc HEX, --aid-fd HEX, --aid-fe HEX
                         AIDs of the FC, FD and FE objects
                         (default: F05A4C4D00FC, F05A4C4D00FD, F05A4C4D00FE)
  -v, --verbose          the library's and the kernel's log on stderr
  --log-level LEVEL      lowest level logged: verbose, debug, info, warning,
                         error (implies --verbose unless --android-log)
  --android-log          also pass the log to the library's default sink
                         (the Android log; stderr on a Linux host)
  --json                 print one JSON object on stdout, whatever happens
                         (help, version and failures included)
  --wait                 wait for a chip state file another cosupdate uses,
                         instead of failing at once
  --force                chip reset: overwrite a file that is not a chip
                         state file
  --events FILE          update: write events as JSON lines to FILE as the
                         run goes ("-": stdout, not with --json)
  --platform ID, --fc HEX
                         history: only the records of chips with this
                         platform id, this FC
  -h, --help             help; with a command, that command's help
  --version              the tool's version

Exit status:
  0  done (update: deployed; check: an update applies; validate: valid)
  1  error (file, transport, chip state file, library, output not written)
  2  bad command line
  3  nothing to do: no update applies to the chip
  4  update failed: a script failed or did not verify; run it again to resume
  5  the update file was refused (by the library, or for a fault an update
     would stop on)
  6  interrupted (SIGINT, SIGTERM, SIGHUP): run the same command again to resume
)";

struct CommandText {
    const char* name;
    const char* text;
};

constexpr CommandText kCommands[] = {
    {"validate", R"(usage: cosupdate validate FILE

Loads FILE into the library as an update would and reports whether the
library accepts it. On refusal prints the library's message and the faults it
logged ("Multiscript content is incorrect : ...", or the kernel's parse error
with its line). A file the library accepts is then checked for what an update
would stop on or skip: a manifest cosVersion that is not 1 to 4 hex digits,
an audit script named but missing, a script or audit script the kernel cannot
parse or finds inconsistent, text after a NUL byte, a second root element.
Each fault names its entry or script. Needs no chip: no transport is opened.
FILE "-" is standard input.

Exit status: 0 valid, 5 refused, 1 the file cannot be read.
)"},
    {"check", R"(usage: cosupdate check FILE

Loads FILE, reads the chip's FE object (platform, COS version, customer) and
asks the library whether a script of FILE applies to the chip. Prints the
script the library selected and its type, as the library's log names them.
Changes nothing on the chip. FILE is validated first, as `validate` does.

Exit status: 0 an update applies, 3 none applies, 5 FILE refused, 1 error,
6 interrupted.
)"},
    {"update", R"(usage: cosupdate update FILE

Loads FILE and runs the update: the selected script and every script that
applies after it. While it runs, stderr shows the script being run, its type,
the APDUs it exchanged and its time (one line rewritten in place on a
terminal, plain lines otherwise; none with --json). Then a summary on stdout:
the scripts run with their results, the library's count of deployed scripts,
and the COS version before and after, read from the chip's FE object. FILE is
validated first, as `validate` does, before anything is sent to the chip.
When progress or the summary cannot be written (a closed pipe, a full disk),
the update still runs to its end; the tool then says so and exits 1.

--events FILE writes one JSON object a line to FILE as the run goes, each
flushed at once: runStarted (the file, its SHA-256, the chip), scriptStarted,
progress (APDUs; percent and time left only when the total is known: from a
replayed trace, or from an earlier run of the same file from the same chip
state in the history), scriptEnded, and always runEnded last. "-" is stdout,
which then holds the events alone (no summary); it cannot go with --json.
Events that cannot be written do not stop the update: exit 1 after it.

Every update that exchanged an APDU with the chip adds a record to the
chip's update history (see `cosupdate help history`).

A signal (Ctrl-C, SIGTERM, SIGHUP) stops the update between two APDUs; a
second one ends it at once. Either way the same command resumes it.

Exit status: 0 deployed, 3 nothing to do, 4 failed (run again to resume),
5 FILE refused, 6 interrupted, 1 error (the update stopped on a transport or
library error, or the chip state file could not be written).
)"},
    {"info", R"(usage: cosupdate info FC|FD|FE

Reads a COS data object through the library (getCOSInfo) and prints its bytes
in hex. FD: its first two bytes. FE: platform id, COS version and customer id
as TLVs C1, C2, C3; --json adds them decoded. An object that is empty or is
not what was asked (an FD that is not 4 bytes, an FE without its TLVs, as an
--aid-* option pointing at another object gives) is an error.

Exit status: 0 read, 2 unknown tag, 1 error (empty or unexpected object too),
6 interrupted.
)"},
    {"chip", R"(usage: cosupdate chip show
       cosupdate chip reset
       cosupdate chip set FIELD VALUE [FIELD VALUE ...]

The simulated chip's persistent state, kept in the chip state file (--chip).
A missing file is a factory-fresh chip and is created.

  show    print the state
  reset   back to the factory state: platform ZLM-P1, COS 0100, customer
          ACME, FC 5A4C4D010000002A, FD 0A010003, no service; refuses to
          overwrite a file that is not a chip state file unless --force
  set     change fields, printing nothing:
            platform TEXT       platform id, printable ASCII, 1-127 chars
            version HEX         COS version, 1-4 hex digits (0101)
            customer TEXT       customer id, 0-127 chars; "" for none
            fc HEX              FC content, up to 1024 bytes
            fd HEX              FD content, 4 bytes
            services AID,AID    installed services; "" or none for none

Only with --transport sim. Exit status: 0 done, 2 bad field or value,
1 the chip state file cannot be read or written, is not a chip state file
(reset) or is in use by another cosupdate (see --wait).
)"},
    {"history", R"(usage: cosupdate history [--chip FILE | --transport NAME[:ARG]]
                        [--platform ID] [--fc HEX]

Lists the updates that touched a chip, newest first: when, the result and
exit status, the chip (platform id, FC, customer), the COS version before and
after, the update file and its SHA-256, the transport, the scripts run, the
APDUs and the time, the error and the trace recorded, if any.

Each update appends its record to its chip's history: the simulated chip's
is FILE.history beside its chip state file; another transport's chip has
one in $XDG_STATE_HOME/cosupdate/history (else ~/.local/state/cosupdate/
history), named after its platform id and FC.

  (no option)            every history: the default chip state file's and
                         all those of the history directory
  --chip FILE            the simulated chip of that chip state file
  --transport NAME[:ARG] the chip reached through it (read from the chip)
  --platform ID          only the chips with this platform id
  --fc HEX               only the chips with this FC

A line that is not a record is reported on stderr and skipped; the others
are listed. The simulated chip's history is read under its chip state file's
lock (see --wait).

Exit status: 0 listed (corrupt lines included), 1 a history cannot be read,
2 bad command line, 6 interrupted.
)"},
    {"help", R"(usage: cosupdate help [COMMAND]
       cosupdate [COMMAND] --help

The tool's help, or a command's. With --json, one object whose "text" holds
the help.

Exit status: 0, or 2 for a COMMAND that is not one.
)"},
};

std::string transportList() {
    std::string text = "\nTransports:\n";
    for (const TransportKind& kind : transportKinds()) {
        constexpr size_t kColumn = 16;
        const size_t pad = kind.usage.size() < kColumn ? kColumn - kind.usage.size() : 1;
        text += "  " + kind.usage + std::string(pad, ' ') + kind.summary +
                (kind.open ? "" : " [not in this build]") + "\n";
    }
    return text;
}

}  // namespace

std::string toolHelp() {
    return kUsage + transportList();
}

std::string commandHelp(const std::string& command) {
    for (const CommandText& entry : kCommands) {
        if (command == entry.name) {
            return entry.text;
        }
    }
    return "";
}

}  // namespace cosupdate::cli
