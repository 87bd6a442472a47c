// The default sink writes through Android's LOG(); on the host, Debian's
// libbase prints those lines to stderr, where these tests read them.

#include <gtest/gtest.h>

#include <cerrno>
#include <regex>

#include "EngineTest.h"

namespace testsupport {
namespace {

struct PlatformLine {
    char severity;
    std::string text;
};

std::vector<PlatformLine> platformLines(const std::string& stderrText) {
    static const std::regex kLine(R"(^\S+ ([A-Z]) .* ZelmarNativeCOSUpdate\.cpp:\d+\] (.*)$)");
    std::vector<PlatformLine> lines;
    std::istringstream in(stderrText);
    for (std::string line; std::getline(in, line);) {
        std::smatch match;
        if (std::regex_match(line, match, kLine)) {
            lines.push_back(PlatformLine{match[1].str()[0], match[2].str()});
        }
    }
    return lines;
}

std::vector<PlatformLine> writeThroughDefaultSink(int level, const std::string& message) {
    COSUpdateLogInterface sink;
    testing::internal::CaptureStderr();
    sink.writeLogMessage(static_cast<COSUpdateLogLevel>(level), message);
    return platformLines(testing::internal::GetCapturedStderr());
}

TEST(DefaultLogSink, MapsEachLevelToOneLineAtItsSeverity) {
    const struct {
        int level;
        char severity;  // 0: no line
    } cases[] = {{0, 'I'}, {1, 'I'}, {2, 'I'}, {3, 'E'}, {4, 'E'}, {5, 0}, {-1, 0}, {1000, 0}};
    for (const auto& c : cases) {
        const auto lines = writeThroughDefaultSink(c.level, "++ COSUpdate::initialize()");
        if (c.severity == 0) {
            EXPECT_TRUE(lines.empty()) << "level " << c.level;
            continue;
        }
        ASSERT_EQ(lines.size(), 1u) << "level " << c.level;
        EXPECT_EQ(lines[0].severity, c.severity) << "level " << c.level;
        EXPECT_EQ(lines[0].text, "eSE upgrade:++ COSUpdate::initialize()");
    }
}

TEST(DefaultLogSink, EmptyMessageStillWritesThePrefixAndErrnoSurvives) {
    errno = EBUSY;
    const auto lines = writeThroughDefaultSink(COSUPDATE_LOG_WARNING, "");
    EXPECT_EQ(errno, EBUSY);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "eSE upgrade:");
}

}  // namespace
}  // namespace testsupport
