// --record FILE: the transport's secure element seen through a recorder, so
// that the trace holds what the chip saw, under the tool's own decorators.

#include <utility>

#include "Errors.h"
#include "Transport.h"
#include "cosupdate/trace/RecordingSEMedia.h"

namespace cosupdate::cli {

namespace {

class RecordTransport : public Transport {
  public:
    RecordTransport(std::unique_ptr<Transport> inner, const std::string& file)
        : m_inner(std::move(inner)),
          m_media(std::make_shared<trace::RecordingSEMedia>(
              m_inner->media(), file,
              std::string("cosupdate ") + COSUPDATE_TOOL_VERSION + ", " + m_inner->description())) {
        // Nothing has reached the chip yet: a trace asked for and impossible
        // is refused before the run rather than reported after it.
        if (m_media->writeError()) {
            throw ToolError("--record: the trace cannot be written: " + *m_media->writeError());
        }
    }

    std::shared_ptr<api::COSUpdateSEMediaInterface> media() override { return m_media; }
    std::string description() const override { return m_inner->description(); }
    std::optional<uint64_t> expectedExchanges() const override {
        return m_inner->expectedExchanges();
    }
    std::optional<std::string> runFailure() const override { return m_inner->runFailure(); }
    std::optional<std::string> traceError() const override {
        if (m_media->writeError()) {
            return "the trace could not be written: " + *m_media->writeError();
        }
        return m_inner->traceError();
    }

  private:
    std::unique_ptr<Transport> m_inner;
    std::shared_ptr<trace::RecordingSEMedia> m_media;
};

}  // namespace

std::unique_ptr<Transport> recordTransport(std::unique_ptr<Transport> inner,
                                           const std::string& file) {
    return std::make_unique<RecordTransport>(std::move(inner), file);
}

}  // namespace cosupdate::cli
