#include "Options.h"

#include <limits>
#include <stdexcept>

namespace vpcd {

namespace {

unsigned long long number(const std::string& option, const std::string& text,
                          unsigned long long maximum) {
    size_t used = 0;
    unsigned long long value = 0;
    try {
        value = std::stoull(text, &used, 0);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used != text.size() || text.empty() || text[0] == '-' || value > maximum) {
        throw std::invalid_argument(option + ": not a number up to " + std::to_string(maximum) +
                                    ": " + text);
    }
    return value;
}

}  // namespace

const char* const kUsage =
    "usage: vpcd-card --state FILE [--host HOST] [--port PORT] [--connect-timeout SECONDS]\n"
    "                 [--remove-after N] [--verbose]\n"
    "Serves the simulated chip to pcscd's vpcd reader driver, which listens on\n"
    "HOST:PORT (default 127.0.0.1:35963, the reader 'Virtual PCD 00 00'). The chip's\n"
    "state is read from FILE (a factory chip if it does not exist) and written back\n"
    "after every change. --remove-after N pulls the card out right after its Nth APDU.\n"
    "Stops on SIGTERM or SIGINT, or when vpcd closes the connection.\n";

Options parseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--verbose" || option == "-v") {
            options.verbose = true;
            continue;
        }
        if (i + 1 >= argc) {
            throw std::invalid_argument("no value for " + option);
        }
        const std::string value = argv[++i];
        if (option == "--state") {
            options.statePath = value;
        } else if (option == "--host") {
            options.host = value;
        } else if (option == "--port") {
            options.port =
                static_cast<uint16_t>(number(option, value, std::numeric_limits<uint16_t>::max()));
        } else if (option == "--connect-timeout") {
            options.connectPatience = std::chrono::seconds(number(option, value, 3600));
        } else if (option == "--remove-after") {
            options.removeAfter = number(option, value, std::numeric_limits<uint64_t>::max());
        } else {
            throw std::invalid_argument("unknown option: " + option);
        }
    }
    if (options.statePath.empty()) {
        throw std::invalid_argument("--state FILE is required");
    }
    return options;
}

}  // namespace vpcd
