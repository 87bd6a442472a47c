// `update` interrupted from outside at many points of a large generated
// update. A signal stops the tool between two APDUs, and it says how to
// resume (exit 6); a reader of its output that goes away stops nothing, and
// the tool says afterwards what it could not write (exit 1). Either way the
// same command run again brings the chip to the final COS version, with no
// state file corrupt and no temporary file left. A second signal ends the
// tool at once; on a terminal the status line is ended before the message.
//
// The interruption comes after a chosen APDU, counted in the library's log on
// the tool's stderr: a pipe of one page, so the tool is never more than a few
// APDUs ahead of the line the test reads, however slow the test is.

#include <signal.h>

#include <algorithm>
#include <fstream>
#include <numeric>
#include <random>

#include "ToolTest.h"
#include "UpdateFileGenerator.h"

namespace cosupdate::test {
namespace {

constexpr auto npos = std::string::npos;
const std::string kInterrupted = "interrupted: run the same command again to resume";
// Interruptions come no later than this many APDUs before the end, beyond
// how far the tool can run ahead of the test.
constexpr size_t kEndMargin = 40;
constexpr unsigned kPointsPerKind = 42;
constexpr unsigned kSeed = 14;

bool isExchange(const std::string& line) {
    return line.find("_transmitApdu : calling SEMedia->transmitApdu()") != npos ||
           line.find("_openConnection : calling SEMedia->openConnection()") != npos;
}

size_t exchangesIn(const std::string& log) {
    size_t count = 0;
    for (size_t at = 0, end; (end = log.find('\n', at)) != npos; at = end + 1) {
        count += isExchange(log.substr(at, end - at)) ? 1 : 0;
    }
    return count;
}

// Reads the tool's stderr up to its `count`th APDU.
bool readExchanges(Process& tool, size_t count) {
    size_t seen = 0;
    return tool.readUntil(
        [&](const std::string& line) { return isExchange(line) && ++seen == count; });
}

class InterruptionTest : public ToolTest {
  protected:
    void SetUp() override {
        ToolTest::SetUp();
        m_update = path("update.xml");
        cosim::GeneratorOptions options;
        options.extraEntries = 200;
        options.imageSize = 16384;  // 69 LOAD BLOCKs a patch
        options.patches = 3;
        std::ofstream file(m_update);
        cosim::writeUpdateFile(options, file);
    }

    // `update` with the library's log on stderr, and `options` before it.
    std::vector<std::string> update(std::vector<std::string> options = {}) const {
        options.insert(options.end(), {"-v", "--log-level", "verbose", "update", m_update});
        return options;
    }

    std::string m_update;
    // The update history beside the chip state file has a line for each run.
    const std::set<std::string> m_files{"chip.state", "chip.state.history", "chip.state.lock",
                                        "update.xml"};
};

// A way to interrupt a run, how the interrupted run must end and what it must
// say, and how the same command run again ends (0: it had work left, 3: none).
struct Interruption {
    const char* id;  // the test's name
    const char* name;
    std::vector<std::string> options;
    ProcessSetup setup;
    int signal;  // 0: the test stops reading the tool's stderr instead
    int status;
    std::vector<std::string> says;     // in its stdout or stderr
    std::vector<std::string> summary;  // too, once the update itself had started
    int resumedStatus;
};

ProcessSetup stdoutInto(Output out) {
    ProcessSetup setup;
    setup.out = out;
    return setup;
}

const std::vector<Interruption>& interruptions() {
    const std::string stopped = "\ncosupdate: " + kInterrupted + "\n";
    const std::string stoppedSummary = "result:       " + kInterrupted + "\n";
    static const std::vector<Interruption> kinds{
        {"Sigint", "SIGINT", {}, {}, SIGINT, 6, {stopped}, {stoppedSummary}, 0},
        {"SigtermJson",
         "SIGTERM, --json",
         {"--json"},
         {},
         SIGTERM,
         6,
         {R"("exitStatus":6,)", R"("error":")" + kInterrupted + '"'},
         {R"("result":"interrupted",)"},
         0},
        {"Sighup", "SIGHUP", {}, {}, SIGHUP, 6, {stopped}, {stoppedSummary}, 0},
        {"StderrReaderGone",
         "stderr's reader gone",
         {},
         {},
         0,
         1,
         {"result:       deployed\n",
          "\ncosupdate: standard error could not be written: Broken pipe\n"},
         {},
         3},
        {"SharedPipeReaderGoneJson",
         "stdout and stderr one pipe, its reader gone (2>&1 | head), --json",
         {"--json"},
         stdoutInto(Output::Stderr),
         0,
         1,
         {},  // nowhere left to say it
         {},
         3},
    };
    return kinds;
}

// One test for each kind, so that ctest runs them side by side.
class InterruptionSweep : public InterruptionTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(InterruptionSweep, EndsAsDocumentedAndTheSameCommandConverges) {
    const Interruption& kind = interruptions()[GetParam()];
    writeChip(cosim::ChipState::factoryDefault());
    const ToolResult whole = run(update());
    ASSERT_EQ(whole.status, 0) << whole.describe();
    const cosim::ChipState final = chip();
    ASSERT_EQ(final.cosVersion, 0x0103);
    const size_t exchanges = exchangesIn(whole.err);
    ASSERT_GT(exchanges, 2 * kEndMargin);

