// A log sink that keeps every line, and can be told to throw.

#ifndef TESTS_SUPPORT_CAPTURING_LOG_H
#define TESTS_SUPPORT_CAPTURING_LOG_H

#include <string>
#include <utility>
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
    void writeLogMessage(COSUpdateLogLevel level, const std::string& message) override;

    std::vector<LogLine> lines;
    // When non-zero, the throwAt-th line (counting from 1) throws instead.
    size_t throwAt = 0;
    size_t written = 0;

    bool has(const std::string& text) const;
    bool has(COSUpdateLogLevel level, const std::string& text) const;
    size_t count(const std::string& text) const;
    // Lines at `level` or above, texts only.
    std::vector<std::string> texts(COSUpdateLogLevel minimum) const;
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_CAPTURING_LOG_H
