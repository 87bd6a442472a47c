#include "ChipLock.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "Errors.h"
#include "StopRequest.h"

namespace cosupdate::cli {

namespace {

constexpr std::chrono::milliseconds kPollInterval{50};
constexpr size_t kMaxPidText = 16;

int openLockFile(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (fd < 0 && (errno == EACCES || errno == EROFS)) {
        // Someone else's lock file, or a read-only place: flock() needs no
        // write access, only the pid cannot be recorded.
        fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    }
    return fd;
}

}  // namespace

ChipLock::ChipLock(const std::string& lockPath, const std::string& subject, bool wait,
                   const WaitNotice& notice)
    : m_fd(openLockFile(lockPath)) {
    if (m_fd < 0) {
        throw ToolError(subject + ": cannot open its lock file " + lockPath + ": " +
                        std::strerror(errno));
    }
    try {
        acquire(subject, wait, notice);
    } catch (...) {
        ::close(m_fd);
        throw;
    }
    recordHolder();
}

void ChipLock::acquire(const std::string& subject, bool wait, const WaitNotice& notice) {
    if (tryLock(subject)) {
        return;
    }
    const std::string inUse = subject + " is in use by " + holder();
    if (!wait) {
        throw ToolError(inUse);
    }
    notice(inUse + "; waiting for it");
    while (!tryLock(subject)) {
        if (stopRequested()) {
            throw ToolError(kInterruptedMessage, ExitStatus::Interrupted);
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

ChipLock::~ChipLock() {
    ::close(m_fd);
}

// False while another process holds the lock.
bool ChipLock::tryLock(const std::string& subject) {
    int result = 0;
    do {
        result = ::flock(m_fd, LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    if (result != 0 && errno != EWOULDBLOCK) {
        throw ToolError(subject + ": cannot lock it: " + std::strerror(errno));
    }
    return result == 0;
}

// "process N" from the lock file, or "another process" when the file holds
// no live pid (the holder has not written it yet, or could not).
std::string ChipLock::holder() const {
    char text[kMaxPidText] = {};
    const ssize_t size = ::pread(m_fd, text, sizeof text - 1, 0);
    const long pid = size > 0 ? std::strtol(text, nullptr, 10) : 0;
    if (pid > 0 && (::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM)) {
        return "process " + std::to_string(pid);
    }
    return "another process";
}

// Best effort: a full disk or a read-only lock file costs the name, not the lock.
void ChipLock::recordHolder() {
    const std::string text = std::to_string(::getpid()) + "\n";
    if (::ftruncate(m_fd, 0) == 0) {
        [[maybe_unused]] const ssize_t written = ::pwrite(m_fd, text.data(), text.size(), 0);
    }
}

}  // namespace cosupdate::cli
