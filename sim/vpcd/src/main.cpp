// vpcd-card: the simulated chip as a card in pcscd's virtual reader.

#include <poll.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include "Options.h"
#include "StopSignals.h"
#include "VirtualCard.h"
#include "VpcdLink.h"
#include "cosupdate/apdu/Hex.h"

namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

enum class Event { Message, Stop };

Event waitForEvent(const vpcd::VpcdLink& link, const vpcd::StopSignals& signals) {
    pollfd fds[2] = {{link.fd(), POLLIN, 0}, {signals.fd(), POLLIN, 0}};
    while (poll(fds, 2, -1) < 0) {
        if (errno != EINTR) {
            throw std::runtime_error(std::string("poll: ") + std::strerror(errno));
        }
    }
    return (fds[1].revents & POLLIN) != 0 ? Event::Stop : Event::Message;
}

void trace(const char* direction, const cosupdate::apdu::Bytes& bytes) {
    std::cerr << "vpcd-card: " << direction << ' ' << cosupdate::apdu::encodeHex(bytes) << '\n';
}

// Serves vpcd until it hangs up, a stop signal arrives or the card is to be
// pulled out.
int serve(const vpcd::Options& options) {
    vpcd::StopSignals signals;
    vpcd::VirtualCard card(options.statePath);
    vpcd::VpcdLink link(options.host, options.port, options.connectPatience);
    std::cerr << "vpcd-card: in the reader at " << options.host << ':' << options.port << '\n';
    for (;;) {
        if (waitForEvent(link, signals) == Event::Stop) {
            std::cerr << "vpcd-card: stopped by signal " << signals.take() << '\n';
            return kExitOk;
        }
        const std::optional<cosupdate::apdu::Bytes> message = link.receive();
        if (!message) {
            std::cerr << "vpcd-card: vpcd closed the connection\n";
            return kExitOk;
        }
        if (options.verbose) {
            trace(">", *message);
        }
        const std::optional<cosupdate::apdu::Bytes> answer = card.handle(*message);
        if (options.removeAfter != 0 && card.apduCount() == options.removeAfter) {
            std::cerr << "vpcd-card: pulled out after APDU #" << options.removeAfter << '\n';
            return kExitOk;
        }
        if (answer) {
            if (options.verbose) {
                trace("<", *answer);
            }
            link.send(*answer);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--help" || std::string(argv[i]) == "-h") {
            std::cout << vpcd::kUsage;
            return kExitOk;
        }
    }
    vpcd::Options options;
    try {
        options = vpcd::parseOptions(argc, argv);
    } catch (const std::invalid_argument& e) {
        std::cerr << "vpcd-card: " << e.what() << '\n' << vpcd::kUsage;
        return kExitUsage;
    }
    try {
        return serve(options);
    } catch (const std::exception& e) {
        std::cerr << "vpcd-card: " << e.what() << '\n';
        return kExitFailure;
    }
}
