// Where `update --events FILE` writes: FILE, created or emptied (a FIFO a
// program reads works as well), or standard output for "-". One JSON object a
// line, flushed at once, so that a reader follows the run as it goes. A write
// that fails (a reader that went away, a full disk) never stops the update:
// the stream drops what follows and keeps the reason, for the tool to report
// after the run.

#ifndef COSUPDATE_CLI_EVENT_STREAM_H
#define COSUPDATE_CLI_EVENT_STREAM_H

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "FdOutput.h"
#include "Reply.h"

namespace cosupdate::cli {

class EventStream {
  public:
    // "-": `standardOutput`, borrowed. Throws ToolError naming FILE when it
    // cannot be opened for writing, or when it is one of `keep` (the update
    // file, the chip state file), which emptying it would destroy.
    EventStream(const std::string& path, std::ostream& standardOutput,
                const std::vector<std::string>& keep);
    ~EventStream();
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;

    bool toStandardOutput() const { return m_fd < 0; }
    const std::string& path() const { return m_path; }

    void write(const Json& event);
    // Why the events could not all be written, once flushed; nothing when
    // they were.
    std::optional<std::string> failure();

  private:
    std::string m_path;
    int m_fd = -1;  // FILE's, owned; -1 for standard output
    std::unique_ptr<FdOutput> m_buffer;
    std::unique_ptr<std::ostream> m_file;
    std::ostream* m_out;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_EVENT_STREAM_H
