// The virtual card's end of the vpcd protocol: a TCP connection to the vpcd
// reader driver inside pcscd, carrying messages of a 2-byte big-endian length
// followed by that many bytes.

#ifndef VPCD_CARD_VPCD_LINK_H
#define VPCD_CARD_VPCD_LINK_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "cosupdate/apdu/Bytes.h"

namespace vpcd {

class VpcdLink {
  public:
    // Connects to vpcd at host:port, trying again until `patience` has passed
    // (pcscd may still be starting). Throws std::runtime_error.
    VpcdLink(const std::string& host, uint16_t port, std::chrono::milliseconds patience);
    ~VpcdLink();
    VpcdLink(const VpcdLink&) = delete;
    VpcdLink& operator=(const VpcdLink&) = delete;

    int fd() const { return m_fd; }

    // The next message; empty when vpcd closed the connection. Throws
    // std::runtime_error on a socket error.
    std::optional<cosupdate::apdu::Bytes> receive();
    void send(const cosupdate::apdu::Bytes& message);

  private:
    bool readExactly(uint8_t* data, size_t size);
    void acknowledgeNow();
    void writeAll(const uint8_t* data, size_t size);

    int m_fd = -1;
};

}  // namespace vpcd

#endif  // VPCD_CARD_VPCD_LINK_H
