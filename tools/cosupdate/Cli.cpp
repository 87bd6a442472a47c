#include "Cli.h"

#include "CommandLine.h"
#include "Errors.h"
#include "FdOutput.h"
#include "Help.h"
#include "PlatformLog.h"
#include "Reply.h"
#include "Sanitize.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "commands/CommandContext.h"

namespace cosupdate::cli {

namespace {

struct CommandDef {
    const char* name;
    size_t minArgs;
    size_t maxArgs;
    const char* usage;
    CommandFunction run;
};

constexpr size_t kAny = static_cast<size_t>(-1);

constexpr CommandDef kCommands[] = {
    {"validate", 1, 1, "validate FILE", runValidate},
    {"check", 1, 1, "check FILE", runCheck},
    {"update", 1, 1, "update FILE", runUpdate},
    {"info", 1, 1, "info FC|FD|FE", runInfo},
    {"chip", 1, kAny, "chip show|reset|set FIELD VALUE ...", runChip},
    {"history", 0, 0, "history", runHistory},
};

constexpr char kHelp[] = "help";
constexpr char kVersion[] = "version";

const CommandDef& findCommand(const std::string& name) {
    for (const CommandDef& def : kCommands) {
        if (name == def.name) {
            return def;
        }
    }
    throw UsageError("unknown command '" + name + "'");
}

void checkArgumentCount(const CommandDef& def, size_t count) {
    if (count < def.minArgs || count > def.maxArgs) {
        throw UsageError(std::string("wrong arguments for '") + def.name + "'; usage: cosupdate " +
                         def.usage);
    }
}

bool asksForHelp(const Invocation& invocation) {
    return invocation.options.help ||
           (!invocation.words.empty() && invocation.words.front() == kHelp);
}

// What the reply answers, as its "command" member names it.
std::string replyCommand(const Invocation& invocation) {
    if (invocation.error.empty() && invocation.options.version) {
        return kVersion;
    }
    if (invocation.error.empty() && asksForHelp(invocation)) {
        return kHelp;
    }
    return invocation.words.empty() ? "" : invocation.words.front();
}

// `help [COMMAND]`, `--help`, `COMMAND --help`.
ExitStatus printHelp(const Invocation& invocation, Reply& reply) {
    std::vector<std::string> words = invocation.words;
    if (!words.empty() && words.front() == kHelp && !invocation.options.help) {
        words.erase(words.begin());
    }
    // The command's help, whatever arguments follow it.
    std::string text = toolHelp();
    if (!words.empty()) {
        text = commandHelp(words.front());
        reply.json()["topic"] = words.front();
        if (text.empty()) {
            throw UsageError("no help on '" + words.front() + "': not a command");
        }
    }
    reply.json()["text"] = text;
    size_t start = 0;
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        reply.line(text.substr(start, end - start));
        start = end + 1;
    }
    return ExitStatus::Ok;
}

ExitStatus printVersion(Reply& reply) {
    reply.json()["version"] = COSUPDATE_TOOL_VERSION;
    reply.line(std::string("cosupdate ") + COSUPDATE_TOOL_VERSION);
    return ExitStatus::Ok;
}

ExitStatus dispatch(const Invocation& invocation, Reply& reply, std::ostream& out,
                    std::ostream& err, const Terminal& terminal) {
    const Options& options = invocation.options;
    if (!invocation.error.empty()) {
        throw UsageError(invocation.error);
    }
    if (options.version) {
        return printVersion(reply);
    }
    if (asksForHelp(invocation)) {
        return printHelp(invocation, reply);
    }
    const std::vector<std::string>& words = invocation.words;
    if (words.empty()) {
        throw UsageError("no command given");
    }
    const CommandDef& def = findCommand(words.front());
    const std::vector<std::string> args(words.begin() + 1, words.end());
    checkArgumentCount(def, args.size());
    Console console(err, terminal.interactive && !options.json, terminal.width);
    CommandContext context(options, console, out, args);
    const ExitStatus status = context.runGuarded([&] { return def.run(context, reply); });
    // The command's outcome stands; what is wrong with its trace comes on top,
    // unless it is what the command already reported (a replay that left its
    // trace stops the run).
    const std::optional<std::string> traceError = context.endSession();
    if (traceError && reply.json()["error"] != *traceError) {
        console.line("cosupdate: " + *traceError);
        reply.noteFailure(*traceError);
        return status == ExitStatus::Interrupted ? status : ExitStatus::Error;
    }
    return status;
}

struct Failure {
    std::string message;
    ExitStatus status;
    std::vector<std::string> details;
};

// One line on stderr, the details under it; with --json the reply says it too.
ExitStatus report(const Failure& failure, Reply& reply, std::ostream& err) {
    err << sanitize("cosupdate: " + failure.message);
    if (failure.status == ExitStatus::Usage) {
        err << " (see cosupdate --help)";
    }
    err << '\n';
    for (const std::string& detail : failure.details) {
        err << "  " << sanitize(detail) << '\n';
    }
    err.flush();
    reply.fail(failure.message, failure.details);
    return failure.status;
}

ExitStatus run(const Invocation& invocation, Reply& reply, std::ostream& out, std::ostream& err,
               const Terminal& terminal) {
    try {
        return dispatch(invocation, reply, out, err, terminal);
    } catch (const ToolError& e) {
        return report(Failure{e.what(), e.status(), e.details()}, reply, err);
    } catch (const std::exception& e) {
        // The library's COSUpdateException among them.
        return report(Failure{e.what(), ExitStatus::Error, {}}, reply, err);
    } catch (...) {
        return report(Failure{"unexpected failure", ExitStatus::Error, {}}, reply, err);
    }
}

// Prints the reply, then owns up to output that could not be written: the
// command has done its work by now, only its report may be lost.
ExitStatus finish(Reply& reply, ExitStatus status, bool json, std::ostream& out,
                  std::ostream& err) {
    if (const auto failure = writeFailure(err)) {
        reply.outputFailed("standard error could not be written: " + *failure);
        status = ExitStatus::Error;
    }
    reply.print(out, json, status);
    if (const auto failure = writeFailure(out)) {
        err << "cosupdate: standard output could not be written: " << *failure << '\n';
        err.flush();
        status = ExitStatus::Error;
    }
    return status;
}

}  // namespace

int runCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
           const Terminal& terminal) {
    const Invocation invocation = parseCommandLine(args);
    const Options& options = invocation.options;
    keepPlatformLog(options.log);
    Reply reply(replyCommand(invocation));
    const ExitStatus status = run(invocation, reply, out, err, terminal);
    return toInt(finish(reply, status, options.json, out, err));
}

}  // namespace cosupdate::cli
