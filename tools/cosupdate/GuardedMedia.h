// The transport as every command sees it: it lets an exchange through only
// while the run may go on. A stop request (StopRequest.h) makes it refuse the
// next exchange; a failure of the transport that is not the library's own
// exception (the chip state file cannot be written) is kept as the run's
// fatal error and every later exchange is refused. Refusals throw
// COSUpdateException, so the library ends its operation the way it ends one
// on a lost link; the command then asks what happened and reports that,
// rather than the failed script the library saw.

#ifndef COSUPDATE_CLI_GUARDED_MEDIA_H
#define COSUPDATE_CLI_GUARDED_MEDIA_H

#include <memory>
#include <optional>
#include <string>

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::cli {

namespace api = Zelmar::Device::COS::V1_0;

class GuardedMedia : public api::COSUpdateSEMediaInterface {
  public:
    using StopCheck = bool (*)();

    // `stopRequested` is polled before every exchange.
    GuardedMedia(std::shared_ptr<api::COSUpdateSEMediaInterface> inner, StopCheck stopRequested);

    void initialize() override;
    bool isInitialized() override;
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override;
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override;

    // An exchange was refused because a stop was requested.
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

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_GUARDED_MEDIA_H
