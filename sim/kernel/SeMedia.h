// SE media manager: the caller's seven transport callbacks, copied at
// registration. Everything the kernel does with the chip goes through here.

#ifndef SIMKERNEL_SE_MEDIA_H
#define SIMKERNEL_SE_MEDIA_H

#include <optional>

#include "KernelApi.h"
#include "cosupdate/apdu/Bytes.h"

namespace simkernel {

using cosupdate::apdu::Bytes;

class SeMediaManager {
  public:
    static SeMediaManager& instance();

    // False, and nothing registered, when a callback is missing.
    bool install(const NATIVECOSPATCH_SEMEDIA_COMPONENT& component);
    bool isInstalled() const { return m_component.has_value(); }
    bool drop();

    // Served by the start, isStarted and stop callbacks; false without a
    // component.
    bool start();
    bool isStarted(bool* started);
    bool stop();

    // The SELECT answer (data and status word), or empty when the transport
    // could not connect.
    std::optional<Bytes> open(const Bytes& aid);
    // The answer, or empty when the exchange failed.
    std::optional<Bytes> transmit(const Bytes& command);
    // Closes the connection if the transport reports one.
    void closeIfConnected();

  private:
    std::optional<NATIVECOSPATCH_SEMEDIA_COMPONENT> m_component;
    Bytes m_answer;  // sized once: every exchange answers into it
};

// Closes whatever connection is open when the scope ends, also on failure.
class ConnectionGuard {
  public:
    ConnectionGuard() = default;
    ~ConnectionGuard();
    ConnectionGuard(const ConnectionGuard&) = delete;
    ConnectionGuard& operator=(const ConnectionGuard&) = delete;
};

}  // namespace simkernel

#endif  // SIMKERNEL_SE_MEDIA_H
