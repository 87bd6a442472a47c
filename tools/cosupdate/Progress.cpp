#include "Progress.h"

#include <cstdio>

namespace cosupdate::cli {

namespace {

// Redrawing on every APDU would cost more than the APDU on a fast link.
constexpr std::chrono::milliseconds kRedrawInterval{50};

std::string apduCount(uint64_t count) {
    return std::to_string(count) + (count == 1 ? " APDU" : " APDUs");
}

}  // namespace

std::string formatDuration(std::chrono::steady_clock::duration duration) {
    const int64_t ms = milliseconds(duration);
    if (ms < 1000) {
        return std::to_string(ms) + " ms";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", static_cast<double>(ms) / 1000.0);
    return text;
}

int64_t milliseconds(std::chrono::steady_clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

std::string describeResult(const ScriptRun& run) {
    if (!run.success) {
        return "no result";
    }
    return *run.success ? "Success" : "Failed";
}

std::string describeScript(const ScriptRef& script) {
    return script.type.empty() ? script.name : script.name + " (" + script.type + ")";
}

std::string UpdateProgress::runningText(const ScriptRun& run) const {
    return "running " + describeScript(run.script) + ": " + apduCount(run.apdus) + ", " +
           formatDuration(run.elapsed);
}

void UpdateProgress::scriptStarted(const ScriptRun& run) {
    if (m_console.interactive()) {
        m_console.status(runningText(run));
        m_lastDraw = std::chrono::steady_clock::now();
    } else {
        m_console.line("running " + describeScript(run.script) + " ...");
    }
}

void UpdateProgress::exchanged(const ScriptRun* current) {
    if (current == nullptr || !m_console.interactive()) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now - m_lastDraw >= kRedrawInterval) {
        m_console.status(runningText(*current));
        m_lastDraw = now;
    }
}

void UpdateProgress::scriptFinished(const ScriptRun& run) {
    const std::string text = describeScript(run.script) + ": " + describeResult(run) + ", " +
                             apduCount(run.apdus) + ", " + formatDuration(run.elapsed);
    if (m_console.interactive()) {
        m_console.status(text);
    } else {
        m_console.line(text);
    }
}

}  // namespace cosupdate::cli
