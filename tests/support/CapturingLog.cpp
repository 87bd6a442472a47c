#include "CapturingLog.h"

#include <algorithm>
#include <stdexcept>

namespace testsupport {

void CapturingLog::writeLogMessage(COSUpdateLogLevel level, const std::string& message) {
    if (++written == throwAt) {
        throw std::runtime_error("log sink failure");
    }
    lines.push_back(LogLine{level, message});
}

bool CapturingLog::has(const std::string& text) const {
    return count(text) > 0;
}

bool CapturingLog::has(COSUpdateLogLevel level, const std::string& text) const {
    return std::find(lines.begin(), lines.end(), LogLine{level, text}) != lines.end();
}

size_t CapturingLog::count(const std::string& text) const {
    return static_cast<size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const LogLine& line) { return line.text == text; }));
}

std::vector<std::string> CapturingLog::texts(COSUpdateLogLevel minimum) const {
    std::vector<std::string> result;
    for (const auto& line : lines) {
        if (line.level >= minimum) {
            result.push_back(line.text);
        }
    }
    return result;
}

}  // namespace testsupport
