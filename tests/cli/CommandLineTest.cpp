// Parsing the command line: options anywhere, values both ways, and what the
// log options mean together.

#include <gtest/gtest.h>

#include "CommandLine.h"
#include "cosim/Protocol.h"

namespace cosupdate::cli {
namespace {

TEST(CommandLine, OptionsGoBeforeOrAfterTheCommand) {
    const std::vector<std::vector<std::string>> spellings{
        {"--transport", "pcsc:Virtual PCD 00 00", "--json", "update", "u.xml"},
        {"update", "u.xml", "--transport=pcsc:Virtual PCD 00 00", "--json"},
        {"--json", "update", "--transport", "pcsc:Virtual PCD 00 00", "u.xml"},
    };
    for (const auto& args : spellings) {
        const Invocation invocation = parseCommandLine(args);
        EXPECT_EQ(invocation.words, (std::vector<std::string>{"update", "u.xml"}));
        EXPECT_EQ(invocation.options.transport, "pcsc:Virtual PCD 00 00");
        EXPECT_TRUE(invocation.options.json);
    }
}

TEST(CommandLine, DoubleDashEndsTheOptions) {
    const Invocation invocation = parseCommandLine({"validate", "--", "--json"});

    EXPECT_EQ(invocation.words, (std::vector<std::string>{"validate", "--json"}));
    EXPECT_FALSE(invocation.options.json);
}

TEST(CommandLine, DefaultsAreTheSimulatedChips) {
    const Options options = parseCommandLine({"check", "u.xml"}).options;

    EXPECT_EQ(options.transport, "sim");
    EXPECT_EQ(options.chipFile, "");
    EXPECT_EQ(options.aids.fc, cosim::aid::kFC);
    EXPECT_EQ(options.aids.fd, cosim::aid::kFD);
    EXPECT_EQ(options.aids.fe, cosim::aid::kFE);
    EXPECT_FALSE(options.log.show);
    EXPECT_FALSE(options.log.androidLog);
}

TEST(CommandLine, AidOptionsTakeHexWithSeparators) {
    const Options options =
        parseCommandLine({"--aid-fe", "a0:00:00:01:51", "--aid-fc=A0 00 00 01 52", "info", "FE"})
            .options;

    EXPECT_EQ(options.aids.fe, (Bytes{0xA0, 0x00, 0x00, 0x01, 0x51}));
    EXPECT_EQ(options.aids.fc, (Bytes{0xA0, 0x00, 0x00, 0x01, 0x52}));
}

struct LogCase {
    const char* name;
    std::vector<std::string> args;
    bool show;
    bool androidLog;
    api::COSUpdateLogLevel minimum;
};

// Names the case in test listings instead of dumping its bytes.
void PrintTo(const LogCase& c, std::ostream* out) {
    *out << c.name;
}

class LogOptionCombinations : public ::testing::TestWithParam<LogCase> {};

TEST_P(LogOptionCombinations, MeanTheSameInAnyOrder) {
    const LogCase& c = GetParam();
    std::vector<std::string> args = c.args;
    for (int order = 0; order < 2; ++order) {
        const LogOptions log = parseCommandLine(args).options.log;
        EXPECT_EQ(log.show, c.show);
        EXPECT_EQ(log.androidLog, c.androidLog);
        EXPECT_EQ(log.minimum, c.minimum);
        std::reverse(args.begin(), args.end());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, LogOptionCombinations,
    ::testing::Values(
        LogCase{"Verbose", {"-v"}, true, false, api::COSUPDATE_LOG_VERBOSE},
        LogCase{"LevelShows", {"--log-level=warning"}, true, false, api::COSUPDATE_LOG_WARNING},
        LogCase{"LevelForAndroidLog",
                {"--log-level=1", "--android-log"},
                false,
                true,
                api::COSUPDATE_LOG_DEBUG},
        LogCase{"Both",
                {"--log-level=Error", "--android-log", "--verbose"},
                true,
                true,
                api::COSUPDATE_LOG_ERROR}),
    [](const ::testing::TestParamInfo<LogCase>& info) { return info.param.name; });

}  // namespace
}  // namespace cosupdate::cli
