// Failures the tool reports itself: each carries the exit status it ends the
// program with, and may carry detail lines (the faults the library logged).

#ifndef COSUPDATE_CLI_ERRORS_H
#define COSUPDATE_CLI_ERRORS_H

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ExitStatus.h"

namespace cosupdate::cli {

class ToolError : public std::runtime_error {
  public:
    explicit ToolError(const std::string& message, ExitStatus status = ExitStatus::Error,
                       std::vector<std::string> details = {})
        : std::runtime_error(message), m_status(status), m_details(std::move(details)) {}

    ExitStatus status() const { return m_status; }
    const std::vector<std::string>& details() const { return m_details; }

  private:
    ExitStatus m_status;
    std::vector<std::string> m_details;
};

// The command line cannot be run as it is.
class UsageError : public ToolError {
  public:
    explicit UsageError(const std::string& message) : ToolError(message, ExitStatus::Usage) {}
};

// The library refused an update file: its message, and the faults it logged
// while loading the file (the reason, with the line at fault for the kernel).
class InvalidUpdateFile : public ToolError {
  public:
    InvalidUpdateFile(const std::string& file, const std::string& message,
                      std::vector<std::string> faults)
        : ToolError(file + ": " + message, ExitStatus::InvalidFile, std::move(faults)),
          m_message(message) {}

    const std::string& libraryMessage() const { return m_message; }

  private:
    std::string m_message;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_ERRORS_H
