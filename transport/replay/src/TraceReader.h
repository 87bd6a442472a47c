// A trace file read for replay: its header checked at once, each call line
// kept with what is wrong with it, if anything, so that a damaged line is
// reported when the replay reaches it, as the call it should have been.

#ifndef COSUPDATE_TRACE_TRACE_READER_H
#define COSUPDATE_TRACE_TRACE_READER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cosupdate/trace/TraceFormat.h"

namespace cosupdate::trace {

using Bytes = std::vector<uint8_t>;

struct CallRecord {
    uint64_t number = 0;
    Operation operation = Operation::Initialize;
    uint64_t elapsedNs = 0;
    Bytes bytesIn;  // the AID or the command
    Bytes response;
    std::optional<bool> result;
    Thrown thrown = Thrown::Nothing;
    std::string what;
};

struct TraceEntry {
    size_t line = 0;  // from 1, the header's included
    std::optional<CallRecord> call;
    std::string fault;  // why there is no call: a damaged or malformed line
};

struct Trace {
    std::string recorder;
    std::vector<TraceEntry> entries;
};

// Throws std::runtime_error, naming `path`, when the file cannot be read or
// does not start with the header of a trace this code reads.
Trace readTrace(const std::string& path);

}  // namespace cosupdate::trace

#endif  // COSUPDATE_TRACE_TRACE_READER_H
