// A program the test runs: a vpcd-card (the simulated chip put into the
// virtual reader, taken out again when the object goes) or the command-line
// tool. A process still running at the end gets SIGTERM, by its process id.

#ifndef COSUPDATE_PCSC_E2E_CHILD_PROCESS_H
#define COSUPDATE_PCSC_E2E_CHILD_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace pcsce2e {

class ChildProcess {
  public:
    // Starts `program` with `arguments`; its output goes to `logPath`.
    ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                 const std::string& logPath);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Waits for the process to end by itself; its exit status, or -1 when it
    // is still running after `patience` or died of a signal.
    int waitForExit(std::chrono::milliseconds patience);

  private:
    pid_t m_pid = -1;
    bool m_reaped = false;
};

}  // namespace pcsce2e

#endif  // COSUPDATE_PCSC_E2E_CHILD_PROCESS_H
