#include "CommandLine.h"

#include <functional>

#include "Errors.h"
#include "LogLevel.h"
#include "cosim/Protocol.h"

namespace cosupdate::cli {

namespace {

// The engine takes AIDs of 3 bytes and more; ISO 7816-4 ends them at 16.
constexpr size_t kMinAid = 3;
constexpr size_t kMaxAid = 16;

struct OptionDef {
    const char* name;
    const char* shortName;  // or nullptr
    bool takesValue;
    std::function<void(Options&, const std::string&)> apply;
    const char* command = nullptr;  // the one command it is for; nullptr: any
};

std::string nonEmpty(const std::string& value, const std::string& option) {
    if (value.empty()) {
        throw UsageError(option + ": the file name is empty");
    }
    return value;
}

const std::vector<OptionDef>& optionDefs() {
    static const std::vector<OptionDef> defs{
        {"--transport", nullptr, true,
         [](Options& o, const std::string& v) {
             o.transport = v;
             o.transportGiven = true;
         }},
        {"--record", nullptr, true,
         [](Options& o, const std::string& v) { o.recordFile = nonEmpty(v, "--record"); }},
        {"--chip", nullptr, true,
         [](Options& o, const std::string& v) { o.chipFile = nonEmpty(v, "--chip"); }},
        {"--aid-fc", nullptr, true,
         [](Options& o, const std::string& v) { o.aids.fc = parseAid(v, "--aid-fc"); }},
        {"--aid-fd", nullptr, true,
         [](Options& o, const std::string& v) { o.aids.fd = parseAid(v, "--aid-fd"); }},
        {"--aid-fe", nullptr, true,
         [](Options& o, const std::string& v) { o.aids.fe = parseAid(v, "--aid-fe"); }},
        {"--log-level", nullptr, true,
         [](Options& o, const std::string& v) {
             o.log.minimum = parseLogLevel(v);
             o.logLevelGiven = true;
         }},
        {"--verbose", "-v", false, [](Options& o, const std::string&) { o.log.show = true; }},
        {"--android-log", nullptr, false,
         [](Options& o, const std::string&) { o.log.androidLog = true; }},
        {"--json", nullptr, false, [](Options& o, const std::string&) { o.json = true; }},
        {"--help", "-h", false, [](Options& o, const std::string&) { o.help = true; }},
        {"--version", nullptr, false, [](Options& o, const std::string&) { o.version = true; }},
        {"--wait", nullptr, false, [](Options& o, const std::string&) { o.wait = true; }},
        {"--force", nullptr, false, [](Options& o, const std::string&) { o.force = true; }},
        {"--events", nullptr, true,
         [](Options& o, const std::string& v) { o.events = nonEmpty(v, "--events"); }, "update"},
        {"--platform", nullptr, true,
         [](Options& o, const std::string& v) { o.platformFilter = v; }, "history"},
        {"--fc", nullptr, true,
         [](Options& o, const std::string& v) { o.fcFilter = parseHex(v, "--fc"); }, "history"},
    };
    return defs;
}

const OptionDef* findOption(const std::string& name) {
    for (const OptionDef& def : optionDefs()) {
        if (name == def.name || (def.shortName != nullptr && name == def.shortName)) {
            return &def;
        }
    }
    return nullptr;
}

bool isOption(const std::string& arg) {
    return arg.size() > 1 && arg[0] == '-';
}

// Applies the option at args[i], moving i past its value; returns it.
const OptionDef& applyOption(const std::vector<std::string>& args, size_t& i, Options& options) {
    const std::string& arg = args[i];
    const size_t equals = arg.find('=');
    const std::string name = arg.substr(0, equals);
    const OptionDef* def = findOption(name);
    if (def == nullptr) {
        throw UsageError("unknown option '" + name + "'");
    }
    if (!def->takesValue) {
        if (equals != std::string::npos) {
            throw UsageError("option '" + name + "' takes no value");
        }
        def->apply(options, "");
    } else if (equals != std::string::npos) {
        def->apply(options, arg.substr(equals + 1));
    } else if (i + 1 < args.size()) {
        def->apply(options, args[++i]);
    } else {
        throw UsageError("option '" + name + "' needs a value");
    }
    return *def;
}

// The first option given to a command it is not for, or a combination that
// cannot be; empty when there is none.
std::string misplacedOption(const Invocation& invocation,
                            const std::vector<const OptionDef*>& given) {
    const std::string command = invocation.words.empty() ? "" : invocation.words.front();
    for (const OptionDef* def : given) {
        if (def->command != nullptr && command != def->command) {
            return std::string("option '") + def->name + "' is for '" + def->command + "' only";
        }
    }
    if (invocation.options.events == "-" && invocation.options.json) {
        return "--events - and --json would both write to standard output: give --events a file";
    }
    return "";
}

}  // namespace

Bytes parseAid(const std::string& text, const std::string& option) {
    const Bytes aid = parseHex(text, option);
    if (aid.size() < kMinAid || aid.size() > kMaxAid) {
        throw UsageError(option + ": an AID has 3 to 16 bytes, '" + text + "' has " +
                         std::to_string(aid.size()));
    }
    return aid;
}

Invocation parseCommandLine(const std::vector<std::string>& args) {
    Invocation invocation;
    invocation.options.aids = AidSet{cosim::aid::kFC, cosim::aid::kFD, cosim::aid::kFE};
    std::vector<const OptionDef*> given;
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || !isOption(arg)) {
            invocation.words.push_back(arg);
        } else if (arg == "--") {
            optionsEnded = true;
        } else {
            try {
                given.push_back(&applyOption(args, i, invocation.options));
            } catch (const UsageError& e) {
                if (invocation.error.empty()) {
                    invocation.error = e.what();
                }
            }
        }
    }
    if (invocation.error.empty()) {
        invocation.error = misplacedOption(invocation, given);
    }
    // A level asks to see the log, unless it is for the Android log.
    Options& options = invocation.options;
    if (options.logLevelGiven && !options.log.androidLog) {
        options.log.show = true;
    }
    return invocation;
}

}  // namespace cosupdate::cli
