// What the tool answers: lines of text for people, or with --json one object.
// Commands fill both; runCli prints the one asked for. The object always has
// every member the manual names for its command, null until a command sets it.

#ifndef COSUPDATE_CLI_REPLY_H
#define COSUPDATE_CLI_REPLY_H

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "ExitStatus.h"

namespace cosupdate::cli {

using Json = nlohmann::ordered_json;

class Reply {
  public:
    // `command`: the command as the command line named it ("" for none, "help"
    // and "version" for those), which chooses the members of the object.
    explicit Reply(const std::string& command = "");

    void line(const std::string& text) { m_lines.push_back(text); }
    // Setting a member keeps its place in the object.
    Json& json() { return m_json; }

    // The command failed: its lines are not printed, the object says why.
    void fail(const std::string& message, const std::vector<std::string>& details);
    // Said after everything else (on stdout): a stream the tool could not write.
    void outputFailed(const std::string& message);
    // A failure beside the command's outcome, which is still printed: the
    // object's error (unless it has one) and one of its details.
    void noteFailure(const std::string& message);

    // Lines are sanitized on their way out; `status` becomes exitStatus.
    void print(std::ostream& out, bool asJson, ExitStatus status);

  private:
    std::vector<std::string> m_lines;
    bool m_failed = false;
    std::string m_trailer;
    Json m_json;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_REPLY_H