    std::mt19937 random(kSeed + GetParam());
    std::uniform_int_distribution<size_t> point(1, exchanges - kEndMargin);
    std::vector<size_t> overruns;  // APDUs a stopped tool attempted past the signal
    for (unsigned i = 0; i < kPointsPerKind; ++i) {
        const size_t at = point(random);
        SCOPED_TRACE(std::string(kind.name) + " after APDU " + std::to_string(at));
        writeChip(cosim::ChipState::factoryDefault());
        Process tool = start(update(kind.options), kind.setup);
        ASSERT_TRUE(readExchanges(tool, at));
        if (kind.signal != 0) {
            tool.signal(kind.signal);
        } else {
            tool.stopReading();
        }
        const ToolResult interrupted = tool.finish();

        ASSERT_EQ(interrupted.signal, 0) << interrupted.describe();
        ASSERT_EQ(interrupted.status, kind.status) << interrupted.describe();
        std::vector<std::string> says = kind.says;
        if (interrupted.err.find("Starting doUpdate()") != npos) {
            says.insert(says.end(), kind.summary.begin(), kind.summary.end());
        }
        for (const std::string& text : says) {
            EXPECT_NE((interrupted.out + interrupted.err).find(text), npos) << text;
        }
        ASSERT_EQ(listing(), m_files);
        if (kind.signal != 0) {
            ASSERT_LE(chip().cosVersion, final.cosVersion);  // and it parses
            overruns.push_back(exchangesIn(interrupted.err) - at);
        } else {
            ASSERT_EQ(chip(), final) << "the update did not run to its end";
        }

        const ToolResult resumed = run({"update", m_update});
        ASSERT_EQ(resumed.status, kind.resumedStatus) << resumed.describe();
        ASSERT_EQ(chip(), final);
        ASSERT_EQ(listing(), m_files);
    }
    std::cout << kind.name << ": " << kPointsPerKind << " interruptions over " << exchanges
              << " APDUs, each converged";
    if (!overruns.empty()) {
        std::cout << "; the tool attempted " << *std::min_element(overruns.begin(), overruns.end())
                  << " to " << *std::max_element(overruns.begin(), overruns.end())
                  << " more after the signal (mean "
                  << std::accumulate(overruns.begin(), overruns.end(), 0.0) / overruns.size()
                  << ")";
    }
    std::cout << "\n";
}

INSTANTIATE_TEST_SUITE_P(Kinds, InterruptionSweep,
                         ::testing::Range<size_t>(0, interruptions().size()),
                         [](const auto& info) { return interruptions()[info.param].id; });

TEST_F(InterruptionTest, ASecondSignalEndsTheToolAtOnce) {
    writeChip(cosim::ChipState::factoryDefault());
    Process tool = start(update());
    ASSERT_TRUE(readExchanges(tool, 50));
    // The test reads no more: the tool soon waits on its full stderr, mid-run.
    // Two different signals, so the second cannot merge with the first.
    tool.signal(SIGINT);
    tool.signal(SIGTERM);
    const ToolResult killed = tool.finish();

    EXPECT_EQ(killed.signal, SIGTERM) << killed.describe();
    const ToolResult resumed = run({"update", m_update});
    EXPECT_EQ(resumed.status, 0) << resumed.describe();
    EXPECT_EQ(chip().cosVersion, 0x0103);
}

TEST_F(InterruptionTest, OnATerminalTheStatusLineIsEndedBeforeTheMessage) {
    writeChip(cosim::ChipState::factoryDefault());
    ProcessSetup terminal;
    terminal.err = Output::Terminal;
    Process tool = start(update(), terminal);
    ASSERT_TRUE(readExchanges(tool, 100));
    tool.signal(SIGINT);
    const ToolResult stopped = tool.finish();

    ASSERT_EQ(stopped.status, 6) << stopped.describe();
    const std::string message = "cosupdate: " + kInterrupted + "\n";
    const size_t at = stopped.err.rfind(message);
    ASSERT_NE(at, npos) << stopped.err.substr(stopped.err.size() - 200);
    const std::string before = stopped.err.substr(0, at);
    const bool lineEnded = before.back() == '\n' || before.rfind("\r\033[K") == before.size() - 4;
    EXPECT_TRUE(lineEnded) << "after " << before.substr(before.size() - 80);
    EXPECT_NE(before.find("\033[Krunning patch-"), npos) << "no status line was drawn";
}

}  // namespace
}  // namespace cosupdate::test
