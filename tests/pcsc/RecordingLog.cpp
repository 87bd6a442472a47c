#include "RecordingLog.h"

#include <algorithm>

namespace pcsce2e {

void RecordingLog::writeLogMessage(Zelmar::Device::COS::V1_0::COSUpdateLogLevel level,
                                   const std::string& message) {
    m_lines.push_back(std::to_string(level) + " " + message);
}

bool RecordingLog::contains(const std::string& text) const {
    return std::any_of(m_lines.begin(), m_lines.end(), [&](const std::string& line) {
        return line.find(text) != std::string::npos;
    });
}

std::string RecordingLog::dump() const {
    std::string text;
    for (const std::string& line : m_lines) {
        text += line + '\n';
    }
    return text;
}

}  // namespace pcsce2e
