// The log bridge with the kernel's fixed formats and fuzzed arguments: each
// line delivered is printf's text cut to 510 characters. Input per message:
// level, format, a string up to a NUL, a 4-byte integer, two more strings.

#include <android-base/logging.h>

#include <cstdarg>
#include <memory>

#include "FuzzSupport.h"
#include "ZelmarNativeCOSUpdateLogWrapper.h"

namespace {

using namespace Zelmar::Device::COS::V1_0;

class RecordingSink : public COSUpdateLogInterface {
  public:
    void writeLogMessage(COSUpdateLogLevel, const std::string& line) override {
        lines.push_back(line);
    }
    std::vector<std::string> lines;
};

struct Args {
    NATIVECOSPATCH_LOG_MESSAGE_LEVEL level;
    std::string a, b, c;
    int32_t n;
};

// Calls the bridge as the kernel does, and returns what printf makes of the
// same format and arguments.
__attribute__((format(printf, 2, 3))) std::string line(const Args& x, const char* format, ...) {
    va_list args, bridge, measure;
    va_start(args, format);
    va_copy(bridge, args);
    va_copy(measure, args);
    _COSUpdateLogWrapper_writeMessage(x.level, format, bridge);
    std::string text(std::vsnprintf(nullptr, 0, format, measure) + 1, '\0');
    std::vsnprintf(&text[0], text.size(), format, args);
    va_end(measure);
    va_end(bridge);
    va_end(args);
    text.pop_back();
    return text;
}

// The kernel's formats.
std::string (*const kFormats[])(const Args&) = {
    [](const Args& x) { return line(x, "%s", x.a.c_str()); },
    [](const Args& x) { return line(x, "%s %d %s", x.a.c_str(), x.n, x.b.c_str()); },
    [](const Args& x) { return line(x, "apdu > %s", x.a.c_str()); },
    [](const Args& x) { return line(x, "[SimKernel] SE media: < %s", x.a.c_str()); },
    [](const Args& x) { return line(x, "%s%s%s", x.a.c_str(), x.b.c_str(), x.c.c_str()); },
    [](const Args& x) { return line(x, "%s, line %d: %s", x.a.c_str(), x.n, x.b.c_str()); },
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // open() writes to the platform log on every call.
    [[maybe_unused]] static const auto quiet =
        android::base::SetMinimumLogSeverity(android::base::ERROR);
    fuzzing::FuzzInput in(data, size);
    auto sink = std::make_shared<RecordingSink>();
    NATIVECOSPATCH_LOG_COMPONENT component{};
    COSUpdateLogWrapper_init(sink, &component);
    FUZZ_CHECK(_COSUpdateLogWrapper_open(), "the bridge did not open");
    do {
        Args x{};
        x.level = static_cast<NATIVECOSPATCH_LOG_MESSAGE_LEVEL>(in.byte() % 8 - 1);
        const uint8_t format = in.byte();
        x.a = in.text();
        const uint32_t high = in.u16();
        x.n = static_cast<int32_t>(high << 16 | in.u16());
        x.b = in.text();
        x.c = in.text();
        sink->lines.clear();
        const std::string expected = kFormats[format % 6](x).substr(0, 510);
        FUZZ_CHECK(sink->lines == std::vector<std::string>(!expected.empty(), expected),
                   std::to_string(sink->lines.size()) + " line(s) delivered for a " +
                       std::to_string(expected.size()) + "-character line");
    } while (!in.exhausted());
    COSUpdateLogWrapper_release();
    return 0;
}
