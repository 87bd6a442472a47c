// Live progress of an update on stderr: the script being run, its type, the
// APDUs it exchanged and its time. On a terminal one status line rewritten in
// place; otherwise a plain line when a script starts and one when it ends.

#ifndef COSUPDATE_CLI_PROGRESS_H
#define COSUPDATE_CLI_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

#include "Console.h"
#include "RunTracker.h"

namespace cosupdate::cli {

// "850 ms", "12.40 s".
std::string formatDuration(std::chrono::steady_clock::duration duration);
int64_t milliseconds(std::chrono::steady_clock::duration duration);

// "patch-0100-0101 (Patch)", or the name alone when the type is unknown.
std::string describeScript(const ScriptRef& script);
// "Success", "Failed", or "no result" for a run the library gave none.
std::string describeResult(const ScriptRun& run);

class UpdateProgress : public RunListener {
  public:
    explicit UpdateProgress(Console& console) : m_console(console) {}

    void scriptStarted(const ScriptRun& run) override;
    void exchanged(const ScriptRun* current) override;
    void scriptFinished(const ScriptRun& run) override;

  private:
    std::string runningText(const ScriptRun& run) const;

    Console& m_console;
    std::chrono::steady_clock::time_point m_lastDraw{};
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_PROGRESS_H
