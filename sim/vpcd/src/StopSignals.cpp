#include "StopSignals.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace vpcd {

namespace {

sigset_t stopSet() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    return set;
}

}  // namespace

StopSignals::StopSignals() {
    const sigset_t set = stopSet();
    if (sigprocmask(SIG_BLOCK, &set, nullptr) != 0) {
        throw std::runtime_error(std::string("sigprocmask: ") + std::strerror(errno));
    }
    m_fd = signalfd(-1, &set, SFD_CLOEXEC);
    if (m_fd < 0) {
        throw std::runtime_error(std::string("signalfd: ") + std::strerror(errno));
    }
}

StopSignals::~StopSignals() {
    close(m_fd);
    const sigset_t set = stopSet();
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

int StopSignals::take() {
    signalfd_siginfo info{};
    if (read(m_fd, &info, sizeof(info)) != static_cast<ssize_t>(sizeof(info))) {
        return 0;
    }
    return static_cast<int>(info.ssi_signo);
}

}  // namespace vpcd
