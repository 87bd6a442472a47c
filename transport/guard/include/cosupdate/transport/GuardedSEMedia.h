// A transport that lets an exchange through only while the run may go on. A
// stop request makes it refuse the next exchange; a failure of the inner
// transport that is not the library's own exception (a state file that
// cannot be written, say) is kept as the run's fatal error, and every later
// exchange is refused. Refusals throw COSUpdateException, so the library ends
// its operation the way it ends one on a lost link; the owner then asks what
// happened (interrupted(), fatalError()) and reports that rather than the
// failure the library saw.
//
//   auto guard = std::make_shared<cosupdate::transport::GuardedSEMedia>(
//       inner, [] { return stopFlag.load(); });
//   engine->initialize(guard);
//
// Not thread-safe, like the engine that drives it; `stopRequested` alone may
// read state that another thread or a signal handler sets.

#ifndef COSUPDATE_TRANSPORT_GUARDED_SE_MEDIA_H
#define COSUPDATE_TRANSPORT_GUARDED_SE_MEDIA_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::transport {

namespace api = Zelmar::Device::COS::V1_0;

class GuardedSEMedia final : public api::COSUpdateSEMediaInterface {
  public:
    using StopCheck = std::function<bool()>;

    // `stopRequested` is asked before every exchange. Throws
    // std::invalid_argument when `inner` or `stopRequested` is empty.
    GuardedSEMedia(std::shared_ptr<api::COSUpdateSEMediaInterface> inner, StopCheck stopRequested);

    void initialize() override;
    bool isInitialized() override;
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override;
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override;

    // An exchange was refused because a stop was requested; stays true.
    bool interrupted() const { return m_interrupted; }
    // The first failure that was not a COSUpdateException, as its what().
    const std::optional<std::string>& fatalError() const { return m_fatal; }

  private:
    void admitExchange();
    template <typename Call>
    auto passOn(Call call) -> decltype(call());

    std::shared_ptr<api::COSUpdateSEMediaInterface> m_inner;
    StopCheck m_stopRequested;
    bool m_interrupted = false;
    std::optional<std::string> m_fatal;
};

}  // namespace cosupdate::transport

#endif  // COSUPDATE_TRANSPORT_GUARDED_SE_MEDIA_H
