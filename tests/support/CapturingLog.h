// A log sink that keeps every line, and can be told to throw.

#ifndef TESTS_SUPPORT_CAPTURING_LOG_H
#define TESTS_SUPPORT_CAPTURING_LOG_H

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace testsupport {

using Zelmar::Device::COS::V1_0::COSUpdateLogInterface;
using Zelmar::Device::COS::V1_0::COSUpdateLogLevel;

struct LogLine {
    COSUpdateLogLevel level;
    std::string text;
    bool operator==(const LogLine& other) const {
        return level == other.level && text == other.text;
    }
};

class CapturingLog : public COSUpdateLogInterface {
  public:
    void writeLogMessage(COSUpdateLogLevel level, const std::string& message) override {
        if (++written == throwAt) {
            throw std::runtime_error("log sink failure");
        }
        lines.push_back(LogLine{level, message});
    }

    std::vector<LogLine> lines;
    // When non-zero, the throwAt-th line (counting from 1) throws instead.
    size_t throwAt = 0;
    size_t written = 0;

    size_t count(const std::string& text) const {
        return static_cast<size_t>(std::count_if(
            lines.begin(), lines.end(), [&](const LogLine& line) { return line.text == text; }));
    }
    bool has(const std::string& text) const { return count(text) > 0; }
    bool has(COSUpdateLogLevel level, const std::string& text) const {
        return std::find(lines.begin(), lines.end(), LogLine{level, text}) != lines.end();
    }
    // Lines at `minimum` or above, texts only.
    std::vector<std::string> texts(COSUpdateLogLevel minimum) const {
        std::vector<std::string> result;
        for (const auto& line : lines) {
            if (line.level >= minimum) {
                result.push_back(line.text);
            }
        }
        return result;
    }
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_CAPTURING_LOG_H
