#include "cosupdate/trace/RecordingSEMedia.h"

#include <ctime>
#include <exception>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "TraceFile.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::trace {

namespace {

using Clock = std::chrono::steady_clock;

// Room for a header or a call line of short APDUs, so that most calls never
// allocate.
constexpr size_t kLineReserve = 1024;

int64_t nanoseconds(Clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count();
}

// "2024-05-01T12:00:00Z": when, on the wall clock, the trace began. Only the
// header carries it; calls are timed on the monotonic clock.
std::string utcNow() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    char text[32] = "unknown";
    if (gmtime_r(&now, &utc) != nullptr) {
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    }
    return text;
}

void appendMember(std::string& line, const char* key) {
    line += ",\"";
    line += key;
    line += "\":";
}

void appendHexMember(std::string& line, const char* key, const std::vector<uint8_t>& bytes) {
    appendMember(line, key);
    line.push_back('"');
    line += apdu::encodeHex(bytes);
    line.push_back('"');
}

std::string headerLine(const std::string& recorder) {
    std::string line = "{\"format\":";
    appendJsonString(line, kFormatName);
    appendMember(line, "version");
    line += std::to_string(kFormatVersion);
    appendMember(line, "recorder");
    appendJsonString(line, recorder);
    appendMember(line, "clock");
    appendJsonString(line, "monotonic");
    appendMember(line, "started");
    appendJsonString(line, utcNow());
    sealLine(line);
    return line;
}

}  // namespace

// One call on its way through: what it sends, what it answered or threw.
struct RecordingSEMedia::Call {
    explicit Call(Operation op, const std::vector<uint8_t>* in = nullptr,
                  const std::vector<uint8_t>* out = nullptr)
        : operation(op), bytesIn(in), response(out) {}

    Operation operation;
    const std::vector<uint8_t>* bytesIn;
    const std::vector<uint8_t>* response;
    std::optional<bool> result;
    Thrown thrown = Thrown::Nothing;
    std::string what;
    int64_t startNs = 0;
    int64_t elapsedNs = 0;
};

RecordingSEMedia::RecordingSEMedia(std::shared_ptr<api::COSUpdateSEMediaInterface> inner,
                                   const std::string& path, const std::string& recorder)
    : m_inner(std::move(inner)), m_file(std::make_unique<TraceFile>(path)), m_start(Clock::now()) {
    if (!m_inner) {
        throw std::invalid_argument("RecordingSEMedia needs a transport");
    }
    m_line.reserve(kLineReserve);
    m_file->append(headerLine(recorder));
}

RecordingSEMedia::~RecordingSEMedia() = default;

const std::optional<std::string>& RecordingSEMedia::writeError() const {
    return m_file->error();
}

template <typename Body>
auto RecordingSEMedia::record(Call& call, Body body) -> decltype(body()) {
    const Clock::time_point begin = Clock::now();
    call.startNs = nanoseconds(begin - m_start);
    const auto finish = [&](Thrown thrown, const char* what) {
        call.elapsedNs = nanoseconds(Clock::now() - begin);
        call.thrown = thrown;
        if (what != nullptr) {
            call.what = what;
        }
        write(call);
    };
    try {
        if constexpr (std::is_void_v<decltype(body())>) {
            body();
            finish(Thrown::Nothing, nullptr);
        } else {
            const auto result = body();
            call.result = result;
            finish(Thrown::Nothing, nullptr);
            return result;
        }
    } catch (const api::COSUpdateException& e) {
        finish(Thrown::Library, e.what());
        throw;
    } catch (const std::exception& e) {
        finish(Thrown::Standard, e.what());
        throw;
    } catch (...) {
        finish(Thrown::Other, "");
        throw;
    }
}

void RecordingSEMedia::write(const Call& call) {
    // Whatever goes wrong here stays with the trace: the call's outcome is
    // the inner transport's alone.
    try {
        m_line.assign("{\"n\":");
        m_line += std::to_string(++m_calls);
        appendMember(m_line, "op");
        appendJsonString(m_line, operationName(call.operation));
        appendMember(m_line, "monoNs");
        m_line += std::to_string(call.startNs);
        appendMember(m_line, "elapsedNs");
        m_line += std::to_string(call.elapsedNs);
        if (call.bytesIn != nullptr) {
            appendHexMember(m_line, bytesInKey(call.operation), *call.bytesIn);
            appendHexMember(m_line, "response", *call.response);
        }
        if (call.result) {
            appendMember(m_line, "result");
            m_line += *call.result ? "true" : "false";
        }
        if (call.thrown != Thrown::Nothing) {
            appendMember(m_line, "thrown");
            appendJsonString(m_line, thrownName(call.thrown));
            appendMember(m_line, "what");
            appendJsonString(m_line, call.what);
        }
        sealLine(m_line);
        m_file->append(m_line);
    } catch (const std::exception& e) {
        m_file->fail(std::string("a line could not be made: ") + e.what());
    }
}

void RecordingSEMedia::initialize() {
    Call call(Operation::Initialize);
    record(call, [this] { m_inner->initialize(); });
}

bool RecordingSEMedia::isInitialized() {
    Call call(Operation::IsInitialized);
    return record(call, [this] { return m_inner->isInitialized(); });
}

void RecordingSEMedia::openConnection(const std::vector<uint8_t>& aid,
                                      std::vector<uint8_t>& response) {
    Call call(Operation::OpenConnection, &aid, &response);
    record(call, [&] { m_inner->openConnection(aid, response); });
}

bool RecordingSEMedia::isConnected() {
    Call call(Operation::IsConnected);
    return record(call, [this] { return m_inner->isConnected(); });
}

void RecordingSEMedia::transmitApdu(const std::vector<uint8_t>& command,
                                    std::vector<uint8_t>& response) {
    Call call(Operation::TransmitApdu, &command, &response);
    record(call, [&] { m_inner->transmitApdu(command, response); });
}

void RecordingSEMedia::closeConnection() {
    Call call(Operation::CloseConnection);
    record(call, [this] { m_inner->closeConnection(); });
}

}  // namespace cosupdate::trace
