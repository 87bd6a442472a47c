// cosupdate update FILE: runs the update with live progress, then sums it up:
// the scripts run, the library's count of deployed scripts and the COS
// version before and after, as the chip's FE object tells them. The journal
// writes the events (--events) and the chip's update history.

#include <chrono>
#include <optional>

#include "Errors.h"
#include "FeObject.h"
#include "Progress.h"
#include "UpdateEvents.h"
#include "commands/CommandContext.h"
#include "commands/UpdateJournal.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

namespace {

constexpr int kDeployed = 1;
constexpr int kNothingToDo = 0;

struct Outcome {
    std::optional<int> result;  // doUpdate's, unless it threw
    std::string error;          // what it threw
    std::chrono::steady_clock::duration elapsed{};
};

ExitStatus statusOf(const Outcome& outcome) {
    if (!outcome.result) {
        return ExitStatus::Error;
    }
    switch (*outcome.result) {
        case kDeployed:
            return ExitStatus::Ok;
        case kNothingToDo:
            return ExitStatus::NothingToDo;
        default:
            return ExitStatus::UpdateFailed;
    }
}

std::string resultName(ExitStatus status) {
    switch (status) {
        case ExitStatus::Ok:
            return "deployed";
        case ExitStatus::NothingToDo:
            return "nothing to do";
        case ExitStatus::UpdateFailed:
            return "failed";
        case ExitStatus::Interrupted:
            return "interrupted";
        default:
            return "error";
    }
}

Outcome runEngine(EngineSession& session, RunListener* listener) {
    RunTracker& tracker = session.log().tracker();
    tracker.setListener(listener);
    Outcome outcome;
    const auto start = std::chrono::steady_clock::now();
    try {
        outcome.result = session.engine().doUpdate();
    } catch (const api::COSUpdateException& e) {
        outcome.error = e.what();
    }
    outcome.elapsed = std::chrono::steady_clock::now() - start;
    tracker.setListener(nullptr);
    return outcome;
}

// After an update the chip may be unreachable (that may be why it failed):
// the summary then says so instead of losing the result.
std::optional<CosIdentity> identityAfter(EngineSession& session) {
    try {
        return session.readIdentity();
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void reportResult(const Outcome& outcome, ExitStatus status, const std::string& error,
                  Reply& reply) {
    reply.json()["result"] = resultName(status);
    if (outcome.result) {
        reply.json()["engineResult"] = *outcome.result;
    }
    // The interruption's message starts with "interrupted" itself.
    const bool interrupted = status == ExitStatus::Interrupted;
    reply.line("result:       " + (interrupted ? "" : resultName(status)) +
               (error.empty() || interrupted ? "" : ": ") + error);
    if (!error.empty()) {
        reply.json()["error"] = error;
    }
}

void reportScripts(const RunTracker& tracker, Reply& reply) {
    Json scripts = Json::array();
    reply.line("scripts run:  " + std::to_string(tracker.runs().size()));
    for (const ScriptRun& run : tracker.runs()) {
        std::string text = "  " + describeScript(run.script) + ": " + describeResult(run);
        Json json{{"name", run.script.name},
                  {"type", run.script.type},
                  {"result", describeResult(run)},
                  {"cosVersionAfter", nullptr}};
        if (run.versionAfter) {
            text += ", COS " + apdu::encodeHexU16(*run.versionAfter);
            json["cosVersionAfter"] = apdu::encodeHexU16(*run.versionAfter);
        }
        text += ", " + std::to_string(run.apdus) + " APDUs, " + formatDuration(run.elapsed);
        json["apdus"] = run.apdus;
        json["elapsedMs"] = milliseconds(run.elapsed);
        reply.line(text);
        scripts.push_back(json);
    }
    reply.json()["scripts"] = scripts;
    if (tracker.deployedCount()) {
        // The library counts patches and services without an audit script.
        reply.line("deployed:     " + std::to_string(*tracker.deployedCount()) +
                   " (as the library counts them)");
    }
    reply.json()["deployed"] = tracker.deployedCount().value_or(0);
}

void reportVersions(const CosIdentity& before, const std::optional<CosIdentity>& after,
                    Reply& reply) {
    const std::string from = apdu::encodeHexU16(before.cosVersion);
    const std::string to = after ? apdu::encodeHexU16(after->cosVersion) : "unknown";
    reply.line("COS version:  " + from + " -> " + to);
    reply.line("chip:         " + (after ? describe(*after) : "not read after the run"));
    reply.json()["before"] = identityJson(before);
    if (after) {
        reply.json()["after"] = identityJson(*after);
    }
}

void reportErrors(const std::vector<std::string>& errors, Reply& reply) {
    if (!errors.empty()) {
        reply.line("errors the library logged:");
    }
    for (const std::string& error : errors) {
        reply.line("  " + error);
    }
}

// The update itself and its summary in `reply`; what it learns, its status
// included, goes to the journal as it goes.
void runAndReport(CommandContext& context, UpdateJournal& journal, Reply& reply) {
    reply.json()["file"] = context.args().at(0);
    UpdateFile file = UpdateFile::open(context.args().at(0));
    journal.fileRead(file);
    EngineSession& session = context.openSession();
    journal.sessionOpened(session);
    session.loadUpdateFile(file);
    const RunTracker& tracker = session.log().tracker();
    const uint64_t apdusBeforeRead = tracker.apdus();
    const CosIdentity before = session.readIdentity();
    journal.runStarting(before, tracker.apdus() - apdusBeforeRead);
    const size_t errorsBefore = tracker.errors().size();
    const uint64_t apdusBefore = tracker.apdus();

    UpdateProgress progress(context.console());
    ListenerPair listeners(context.options().json ? nullptr : &progress, journal.listener());
    const Outcome outcome = runEngine(session, &listeners);
    context.console().clearStatus();
    // A stop the guard made shows to the library as a failed exchange; the
    // real reason replaces what the library made of it.
    const std::optional<ToolError> stop = context.stopError();
    const ExitStatus status = stop ? stop->status() : statusOf(outcome);
    const std::string error = stop ? stop->what() : outcome.error;
    const std::vector<std::string> errors(
        tracker.errors().begin() + static_cast<ptrdiff_t>(errorsBefore), tracker.errors().end());
    const uint64_t apdus = tracker.apdus() - apdusBefore;
    RunFacts& facts = journal.facts();
    facts.scripts = tracker.runs();
    facts.apdus = apdus;
    facts.elapsed = outcome.elapsed;
    facts.result = resultName(status);
    facts.status = status;
    facts.error = error;

    if (!error.empty()) {
        context.console().line(std::string("cosupdate: ") +
                               (status == ExitStatus::Interrupted ? "" : "update stopped: ") +
                               error);
    }
    reportResult(outcome, status, error, reply);
    reportScripts(tracker, reply);
    // A stopped transport reads nothing more.
    facts.after = stop ? std::nullopt : identityAfter(session);
    reportVersions(before, facts.after, reply);
    reply.line("APDUs:        " + std::to_string(apdus) + " in " + formatDuration(outcome.elapsed));
    reply.json()["apdus"] = apdus;
    reply.json()["elapsedMs"] = milliseconds(outcome.elapsed);
    reply.json()["errors"] = Json(errors);
    if (status == ExitStatus::UpdateFailed || status == ExitStatus::Error) {
        reportErrors(errors, reply);
    }
}

}  // namespace

ExitStatus runUpdate(CommandContext& context, Reply& reply) {
    UpdateJournal journal(context);
    try {
        runAndReport(context, journal, journal.summaryReply(reply));
        return journal.finish(reply);
    } catch (...) {
        journal.abandon();
        throw;
    }
}

}  // namespace cosupdate::cli
