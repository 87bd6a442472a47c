#include "ReplayTransport.h"

#include <stdexcept>

#include "Errors.h"
#include "cosupdate/trace/ReplaySEMedia.h"

namespace cosupdate::cli {

namespace {

// A trace file name may hold commas; only a last ",timing" is the option.
constexpr std::string_view kTiming = ",timing";

class ReplayTransport : public Transport {
  public:
    ReplayTransport(const std::string& file, trace::ReplayOptions options)
        : m_file(file), m_media(open(file, options)) {}

    std::shared_ptr<api::COSUpdateSEMediaInterface> media() override { return m_media; }
    std::string description() const override {
        return "replay of " + m_file + " (recorded by " + m_media->recorder() + ")";
    }
    std::optional<uint64_t> expectedExchanges() const override { return m_media->exchangesLeft(); }
    std::optional<std::string> runFailure() const override { return m_media->divergence(); }
    std::optional<std::string> traceError() const override { return m_media->mismatch(); }

  private:
    static std::shared_ptr<trace::ReplaySEMedia> open(const std::string& file,
                                                      trace::ReplayOptions options) {
        try {
            return std::make_shared<trace::ReplaySEMedia>(file, options);
        } catch (const std::runtime_error& e) {
            throw ToolError(e.what());
        }
    }

    std::string m_file;
    std::shared_ptr<trace::ReplaySEMedia> m_media;
};

}  // namespace

std::unique_ptr<Transport> openReplayTransport(const TransportSettings& settings) {
    std::string file = settings.argument;
    trace::ReplayOptions options;
    if (file.size() > kTiming.size() &&
        file.compare(file.size() - kTiming.size(), kTiming.size(), kTiming) == 0) {
        file.resize(file.size() - kTiming.size());
        options.timing = true;
    }
    if (file.empty()) {
        throw UsageError("--transport replay needs a trace: replay:FILE[,timing]");
    }
    return std::make_unique<ReplayTransport>(file, options);
}

}  // namespace cosupdate::cli
