// The example update deployed on the simulated chip through the real pcscd,
// the vpcd reader driver and a vpcd-card process, checked in the card's state
// file. run-e2e.sh starts the private pcscd these tests need.

#include <PCSC/winscard.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"
#include "cosim/ChipState.h"
#include "cosim/Protocol.h"
#include "cosim/StateFile.h"
#include "cosupdate/pcsc/PcscSEMedia.h"

namespace {

namespace api = Zelmar::Device::COS::V1_0;
using namespace std::chrono_literals;

// vpcd's first slot listens on the configured port; the card goes there.
const char* const kReader = "Virtual PCD 00 00";
const std::string kUpdateFile = COSUPDATE_EXAMPLES_DIR "/update.xml";
// The card leaves right after executing its 11th APDU, unanswered: MANAGE
// CHANNEL (refused), three FE reads (SELECT, READ BINARY), SELECT loader,
// BEGIN PATCH, LOAD BLOCK, then the second LOAD BLOCK.
const char* const kPullAt = "11";

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// What examples/update.xml makes of a factory chip.
cosim::ChipState updatedFactoryState() {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.cosVersion = 0x0102;
    state.services.insert({0xF0, 0x5A, 0x4C, 0x4D, 0x53, 0x00, 0x00, 0x01});
    return state;
}

// A program run by the test, its output appended to `log`. One still running
// when the object goes gets SIGTERM, then SIGKILL, by its process id.
class ChildProcess {
  public:
    ChildProcess(std::vector<std::string> argv, const std::string& log) {
        std::vector<char*> args;
        for (std::string& argument : argv) {
            args.push_back(argument.data());
        }
        args.push_back(nullptr);
        if ((m_pid = fork()) < 0) {
            throw std::runtime_error("fork failed");
        }
        if (m_pid == 0) {
            const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
            dup2(fd, STDOUT_FILENO);
            dup2(fd, STDERR_FILENO);
            execv(args[0], args.data());
            _exit(127);
        }
    }
    ~ChildProcess() {
        for (int signal : {SIGTERM, SIGKILL}) {
            if (m_pid > 0 && kill(m_pid, signal) == 0) {
                waitForExit(5s);
            }
        }
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Its exit status; -1 when it died of a signal or still runs after `patience`.
    int waitForExit(std::chrono::seconds patience) {
        int status = 0;
        for (auto deadline = std::chrono::steady_clock::now() + patience; m_pid > 0;) {
            if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_pid = -1;
            } else if (std::chrono::steady_clock::now() >= deadline) {
                return -1;
            } else {
                std::this_thread::sleep_for(20ms);
            }
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    pid_t m_pid = -1;
};

// Whether pcscd shows a card in (or no card in) the reader within 10 s. pcscd
// polls: a card swapped faster than it looks would never have left.
bool readerShows(bool card) {
    SCARDCONTEXT context = 0;
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) != SCARD_S_SUCCESS) {
        return false;
    }
    bool reached = false;
    for (int tries = 0; !reached && tries < 200; ++tries) {
        SCARD_READERSTATE state{};
        state.szReader = kReader;
        state.dwCurrentState = SCARD_STATE_UNAWARE;
        SCardGetStatusChange(context, 0, &state, 1);
        const DWORD seen = state.dwEventState;
        reached = card ? (seen & (SCARD_STATE_PRESENT | SCARD_STATE_MUTE)) == SCARD_STATE_PRESENT
                       : (seen & SCARD_STATE_EMPTY) != 0;
        std::this_thread::sleep_for(reached ? 0ms : 50ms);
    }
    SCardReleaseContext(context);
    return reached;
}

class PcscE2e : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(environment("COSUPDATE_PCSC_E2E_DIR"), "") << "run through run-e2e.sh";
        const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_state = environment("COSUPDATE_PCSC_E2E_DIR") + "/" + test->name() + ".state";
        cosim::saveStateFile(m_state, cosim::ChipState::factoryDefault());
    }

    void TearDown() override {
        removeCard();
        if (HasFailure()) {
            std::ifstream log(m_state + ".log");
            std::cerr << "--- card and tool output\n" << log.rdbuf() << "---\n";
        }
    }

    // Puts a card holding the state file into the reader; `extra` goes to vpcd-card.
    void insertCard(std::vector<std::string> extra = {}) {
        ASSERT_TRUE(readerShows(false)) << kReader << " not empty";
        std::vector<std::string> argv{
            environment("COSUPDATE_PCSC_E2E_CARD"), "--state",  m_state, "--port",
            environment("COSUPDATE_PCSC_E2E_PORT"), "--verbose"};
        argv.insert(argv.end(), extra.begin(), extra.end());
        m_card = std::make_unique<ChildProcess>(argv, m_state + ".log");
        ASSERT_TRUE(readerShows(true)) << "no card in " << kReader;
    }

    void removeCard() {
        if (m_card) {
            m_card.reset();
            EXPECT_TRUE(readerShows(false)) << kReader << " not empty";
        }
    }

    cosim::ChipState chip() const { return cosim::loadStateFile(m_state); }

    std::string m_state;
    std::unique_ptr<ChildProcess> m_card;
};

// cosupdate exits 0 when it deployed an update, 3 when none applies.
TEST_F(PcscE2e, CommandLineToolDeploysTheExampleThenFindsNothingToDo) {
    insertCard();
    const auto runTool = [&] {
        return ChildProcess({COSUPDATE_PCSC_E2E_TOOL, "update", kUpdateFile, "--transport", "pcsc"},
                            m_state + ".log")
            .waitForExit(30s);
    };

    ASSERT_EQ(runTool(), 0);
    EXPECT_EQ(chip(), updatedFactoryState()) << cosim::describe(chip());
    EXPECT_EQ(runTool(), 3);
}

// The engine and transport stay up: the next doUpdate() must connect again.
TEST_F(PcscE2e, CardPulledOutMidUpdateFailsTheRunAndTheNextRunDeploys) {
    insertCard({"--remove-after", kPullAt});
    auto engine = api::COSUpdateFactory::create(std::make_shared<api::COSUpdateLogInterface>());
    engine->initialize(cosupdate::pcsc::makePcscSEMedia(kReader));
    engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FC, cosim::aid::kFC);
    engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FD, cosim::aid::kFD);
    engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FE, cosim::aid::kFE);
    std::ifstream file(kUpdateFile, std::ios::binary);
    engine->loadCOSUpdateFileOnMemory(file);

    int result = 0;
    try {
        result = engine->doUpdate();
    } catch (const api::COSUpdateException&) {
        result = -1;
    }
    EXPECT_EQ(result, -1);
    ASSERT_EQ(m_card->waitForExit(10s), 0) << "the card was not pulled";
    EXPECT_EQ(chip(), cosim::ChipState::factoryDefault()) << cosim::describe(chip());
    removeCard();

    insertCard();
    EXPECT_EQ(engine->doUpdate(), 1);
    EXPECT_EQ(chip(), updatedFactoryState()) << cosim::describe(chip());
    engine->release();
}

}  // namespace
