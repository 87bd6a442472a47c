#include "Cli.h"

#include <algorithm>

#include "CommandLine.h"
#include "Errors.h"
#include "Help.h"
#include "PlatformLog.h"
#include "Reply.h"
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
};

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

// `help`, `help COMMAND`, `--help`, `COMMAND --help`.
int printHelp(const std::vector<std::string>& words, std::ostream& out) {
    if (words.empty()) {
        out << toolHelp();
        return toInt(ExitStatus::Ok);
    }
    const std::string text = commandHelp(words.front());
    if (text.empty()) {
        throw UsageError("no help on '" + words.front() + "': not a command");
    }
    out << text;
    return toInt(ExitStatus::Ok);
}

struct Failure {
    std::string message;
    ExitStatus status;
    std::vector<std::string> details;
};

void report(const Failure& failure, const std::string& command, bool json, std::ostream& out,
            std::ostream& err) {
    err << "cosupdate: " << failure.message;
    if (failure.status == ExitStatus::Usage) {
        err << " (see cosupdate --help)";
    }
    err << '\n';
    for (const std::string& detail : failure.details) {
        err << "  " << detail << '\n';
    }
    err.flush();
    if (json) {
        Reply reply;
        JsonArray details;
        for (const std::string& detail : failure.details) {
            details.add(detail);
        }
        reply.json().set("error", failure.message).set("details", details);
        reply.print(out, true, command, failure.status);
    }
}

int dispatch(const Invocation& invocation, std::ostream& out, Console& console) {
    const Options& options = invocation.options;
    const std::vector<std::string>& words = invocation.words;
    const CommandDef& def = findCommand(words.front());
    const std::vector<std::string> args(words.begin() + 1, words.end());
    checkArgumentCount(def, args.size());
    CommandContext context(options, console, args);
    Reply reply;
    const ExitStatus status = context.runGuarded([&] { return def.run(context, reply); });
    reply.print(out, options.json, def.name, status);
    return toInt(status);
}

}  // namespace

int runCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
           const Terminal& terminal) {
    // Known before parsing can fail, so that even a bad command line answers
    // in JSON when asked to.
    const bool json = std::find(args.begin(), args.end(), "--json") != args.end();
    std::string command;
    Failure failure;
    try {
        const Invocation invocation = parseCommandLine(args);
        const Options& options = invocation.options;
        keepPlatformLog(options.log.androidLog);
        if (options.version) {
            out << "cosupdate " << COSUPDATE_TOOL_VERSION << '\n';
            return toInt(ExitStatus::Ok);
        }
        const std::vector<std::string>& words = invocation.words;
        if (!words.empty() && words.front() == "help") {
            return printHelp({words.begin() + 1, words.end()}, out);
        }
        if (options.help) {
            return printHelp(words, out);
        }
        if (words.empty()) {
            throw UsageError("no command given");
        }
        command = words.front();
        Console console(err, terminal.interactive && !options.json, terminal.width);
        return dispatch(invocation, out, console);
    } catch (const ToolError& e) {
        failure = Failure{e.what(), e.status(), e.details()};
    } catch (const Zelmar::Device::COS::V1_0::COSUpdateException& e) {
        failure = Failure{e.what(), ExitStatus::Error, {}};
    } catch (const std::exception& e) {
        failure = Failure{e.what(), ExitStatus::Error, {}};
    } catch (...) {
        failure = Failure{"unexpected failure", ExitStatus::Error, {}};
    }
    report(failure, command, json, out, err);
    return toInt(failure.status);
}

}  // namespace cosupdate::cli
