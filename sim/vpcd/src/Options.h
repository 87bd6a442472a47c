// Command line of vpcd-card.

#ifndef VPCD_CARD_OPTIONS_H
#define VPCD_CARD_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace vpcd {

// vpcd's own default: the first slot of the reader "Virtual PCD".
constexpr uint16_t kDefaultPort = 35963;

struct Options {
    std::string statePath;
    std::string host = "127.0.0.1";
    uint16_t port = kDefaultPort;
    std::chrono::milliseconds connectPatience{10000};
    // Leave the reader right after executing this APDU, without answering it:
    // a card pulled out mid-exchange. 0: never.
    uint64_t removeAfter = 0;
    bool verbose = false;
};

extern const char* const kUsage;

// Throws std::invalid_argument with a message for the user.
Options parseOptions(int argc, char** argv);

}  // namespace vpcd

#endif  // VPCD_CARD_OPTIONS_H
