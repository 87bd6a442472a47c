#include "StopRequest.h"

#include <signal.h>

#include <csignal>

namespace cosupdate::cli {

namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr int kSignalCount = sizeof kStopSignals / sizeof kStopSignals[0];

volatile std::sig_atomic_t g_stopRequested = 0;
// Set before any handler can run, read only after.
bool g_handled[kSignalCount] = {};

void setDisposition(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    // While the handler runs, another stop signal waits, and then finds the
    // default disposition: it ends the process.
    sigemptyset(&action.sa_mask);
    for (int other : kStopSignals) {
        sigaddset(&action.sa_mask, other);
    }
    // Output and file I/O go on undisturbed: the request is polled.
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

// Async-signal-safe: a flag and sigaction() only.
void onStopSignal(int) {
    g_stopRequested = 1;
    for (int i = 0; i < kSignalCount; ++i) {
        if (g_handled[i]) {
            setDisposition(kStopSignals[i], SIG_DFL);
        }
    }
}

}  // namespace

void installStopHandlers() {
    for (int i = 0; i < kSignalCount; ++i) {
        struct sigaction current {};
        // A signal ignored by whoever started us (nohup, a background job)
        // stays ignored.
        if (sigaction(kStopSignals[i], nullptr, &current) == 0 && current.sa_handler == SIG_IGN) {
            continue;
        }
        g_handled[i] = true;
        setDisposition(kStopSignals[i], onStopSignal);
    }
}

bool stopRequested() {
    return g_stopRequested != 0;
}

}  // namespace cosupdate::cli
