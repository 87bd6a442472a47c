#include "Difference.h"

#include <algorithm>

#include "cosupdate/apdu/Hex.h"

namespace cosupdate::trace {

namespace {

size_t firstDifference(const Bytes& a, const Bytes& b) {
    const size_t common = std::min(a.size(), b.size());
    return static_cast<size_t>(std::mismatch(a.begin(), a.begin() + common, b.begin()).first -
                               a.begin());
}

std::string byteCount(const Bytes& bytes) {
    return std::to_string(bytes.size()) + (bytes.size() == 1 ? " byte" : " bytes");
}

}  // namespace

std::string markedHex(const Bytes& bytes, size_t at) {
    if (at > bytes.size()) {
        return apdu::encodeHex(bytes);
    }
    const std::string tail =
        at < bytes.size() ? apdu::encodeHex(bytes.data() + at + 1, bytes.size() - at - 1) : "";
    const std::string marked = at < bytes.size() ? apdu::encodeHex(bytes.data() + at, 1) : "";
    return apdu::encodeHex(bytes.data(), at) + "[" + marked + "]" + tail;
}

std::string describeCall(Operation operation, const Bytes& bytesIn) {
    std::string text = operationName(operation);
    if (hasBytesIn(operation)) {
        text += " " + apdu::encodeHex(bytesIn);
    }
    return text;
}

std::optional<std::string> difference(Operation operation, const Bytes& bytesIn,
                                      const CallRecord& recorded) {
    if (operation != recorded.operation) {
        return "the library called " + describeCall(operation, bytesIn) + ", the trace holds " +
               describeCall(recorded.operation, recorded.bytesIn);
    }
    if (!hasBytesIn(operation) || bytesIn == recorded.bytesIn) {
        return std::nullopt;
    }
    const size_t at = firstDifference(bytesIn, recorded.bytesIn);
    const bool sameSize = bytesIn.size() == recorded.bytesIn.size();
    return std::string(operationName(operation)) + " differs at byte " + std::to_string(at) +
           ": the library sent " + markedHex(bytesIn, at) +
           (sameSize ? "" : " (" + byteCount(bytesIn) + ")") + ", the trace holds " +
           markedHex(recorded.bytesIn, at) +
           (sameSize ? "" : " (" + byteCount(recorded.bytesIn) + ")");
}

}  // namespace cosupdate::trace
