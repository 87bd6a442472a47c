// One update as the history keeps it: when, with which tool and library,
// through which transport, which file (path and SHA-256), the chip before
// and after, the scripts run, the APDUs, the time taken, the result and the
// exit status, and the trace when one was recorded. The members are those of
// "historyRecord" in docs/cosupdate.schema.json.

#ifndef COSUPDATE_CLI_HISTORY_RECORD_H
#define COSUPDATE_CLI_HISTORY_RECORD_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ExitStatus.h"
#include "FeObject.h"
#include "HexArguments.h"
#include "Reply.h"
#include "RunTracker.h"
#include "Transport.h"

namespace cosupdate::cli {

// What an update learnt of itself, as far as it came.
struct RunFacts {
    std::string time;    // UTC, ISO 8601: when the command started
    std::string file;    // as the command line gave it
    std::string sha256;  // empty until the file was read
    std::optional<CosIdentity> before;
    std::optional<CosIdentity> after;
    std::optional<Bytes> fc;  // the chip's FC, with the platform id its key
    std::vector<ScriptRun> scripts;
    uint64_t apdus = 0;  // the update's own, without the reads around it
    std::chrono::steady_clock::duration elapsed{};
    std::optional<std::string> result;  // none when no update ran
    ExitStatus status = ExitStatus::Error;
    std::string error;
};

struct RecordSource {
    TransportChoice transport;
    std::string description;  // Transport::description()
    std::string chipFile;     // the simulated chip's state file; empty otherwise
    std::string trace;        // the trace recorded of the run; empty when none
};

// "2025-05-01T10:00:00.123Z".
std::string utcTimestamp(std::chrono::system_clock::time_point time);

Json historyRecord(const RunFacts& facts, const RecordSource& source);

// Why `record` is not a record the listing can show (a member it needs is
// missing or of another type); nothing when it is one.
std::optional<std::string> recordFault(const Json& record);

// The APDUs the latest run in `records` (oldest first) took of the file with
// `sha256` from a chip that was `before`, if one went through to its end
// (deployed, or nothing to do): the same file from the same chip state makes
// the same exchanges.
std::optional<uint64_t> previousRunApdus(const std::vector<Json>& records,
                                         const std::string& sha256, const CosIdentity& before);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_HISTORY_RECORD_H
