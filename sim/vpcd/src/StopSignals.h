// SIGTERM and SIGINT as a file descriptor to poll next to the vpcd socket, so
// that a stop request is never lost between two checks.

#ifndef VPCD_CARD_STOP_SIGNALS_H
#define VPCD_CARD_STOP_SIGNALS_H

namespace vpcd {

class StopSignals {
  public:
    // Blocks the signals for the process and opens the descriptor. Throws
    // std::runtime_error.
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    int fd() const { return m_fd; }
    // The number of the signal that arrived (reads it off the descriptor).
    int take();

  private:
    int m_fd = -1;
};

}  // namespace vpcd

#endif  // VPCD_CARD_STOP_SIGNALS_H
