// A transport wrapped so that every call to it is written to a trace file as
// it happens: the six calls of COSUpdateSEMediaInterface with their bytes
// (AID, command, response), the bool they return, the exception they throw
// (its kind and text; it is then rethrown unchanged), when each began on the
// monotonic clock and how long it took. One line per call, each written with
// one write(), so that a crash of the process or a card pulled mid-update
// leaves every call up to then in the file. Format: docs/trace-format.md.
//
//   auto recorder = std::make_shared<cosupdate::trace::RecordingSEMedia>(
//       myTransport, "/data/vendor/cos/update.trace", "my-hal 2.1");
//   engine->initialize(recorder);
//   ...
//   if (recorder->writeError()) { /* log it: the trace is incomplete */ }
//
// Recording never changes the run: a trace that cannot be written is not a
// failed exchange. The first write error is kept and recording stops there;
// every call still goes through. Not thread-safe, like the engine.

#ifndef COSUPDATE_TRACE_RECORDING_SE_MEDIA_H
#define COSUPDATE_TRACE_RECORDING_SE_MEDIA_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"
#include "cosupdate/trace/TraceFormat.h"

namespace cosupdate::trace {

namespace api = Zelmar::Device::COS::V1_0;

class TraceFile;

class RecordingSEMedia final : public api::COSUpdateSEMediaInterface {
  public:
    // Creates `path` (or empties it) and writes the header, which names
    // `recorder` (say, the program and its version) as what recorded it. A
    // file that cannot be created is kept as writeError(); the calls are then
    // passed on unrecorded. Throws std::invalid_argument when `inner` is empty.
    RecordingSEMedia(std::shared_ptr<api::COSUpdateSEMediaInterface> inner, const std::string& path,
                     const std::string& recorder);
    // Syncs the trace to its device and closes it.
    ~RecordingSEMedia() override;
    RecordingSEMedia(const RecordingSEMedia&) = delete;
    RecordingSEMedia& operator=(const RecordingSEMedia&) = delete;

    void initialize() override;
    bool isInitialized() override;
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override;
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override;

    // Why the trace is incomplete ("TRACE: No space left on device"), if it is.
    const std::optional<std::string>& writeError() const;
    // The calls recorded so far.
    uint64_t calls() const { return m_calls; }

  private:
    struct Call;
    template <typename Body>
    auto record(Call& call, Body body) -> decltype(body());
    void write(const Call& call);

    std::shared_ptr<api::COSUpdateSEMediaInterface> m_inner;
    std::unique_ptr<TraceFile> m_file;
    std::chrono::steady_clock::time_point m_start;
    uint64_t m_calls = 0;
    std::string m_line;  // reused: no allocation per call once it has grown
};

}  // namespace cosupdate::trace

#endif  // COSUPDATE_TRACE_RECORDING_SE_MEDIA_H
