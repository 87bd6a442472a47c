// One process at a time per chip state file (or update history): an exclusive
// flock() on "<file>.lock" beside it (links followed). The state file itself
// is replaced on every save, so a lock on it would stay on the old inode. The
// kernel drops the lock when the process ends, however it ends; the lock file
// stays (deleting it would race with a process waiting for it) and holds the
// pid of its holder, for the message the next process gives.

#ifndef COSUPDATE_CLI_CHIP_LOCK_H
#define COSUPDATE_CLI_CHIP_LOCK_H

#include <functional>
#include <string>

namespace cosupdate::cli {

class ChipLock {
  public:
    // Told once, when the lock is taken and the caller waits for it.
    using WaitNotice = std::function<void(const std::string& message)>;

    // Locks `lockPath` for `subject`, the file it guards as messages name it
    // ("chip state file FILE"). Throws
    // ToolError (exit 1) when another process holds it and `wait` is false,
    // or when the lock file cannot be opened; with `wait`, polls until it is
    // free or a stop is requested (ToolError, exit 6).
    ChipLock(const std::string& lockPath, const std::string& subject, bool wait,
             const WaitNotice& notice);
    ~ChipLock();
    ChipLock(const ChipLock&) = delete;
    ChipLock& operator=(const ChipLock&) = delete;

  private:
    void acquire(const std::string& subject, bool wait, const WaitNotice& notice);
    bool tryLock(const std::string& subject);
    std::string holder() const;
    void recordHolder();

    int m_fd = -1;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_CHIP_LOCK_H
