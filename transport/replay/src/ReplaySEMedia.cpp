#include "cosupdate/trace/ReplaySEMedia.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "Difference.h"
#include "TraceReader.h"

namespace cosupdate::trace {

namespace {

const std::vector<uint8_t> kNoBytes;

bool isAnsweredExchange(const TraceEntry& entry) {
    return entry.call && hasBytesIn(entry.call->operation) && entry.call->thrown == Thrown::Nothing;
}

}  // namespace

ReplaySEMedia::ReplaySEMedia(const std::string& path, ReplayOptions options)
    : m_trace(std::make_unique<Trace>(readTrace(path))), m_options(options) {}

ReplaySEMedia::~ReplaySEMedia() = default;

const std::string& ReplaySEMedia::recorder() const {
    return m_trace->recorder;
}

uint64_t ReplaySEMedia::callsLeft() const {
    return m_trace->entries.size() - m_next;
}

uint64_t ReplaySEMedia::exchangesLeft() const {
    const auto& entries = m_trace->entries;
    return static_cast<uint64_t>(std::count_if(entries.begin() + static_cast<ptrdiff_t>(m_next),
                                               entries.end(), isAnsweredExchange));
}

std::optional<std::string> ReplaySEMedia::mismatch() const {
    if (m_divergence) {
        return m_divergence;
    }
    if (m_next == m_trace->entries.size()) {
        return std::nullopt;
    }
    const TraceEntry& next = m_trace->entries[m_next];
    const std::string nextCall =
        next.call ? describeCall(next.call->operation, next.call->bytesIn) : "a damaged line";
    return "replay: the run ended after call " + std::to_string(m_next) + "; the trace holds " +
           std::to_string(callsLeft()) + " more, the next one " + nextCall;
}

void ReplaySEMedia::diverge(const std::string& text) {
    m_divergence = "replay: call " + std::to_string(m_next + 1) + ": " + text;
    throw api::COSUpdateException(*m_divergence);
}

const CallRecord& ReplaySEMedia::expect(Operation operation, const std::vector<uint8_t>& bytesIn) {
    if (m_divergence) {
        throw api::COSUpdateException(*m_divergence);
    }
    if (m_next == m_trace->entries.size()) {
        diverge("the library called " + describeCall(operation, bytesIn) +
                ", the trace ends after call " + std::to_string(m_next));
    }
    const TraceEntry& entry = m_trace->entries[m_next];
    if (!entry.call) {
        diverge("trace line " + std::to_string(entry.line) + ": " + entry.fault);
    }
    if (entry.call->number != m_next + 1) {
        diverge("trace line " + std::to_string(entry.line) + " holds call " +
                std::to_string(entry.call->number));
    }
    if (const std::optional<std::string> different = difference(operation, bytesIn, *entry.call)) {
        diverge(*different);
    }
    ++m_next;
    return *entry.call;
}

void ReplaySEMedia::answer(const CallRecord& call, std::vector<uint8_t>* response) {
    if (m_options.timing) {
        std::this_thread::sleep_for(std::chrono::nanoseconds(call.elapsedNs));
    }
    if (response != nullptr) {
        *response = call.response;
    }
    switch (call.thrown) {
        case Thrown::Nothing:
            return;
        case Thrown::Library:
            throw api::COSUpdateException(call.what);
        case Thrown::Standard:
            throw std::runtime_error(call.what);
        case Thrown::Other:
            throw ReplayedForeignException{};
    }
}

void ReplaySEMedia::initialize() {
    answer(expect(Operation::Initialize, kNoBytes), nullptr);
}

bool ReplaySEMedia::isInitialized() {
    const CallRecord& call = expect(Operation::IsInitialized, kNoBytes);
    answer(call, nullptr);
    return *call.result;
}

void ReplaySEMedia::openConnection(const std::vector<uint8_t>& aid,
                                   std::vector<uint8_t>& response) {
    answer(expect(Operation::OpenConnection, aid), &response);
}

bool ReplaySEMedia::isConnected() {
    const CallRecord& call = expect(Operation::IsConnected, kNoBytes);
    answer(call, nullptr);
    return *call.result;
}

void ReplaySEMedia::transmitApdu(const std::vector<uint8_t>& command,
                                 std::vector<uint8_t>& response) {
    answer(expect(Operation::TransmitApdu, command), &response);
}

void ReplaySEMedia::closeConnection() {
    answer(expect(Operation::CloseConnection, kNoBytes), nullptr);
}

}  // namespace cosupdate::trace
