#include "VpcdLink.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>

namespace vpcd {

namespace {

constexpr size_t kLengthSize = 2;
constexpr size_t kMaxMessageSize = 0xFFFF;
constexpr std::chrono::milliseconds kRetryPause{50};

[[noreturn]] void failErrno(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

struct AddressListDeleter {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListDeleter>;

AddressList resolve(const std::string& host, uint16_t port) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int result = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (result != 0) {
        throw std::runtime_error("cannot resolve " + host + ": " + gai_strerror(result));
    }
    return AddressList(list);
}

// A connected socket, or -1 when nobody listens yet.
int tryConnect(const addrinfo* list) {
    for (const addrinfo* at = list; at != nullptr; at = at->ai_next) {
        const int fd = socket(at->ai_family, at->ai_socktype | SOCK_CLOEXEC, at->ai_protocol);
        if (fd < 0) {
            failErrno("socket");
        }
        if (connect(fd, at->ai_addr, at->ai_addrlen) == 0) {
            return fd;
        }
        close(fd);
    }
    return -1;
}

}  // namespace

VpcdLink::VpcdLink(const std::string& host, uint16_t port, std::chrono::milliseconds patience) {
    const AddressList addresses = resolve(host, port);
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while ((m_fd = tryConnect(addresses.get())) < 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            failErrno("no vpcd listening on " + host + ":" + std::to_string(port));
        }
        std::this_thread::sleep_for(kRetryPause);
    }
    // One small message each way per APDU: send them at once.
    const int on = 1;
    setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

VpcdLink::~VpcdLink() {
    close(m_fd);
}

bool VpcdLink::readExactly(uint8_t* data, size_t size) {
    while (size > 0) {
        const ssize_t got = recv(m_fd, data, size, 0);
        acknowledgeNow();
        if (got == 0) {
            return false;
        }
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            failErrno("receiving from vpcd");
        }
        data += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

void VpcdLink::writeAll(const uint8_t* data, size_t size) {
    while (size > 0) {
        const ssize_t sent = ::send(m_fd, data, size, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) {
                continue;
            }
            failErrno("sending to vpcd");
        }
        data += sent;
        size -= static_cast<size_t>(sent);
    }
}

// vpcd writes a message's length and its bytes in two sends: with Nagle on its
// side and delayed acknowledgements on ours, every message would wait 40 ms
// for the second half. Linux forgets TCP_QUICKACK after a while, so it is set
// again after every read.
void VpcdLink::acknowledgeNow() {
    const int on = 1;
    setsockopt(m_fd, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof(on));
}

std::optional<cosupdate::apdu::Bytes> VpcdLink::receive() {
    uint8_t length[kLengthSize];
    if (!readExactly(length, kLengthSize)) {
        return std::nullopt;
    }
    cosupdate::apdu::Bytes message(cosupdate::apdu::readU16(length));
    if (!readExactly(message.data(), message.size())) {
        return std::nullopt;
    }
    return message;
}

void VpcdLink::send(const cosupdate::apdu::Bytes& message) {
    if (message.size() > kMaxMessageSize) {
        throw std::runtime_error("message of " + std::to_string(message.size()) +
                                 " bytes does not fit the vpcd protocol");
    }
    cosupdate::apdu::Bytes framed;
    framed.reserve(kLengthSize + message.size());
    cosupdate::apdu::appendU16(framed, static_cast<uint16_t>(message.size()));
    framed.insert(framed.end(), message.begin(), message.end());
    writeAll(framed.data(), framed.size());
}

}  // namespace vpcd
