// `update` stopped from outside at many points of a large generated update:
// the tool stops between two APDUs and says how to resume (exit 6), and the
// same command run again brings the chip to the final COS version, with no
// state file corrupt and no temporary file left. A second signal ends the
// tool at once; on a terminal the status line is ended before the message.
//
// The signal goes after a chosen APDU, counted in the library's log on the
// tool's stderr: a pipe of one page, so the tool is never more than a few
// APDUs ahead of the line the test reads, however slow the test is.

#include <signal.h>

#include <fstream>
#include <random>

#include "ChipStateFixture.h"
#include "UpdateFileGenerator.h"

namespace cosupdate::test {
namespace {

constexpr auto npos = std::string::npos;
const std::string kInterrupted = "interrupted: run the same command again to resume";
// Signals go no later than this many APDUs before the end, beyond how far
// the tool can run ahead of the test.
constexpr size_t kEndMargin = 40;
constexpr unsigned kPointsPerKind = 70;
constexpr unsigned kSeed = 14;

bool isExchange(const std::string& line) {
    return line.find("_transmitApdu : calling SEMedia->transmitApdu()") != npos ||
           line.find("_openConnection : calling SEMedia->openConnection()") != npos;
}

// Reads the tool's stderr up to its `count`th APDU.
bool readExchanges(ChildTool& tool, size_t count) {
    size_t seen = 0;
    return tool.readUntil(
        [&](const std::string& line) { return isExchange(line) && ++seen == count; });
}

class InterruptionTest : public ChipStateFixture {
  protected:
    void SetUp() override {
        ChipStateFixture::SetUp();
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
        options.insert(options.end(),
                       {"--chip", m_chip, "-v", "--log-level", "verbose", "update", m_update});
        return options;
    }

    std::string m_update;
    const std::set<std::string> m_files{"chip.state", "chip.state.lock", "update.xml"};
};

// A way to stop a run, what the stopped run must say, and how the same
// command run again ends (0: it had work left).
struct Interruption {
    const char* name;
    std::vector<std::string> options;
    std::function<void(ChildTool&)> interrupt;
    int status;
    std::vector<std::string> says;     // in its stdout or stderr
    std::vector<std::string> summary;  // too, once the update itself had started
    int resumedStatus;
};

std::function<void(ChildTool&)> sending(int signal) {
    return [signal](ChildTool& tool) { tool.signal(signal); };
}

const std::vector<Interruption>& interruptions() {
    static const std::vector<Interruption> kinds{
        {"SIGINT",
         {},
         sending(SIGINT),
         6,
         {"\ncosupdate: " + kInterrupted + "\n"},
         {"result:       " + kInterrupted + "\n"},
         0},
        {"SIGTERM, --json",
         {"--json"},
         sending(SIGTERM),
         6,
         {R"("exitStatus":6,)", R"("error":")" + kInterrupted + '"'},
         {R"("result":"interrupted",)"},
         0},
        {"SIGHUP",
         {},
         sending(SIGHUP),
         6,
         {"\ncosupdate: " + kInterrupted + "\n"},
         {"result:       " + kInterrupted + "\n"},
         0},
    };
    return kinds;
}

TEST_F(InterruptionTest, EveryInterruptionStopsBetweenApdusAndTheSameCommandResumes) {
    writeChip(cosim::ChipState::factoryDefault());
    ChildTool whole(update(), path(".out"));
    size_t exchanges = 0;
    whole.readUntil([&](const std::string& line) {
        exchanges += isExchange(line) ? 1 : 0;
        return false;
    });
    ASSERT_EQ(whole.finish().status, 0);
    const cosim::ChipState final = chip();
    ASSERT_EQ(final.cosVersion, 0x0103);
    ASSERT_GT(exchanges, 2 * kEndMargin);

    std::mt19937 random(kSeed);
    std::uniform_int_distribution<size_t> point(1, exchanges - kEndMargin);
    for (const Interruption& kind : interruptions()) {
        for (unsigned i = 0; i < kPointsPerKind; ++i) {
            const size_t at = point(random);
            SCOPED_TRACE(std::string(kind.name) + " after APDU " + std::to_string(at));
            writeChip(cosim::ChipState::factoryDefault());
            ChildTool tool(update(kind.options), path(".out"));
            ASSERT_TRUE(readExchanges(tool, at));
            kind.interrupt(tool);
            const ChildResult stopped = tool.finish();

            ASSERT_EQ(stopped.status, kind.status) << stopped.describe();
            std::vector<std::string> says = kind.says;
            if (stopped.err.find("Starting doUpdate()") != npos) {
                says.insert(says.end(), kind.summary.begin(), kind.summary.end());
            }
            for (const std::string& text : says) {
                EXPECT_NE((stopped.out + stopped.err).find(text), npos) << text;
            }
            ASSERT_EQ(listing(), m_files);
            ASSERT_LE(chip().cosVersion, final.cosVersion);  // and it parses

            const ChildResult resumed = runOnChip({"update", m_update});
            ASSERT_EQ(resumed.status, kind.resumedStatus) << resumed.describe();
            ASSERT_EQ(chip(), final);
            ASSERT_EQ(listing(), m_files);
        }
    }
    std::cout << interruptions().size() * kPointsPerKind << " interruptions over " << exchanges
              << " APDUs\n";
}

TEST_F(InterruptionTest, ASecondSignalEndsTheToolAtOnce) {
    writeChip(cosim::ChipState::factoryDefault());
    ChildTool tool(update(), path(".out"));
    ASSERT_TRUE(readExchanges(tool, 50));
    // The test reads no more: the tool soon waits on its full stderr, mid-run.
    // Two different signals, so the second cannot merge with the first.
    tool.signal(SIGINT);
    tool.signal(SIGTERM);
    const ChildResult killed = tool.finish();

    EXPECT_EQ(killed.signal, SIGTERM) << killed.describe();
    const ChildResult resumed = runOnChip({"update", m_update});
    EXPECT_EQ(resumed.status, 0) << resumed.describe();
    EXPECT_EQ(chip().cosVersion, 0x0103);
}

TEST_F(InterruptionTest, OnATerminalTheStatusLineIsEndedBeforeTheMessage) {
    writeChip(cosim::ChipState::factoryDefault());
    ChildOptions terminal;
    terminal.terminal = true;
    ChildTool tool(update(), path(".out"), terminal);
    ASSERT_TRUE(readExchanges(tool, 100));
    tool.signal(SIGINT);
    const ChildResult stopped = tool.finish();

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
