// Feeds the log bridge the kernel's messages with arguments of any length and
// content. The formats are the kernel's own, fixed; only the arguments come
// from the input. Every line must reach the sink exactly as printf would
// format it, cut to 510 characters, at the translated level, and the fixed
// 512-byte buffer must never be overrun (caught by AddressSanitizer).
//
// Input: level byte, format byte, then the arguments: strings end at a NUL,
// integers take four bytes.

#include <android-base/logging.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "ZelmarNativeCOSUpdateLogWrapper.h"

namespace {

using namespace Zelmar::Device::COS::V1_0;
using fuzzing::FuzzInput;

// The longest line the bridge delivers: its buffer less the terminator and
// the one byte it keeps in reserve.
constexpr size_t kLongestLine = 510;

class RecordingSink : public COSUpdateLogInterface {
  public:
    void writeLogMessage(COSUpdateLogLevel level, const std::string& message) override {
        levels.push_back(level);
        lines.push_back(message);
    }
    std::vector<COSUpdateLogLevel> levels;
    std::vector<std::string> lines;
};

// What printf makes of the message, however long.
std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list measure;
    va_copy(measure, args);
    const int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    if (length > 0) {
        std::vsnprintf(&text[0], text.size() + 1, format, args);
    }
    va_end(args);
    return text;
}

// Calls the bridge as the kernel does: printf-style arguments.
bool writeMessage(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const bool result = _COSUpdateLogWrapper_writeMessage(level, format, args);
    va_end(args);
    return result;
}

COSUpdateLogLevel translated(int level) {
    return level >= COSUPDATE_LOG_VERBOSE && level <= COSUPDATE_LOG_ERROR
               ? static_cast<COSUpdateLogLevel>(level)
               : COSUPDATE_LOG_DEBUG;
}

// One kernel message: the bridge's delivery and printf's text for it.
struct Written {
    bool result;
    std::string expected;
};

Written writeOne(FuzzInput& in, NATIVECOSPATCH_LOG_MESSAGE_LEVEL level) {
    const uint8_t format = in.byte();
    const std::string first = in.text();
    const uint32_t high = in.u16();
    const auto number = static_cast<int32_t>(high << 16 | in.u16());
    const std::string second = in.text();
    const std::string third = in.text();
    switch (format % 6) {
        case 0:
            return {writeMessage(level, "%s", first.c_str()), formatted("%s", first.c_str())};
        case 1:
            return {writeMessage(level, "%s %d %s", first.c_str(), number, second.c_str()),
                    formatted("%s %d %s", first.c_str(), number, second.c_str())};
        case 2:
            return {writeMessage(level, "apdu > %s", first.c_str()),
                    formatted("apdu > %s", first.c_str())};
        case 3:
            return {writeMessage(level, "[SimKernel] SE media: < %s", first.c_str()),
                    formatted("[SimKernel] SE media: < %s", first.c_str())};
        case 4:
            return {writeMessage(level, "%s%s%s", first.c_str(), second.c_str(), third.c_str()),
                    formatted("%s%s%s", first.c_str(), second.c_str(), third.c_str())};
        default:
            return {writeMessage(level, "%s, line %d: %s", first.c_str(), number, second.c_str()),
                    formatted("%s, line %d: %s", first.c_str(), number, second.c_str())};
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // open() writes to the platform log on every call; keep the fuzzer's
    // output readable.
    android::base::SetMinimumLogSeverity(android::base::ERROR);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput in(data, size);
    auto sink = std::make_shared<RecordingSink>();
    NATIVECOSPATCH_LOG_COMPONENT component{};
    COSUpdateLogWrapper_init(sink, &component);
    FUZZ_CHECK(_COSUpdateLogWrapper_open(), "the bridge did not open");

    size_t delivered = 0;
    do {
        const int level = static_cast<int>(in.byte() % 8) - 1;  // -1 to 6: also levels unknown
        const Written w = writeOne(in, static_cast<NATIVECOSPATCH_LOG_MESSAGE_LEVEL>(level));
        FUZZ_CHECK(!w.result, "writeMessage() must always answer false");
        if (w.expected.empty()) {
            FUZZ_CHECK(sink->lines.size() == delivered, "an empty message was delivered");
            continue;
        }
        FUZZ_CHECK(sink->lines.size() == delivered + 1, "the message was not delivered once");
        FUZZ_CHECK(sink->lines.back() == w.expected.substr(0, kLongestLine),
                   "delivered \"" + sink->lines.back().substr(0, 80) + "\" (" +
                       std::to_string(sink->lines.back().size()) + " characters), expected " +
                       std::to_string(std::min(w.expected.size(), kLongestLine)));
        FUZZ_CHECK(sink->levels.back() == translated(level), "wrong level");
        ++delivered;
    } while (!in.exhausted());

    COSUpdateLogWrapper_release();
    bool opened = true;
    _COSUpdateLogWrapper_isOpened(&opened);
    FUZZ_CHECK(!opened, "the bridge stayed open after release");
    return 0;
}
