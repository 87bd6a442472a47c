#include "UpdateEvents.h"

#include "Progress.h"
#include "commands/CommandContext.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

namespace {

Json nullable(const std::optional<int64_t>& value) {
    return value ? Json(*value) : Json();
}

Json scriptJson(const ScriptRef& script) {
    return Json{{"name", script.name}, {"type", script.type}};
}

}  // namespace

Json UpdateEvents::event(const char* kind) const {
    return Json{{"event", kind}, {"atMs", milliseconds(Clock::now() - m_commandStart)}};
}

void UpdateEvents::runStarted(const RunStart& start) {
    m_runStart = Clock::now();
    m_expected = start.expected ? std::optional<uint64_t>(start.expected->count) : std::nullopt;
    Json json = event("runStarted");
    json["time"] = start.time;
    json["file"] = start.file;
    json["sha256"] = start.sha256;
    json["transport"] = start.transport;
    json["before"] = identityJson(start.before);
    json["expectedApdus"] = start.expected ? Json(start.expected->count) : Json();
    json["expectedFrom"] = start.expected ? Json(start.expected->source) : Json();
    m_stream.write(json);
}

void UpdateEvents::scriptStarted(const ScriptRun& run) {
    tellScriptEnded();
    Json json = event("scriptStarted");
    json.update(scriptJson(run.script));
    m_stream.write(json);
}

void UpdateEvents::exchanged(const ScriptRun* current) {
    ++m_apdus;
    const auto now = Clock::now();
    const Estimate progress = estimate(m_apdus, now - m_runStart, m_expected);
    if (!m_throttle.due(progress, now)) {
        return;
    }
    Json json = event("progress");
    json["apdus"] = m_apdus;
    json["script"] = current != nullptr ? scriptJson(current->script) : Json();
    json["scriptApdus"] = current != nullptr ? Json(current->apdus) : Json();
    json["percent"] = progress.percent ? Json(*progress.percent) : Json();
    json["etaMs"] = nullable(progress.etaMs);
    m_stream.write(json);
}

void UpdateEvents::scriptFinished(const ScriptRun& run) {
    tellScriptEnded();
    m_ended = run;
}

void UpdateEvents::versionRead(const ScriptRun& run) {
    if (m_ended) {
        m_ended->versionAfter = run.versionAfter;
        tellScriptEnded();
    }
}

void UpdateEvents::tellScriptEnded() {
    if (!m_ended) {
        return;
    }
    const ScriptRun& run = *m_ended;
    Json json = event("scriptEnded");
    json.update(scriptJson(run.script));
    json["result"] = describeResult(run);
    json["cosVersionAfter"] =
        run.versionAfter ? Json(apdu::encodeHexU16(*run.versionAfter)) : Json();
    json["apdus"] = run.apdus;
    json["elapsedMs"] = milliseconds(run.elapsed);
    m_stream.write(json);
    m_ended.reset();
}

void UpdateEvents::runEnded(const RunEnd& end) {
    tellScriptEnded();
    Json json = event("runEnded");
    json["result"] = end.result ? Json(*end.result) : Json();
    json["exitStatus"] = toInt(end.status);
    json["error"] = end.error.empty() ? Json() : Json(end.error);
    json["apdus"] = end.apdus ? Json(*end.apdus) : Json();
    json["elapsedMs"] = end.elapsed ? Json(milliseconds(*end.elapsed)) : Json();
    json["after"] = end.after ? identityJson(*end.after) : Json();
    m_stream.write(json);
}

void ListenerPair::scriptStarted(const ScriptRun& run) {
    forEach([&run](RunListener& listener) { listener.scriptStarted(run); });
}

void ListenerPair::exchanged(const ScriptRun* current) {
    forEach([current](RunListener& listener) { listener.exchanged(current); });
}

void ListenerPair::scriptFinished(const ScriptRun& run) {
    forEach([&run](RunListener& listener) { listener.scriptFinished(run); });
}

void ListenerPair::versionRead(const ScriptRun& run) {
    forEach([&run](RunListener& listener) { listener.versionRead(run); });
}

}  // namespace cosupdate::cli
