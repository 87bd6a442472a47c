// A transport that answers from a trace RecordingSEMedia wrote, with no chip
// and no reader: each call is checked against the recorded one (the
// operation, the AID or command bytes) and answered as it was then: the same
// response, the same bool, or the same exception. A run of the same code over
// the same inputs thus makes the same calls, logs the same lines and ends
// with the same result as the recorded run.
//
//   auto replay = std::make_shared<cosupdate::trace::ReplaySEMedia>("field.trace");
//   engine->initialize(replay);
//   ... run as the recorded run did ...
//   if (replay->divergence()) { /* where the run left the trace */ }
//
// At the first difference (another call, other bytes, a call past the end,
// a damaged line) the call throws COSUpdateException saying where, and so
// does every call after it: the replay has lost its place. A recorded
// COSUpdateException is thrown again with its text; any other std::exception
// as std::runtime_error with its text; anything else as
// ReplayedForeignException. Not thread-safe, like the engine.

#ifndef COSUPDATE_TRACE_REPLAY_SE_MEDIA_H
#define COSUPDATE_TRACE_REPLAY_SE_MEDIA_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"
#include "cosupdate/trace/TraceFormat.h"

namespace cosupdate::trace {

namespace api = Zelmar::Device::COS::V1_0;

// Stands for a recorded exception that was not a std::exception.
struct ReplayedForeignException {};

struct ReplayOptions {
    // Each call takes as long as it took when it was recorded.
    bool timing = false;
};

struct Trace;
struct CallRecord;

class ReplaySEMedia final : public api::COSUpdateSEMediaInterface {
  public:
    // Reads the whole trace at `path`. Throws std::runtime_error naming the
    // file when it cannot be read or its header is not one of a trace.
    explicit ReplaySEMedia(const std::string& path, ReplayOptions options = {});
    ~ReplaySEMedia() override;
    ReplaySEMedia(const ReplaySEMedia&) = delete;
    ReplaySEMedia& operator=(const ReplaySEMedia&) = delete;

    void initialize() override;
    bool isInitialized() override;
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override;
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override;

    // What the trace's header says recorded it.
    const std::string& recorder() const;
    // Exchanges still in the trace: openConnection and transmitApdu calls
    // that answered.
    uint64_t exchangesLeft() const;
    // Calls still in the trace.
    uint64_t callsLeft() const;
    // The first difference found, as the exception said it.
    const std::optional<std::string>& divergence() const { return m_divergence; }
    // The run made every call the trace holds, and no other: no divergence
    // and no call left. Otherwise what tells the run from the trace.
    std::optional<std::string> mismatch() const;

  private:
    const CallRecord& expect(Operation operation, const std::vector<uint8_t>& bytesIn);
    [[noreturn]] void diverge(const std::string& text);
    void answer(const CallRecord& call, std::vector<uint8_t>* response);

    std::unique_ptr<Trace> m_trace;
    ReplayOptions m_options;
    size_t m_next = 0;  // the entry the next call is checked against
    std::optional<std::string> m_divergence;
};

}  // namespace cosupdate::trace

#endif  // COSUPDATE_TRACE_REPLAY_SE_MEDIA_H
