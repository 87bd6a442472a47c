#include "Script.h"

namespace simkernel {

namespace {

constexpr size_t kMinAidSize = 5;
constexpr size_t kMaxAidSize = 16;
constexpr size_t kShortHeaderAndLe = 5;     // CLA INS P1 P2 Le
constexpr size_t kExtendedHeaderAndLe = 7;  // CLA INS P1 P2 00 Le Le
constexpr size_t kExtendedLcSize = 3;       // 00 Lc Lc
constexpr size_t kExtendedLeSize = 2;

// ISO 7816-4 cases 1 to 4, short and extended: do the length fields match
// the command's size?
bool lengthsAddUp(const Bytes& apdu) {
    const size_t n = apdu.size();
    if (n <= kShortHeaderAndLe) {
        return true;  // case 1, case 2 short
    }
    if (apdu[4] != 0) {
        const size_t lc = apdu[4];
        return n == kShortHeaderAndLe + lc || n == kShortHeaderAndLe + lc + 1;
    }
    if (n == kExtendedHeaderAndLe) {
        return true;  // case 2 extended
    }
    if (n < kExtendedHeaderAndLe) {
        return false;
    }
    const size_t lc = size_t{apdu[5]} << 8 | apdu[6];
    const size_t headerAndLc = 4 + kExtendedLcSize;
    return lc != 0 && (n == headerAndLc + lc || n == headerAndLc + lc + kExtendedLeSize);
}

std::string at(const Step& step, const std::string& message) {
    return "line " + std::to_string(step.line) + ": " + message;
}

}  // namespace

std::optional<std::string> findInconsistency(const Steps& steps) {
    if (steps.empty()) {
        return std::string("no step");
    }
    const Step* openedBy = nullptr;
    for (const Step& step : steps) {
        switch (step.kind) {
            case StepKind::Open:
                if (openedBy != nullptr) {
                    return at(step, "<open> while the connection opened on line " +
                                        std::to_string(openedBy->line) + " is still open");
                }
                if (step.bytes.size() < kMinAidSize || step.bytes.size() > kMaxAidSize) {
                    return at(step, "AID of " + std::to_string(step.bytes.size()) +
                                        " bytes, 5 to 16 expected");
                }
                openedBy = &step;
                break;
            case StepKind::Apdu:
                if (openedBy == nullptr) {
                    return at(step, "<apdu> outside a connection");
                }
                if (!lengthsAddUp(step.bytes)) {
                    return at(step, "APDU length fields do not match its " +
                                        std::to_string(step.bytes.size()) + " bytes");
                }
                break;
            case StepKind::Close:
                if (openedBy == nullptr) {
                    return at(step, "<close> without a connection");
                }
                openedBy = nullptr;
                break;
        }
    }
    if (openedBy != nullptr) {
        return at(*openedBy, "connection opened here is never closed");
    }
    return std::nullopt;
}

}  // namespace simkernel
