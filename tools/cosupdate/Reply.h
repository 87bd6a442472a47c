// What a command answers: lines of text for people, or with --json one
// object. Commands fill both; the caller prints the one asked for, adding the
// command's name and exit status to the object.

#ifndef COSUPDATE_CLI_REPLY_H
#define COSUPDATE_CLI_REPLY_H

#include <ostream>
#include <string>
#include <vector>

#include "ExitStatus.h"
#include "Json.h"

namespace cosupdate::cli {

class Reply {
  public:
    void line(const std::string& text) { m_lines.push_back(text); }
    JsonObject& json() { return m_json; }

    void print(std::ostream& out, bool asJson, const std::string& command, ExitStatus status) const;

  private:
    std::vector<std::string> m_lines;
    JsonObject m_json;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_REPLY_H
