// A vpcd-card process: the simulated chip put into the virtual reader, taken
// out again (SIGTERM, by process id) when the object goes.

#ifndef COSUPDATE_PCSC_E2E_CARD_PROCESS_H
#define COSUPDATE_PCSC_E2E_CARD_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace pcsce2e {

class CardProcess {
  public:
    // Starts `program` with `arguments`; its output goes to `logPath`.
    CardProcess(const std::string& program, const std::vector<std::string>& arguments,
                const std::string& logPath);
    ~CardProcess();
    CardProcess(const CardProcess&) = delete;
    CardProcess& operator=(const CardProcess&) = delete;

    // Waits for the process to end by itself; its exit status, or -1 when it
    // is still running after `patience` or died of a signal.
    int waitForExit(std::chrono::milliseconds patience);

  private:
    pid_t m_pid = -1;
    bool m_reaped = false;
};

}  // namespace pcsce2e

#endif  // COSUPDATE_PCSC_E2E_CARD_PROCESS_H
