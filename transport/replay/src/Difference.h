// Where the library's call and the recorded one part, in words a bug report
// can carry: the call number, both calls, their bytes in hex with the first
// differing byte in brackets.

#ifndef COSUPDATE_TRACE_DIFFERENCE_H
#define COSUPDATE_TRACE_DIFFERENCE_H

#include <optional>
#include <string>

#include "TraceReader.h"

namespace cosupdate::trace {

// "8052000024[00]000020": byte `at` in brackets; "8052000024[]" when the
// bytes end there.
std::string markedHex(const Bytes& bytes, size_t at);

// "transmitApdu 80540000", "closeConnection".
std::string describeCall(Operation operation, const Bytes& bytesIn);

// What tells the call the library made from the recorded one; empty when
// they are the same call with the same bytes.
std::optional<std::string> difference(Operation operation, const Bytes& bytesIn,
                                      const CallRecord& recorded);

}  // namespace cosupdate::trace

#endif  // COSUPDATE_TRACE_DIFFERENCE_H
