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
};

const std::vector<OptionDef>& optionDefs() {
    static const std::vector<OptionDef> defs{
        {"--transport", nullptr, true, [](Options& o, const std::string& v) { o.transport = v; }},
        {"--chip", nullptr, true,
         [](Options& o, const std::string& v) {
             if (v.empty()) {
                 throw UsageError("--chip: the file name is empty");
             }
             o.chipFile = v;
         }},
        {"--record", nullptr, true,
         [](Options& o, const std::string& v) {
             if (v.empty()) {
                 throw UsageError("--record: the file name is empty");
             }
             o.recordFile = v;
         }},
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

// Applies the option at args[i], moving i past its value.
void applyOption(const std::vector<std::string>& args, size_t& i, Options& options) {
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
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || !isOption(arg)) {
            invocation.words.push_back(arg);
        } else if (arg == "--") {
            optionsEnded = true;
        } else {
            try {
                applyOption(args, i, invocation.options);
            } catch (const UsageError& e) {
                if (invocation.error.empty()) {
                    invocation.error = e.what();
                }
            }
        }
    }
    // A level asks to see the log, unless it is for the Android log.
    Options& options = invocation.options;
    if (options.logLevelGiven && !options.log.androidLog) {
        options.log.show = true;
    }
    return invocation;
}

}  // namespace cosupdate::cli
