#include "TraceReader.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "LineObject.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::trace {

namespace {

std::string crcText(uint32_t crc) {
    char text[9];
    std::snprintf(text, sizeof text, "%08X", static_cast<unsigned>(crc));
    return text;
}

// The line's members once its seal is checked.
LineObject unseal(const std::string& line) {
    const size_t tail = line.size() >= kCrcTailSize ? line.size() - kCrcTailSize : 0;
    if (line.size() < kCrcTailSize || line.compare(tail, kCrcKey.size(), kCrcKey) != 0 ||
        line.compare(line.size() - 2, 2, "\"}") != 0) {
        throw LineFault("it has no CRC-32 at its end");
    }
    const std::string content = line.substr(0, tail);
    const std::string recorded = line.substr(tail + kCrcKey.size(), 8);
    const std::string computed = crcText(crcOf(content));
    if (recorded != computed) {
        throw LineFault("it is damaged: its CRC-32 is " + recorded + ", its content gives " +
                        computed);
    }
    return LineObject::parse(content + "}");
}

template <typename T>
T required(const LineObject& object, const char* key) {
    std::optional<T> value = object.member<T>(key);
    if (!value) {
        throw LineFault(std::string("it has no valid \"") + key + "\"");
    }
    return std::move(*value);
}

Bytes hexMember(const LineObject& object, const char* key) {
    const std::string text = required<std::string>(object, key);
    apdu::HexDecoded decoded = apdu::decodeHex(text);
    if (decoded.error) {
        throw LineFault(std::string("its \"") + key +
                        "\" is not hex: " + apdu::describe(*decoded.error, text));
    }
    return std::move(decoded.bytes);
}

CallRecord callOf(const LineObject& object) {
    CallRecord call;
    call.number = required<uint64_t>(object, "n");
    const std::string op = required<std::string>(object, "op");
    const std::optional<Operation> operation = operationNamed(op);
    if (!operation) {
        throw LineFault("it names no call of the transport: '" + op + "'");
    }
    call.operation = *operation;
    call.elapsedNs = required<uint64_t>(object, "elapsedNs");
    if (hasBytesIn(call.operation)) {
        call.bytesIn = hexMember(object, bytesInKey(call.operation));
        call.response = hexMember(object, "response");
    }
    if (const std::optional<std::string> thrown = object.member<std::string>("thrown")) {
        const std::optional<Thrown> kind = thrownNamed(*thrown);
        if (!kind) {
            throw LineFault("it names no kind of exception: '" + *thrown + "'");
        }
        call.thrown = *kind;
        call.what = required<std::string>(object, "what");
    } else if (returnsBool(call.operation)) {
        call.result = required<bool>(object, "result");
    }
    return call;
}

// The recorder's name; throws LineFault when `header` is not one of a trace.
std::string recorderOf(const LineObject& header, const std::string& path) {
    const std::optional<std::string> format = header.member<std::string>("format");
    const std::optional<uint64_t> version = header.member<uint64_t>("version");
    if (format != kFormatName || !version) {
        throw std::runtime_error(path + ": not a trace: its first line is not a " + kFormatName +
                                 " header");
    }
    if (*version != static_cast<uint64_t>(kFormatVersion)) {
        throw std::runtime_error(path + ": trace format version " + std::to_string(*version) +
                                 "; this replay reads version " + std::to_string(kFormatVersion));
    }
    return header.member<std::string>("recorder").value_or("");
}

void checkHeader(const std::string& line, const std::string& path, Trace& trace) {
    try {
        trace.recorder = recorderOf(unseal(line), path);
    } catch (const LineFault& e) {
        throw std::runtime_error(path + ": not a trace: its first line " + e.what());
    }
}

TraceEntry entryOf(const std::string& line, size_t number, bool complete) {
    TraceEntry entry;
    entry.line = number;
    try {
        if (!complete) {
            throw LineFault("it is cut short: it has no newline");
        }
        entry.call = callOf(unseal(line));
    } catch (const LineFault& e) {
        entry.fault = e.what();
    }
    return entry;
}

}  // namespace

Trace readTrace(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file.is_open() || file.bad()) {
        throw std::runtime_error(path + ": the trace cannot be read");
    }
    if (text.empty()) {
        throw std::runtime_error(path + ": not a trace: the file is empty");
    }
    Trace trace;
    size_t number = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find('\n', start);
        const bool complete = end != std::string::npos;
        const std::string line = text.substr(start, complete ? end - start : std::string::npos);
        if (++number == 1) {
            checkHeader(line, path, trace);
        } else {
            trace.entries.push_back(entryOf(line, number, complete));
        }
        start = complete ? end + 1 : text.size();
    }
    return trace;
}

}  // namespace cosupdate::trace
