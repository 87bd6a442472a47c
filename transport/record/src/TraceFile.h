// The trace file a recorder writes: one write() per line, the first failure
// kept, nothing written after it (a line cut short would hide the lines after
// it from a reader anyway).

#ifndef COSUPDATE_TRACE_TRACE_FILE_H
#define COSUPDATE_TRACE_TRACE_FILE_H

#include <optional>
#include <string>
#include <string_view>

namespace cosupdate::trace {

class TraceFile {
  public:
    // Creates or empties `path`; a failure is kept as error().
    explicit TraceFile(std::string path);
    // Syncs and closes the file; a failure there is lost with the object.
    ~TraceFile();
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    // Writes `line` at the end of the file, unless an error came before.
    void append(std::string_view line);
    // Ends the trace here for `what`, unless it ended already.
    void fail(const std::string& what);
    const std::optional<std::string>& error() const { return m_error; }

  private:
    std::string m_path;
    int m_fd = -1;
    std::optional<std::string> m_error;
};

}  // namespace cosupdate::trace

#endif  // COSUPDATE_TRACE_TRACE_FILE_H
