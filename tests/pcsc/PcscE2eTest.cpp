// The example update deployed on the simulated chip through the PC/SC
// transport, the real pcscd and the vpcd virtual reader. run-e2e.sh starts
// pcscd and runs every test in a process of its own; each test puts its own
// card (a vpcd-card process) into the reader.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ReaderWatch.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "cosim/ChipState.h"
#include "cosim/Protocol.h"
#include "cosim/StateFile.h"
#include "cosupdate/pcsc/PcscSEMedia.h"

namespace pcsce2e {
namespace {

namespace api = Zelmar::Device::COS::V1_0;
using cosupdate::pcsc::PcscOptions;
using cosupdate::pcsc::Protocol;

// vpcd's first slot is the reader on the configured port, the second slot the
// next port: the card goes into the first, the second stays empty.
const std::string kCardReader = "Virtual PCD 00 00";
const std::string kUpdateFile = std::string(COSUPDATE_EXAMPLES_DIR) + "/update.xml";
const cosim::Bytes kTransitServiceAid{0xF0, 0x5A, 0x4C, 0x4D, 0x53, 0x00, 0x00, 0x01};
constexpr std::chrono::seconds kCardPatience{10};
constexpr std::chrono::seconds kToolPatience{30};
const char* const kSelectFeWithLe = "00A4040006F05A4C4D00FE00";
const char* const kSelectFeWithoutLe = "00A4040006F05A4C4D00FE";

// What examples/update.xml makes of a factory chip.
cosim::ChipState updatedFactoryState() {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.cosVersion = 0x0102;
    state.services.insert(kTransitServiceAid);
    return state;
}

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? std::optional<std::string>(value) : std::nullopt;
}

std::string currentTestName() {
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    return std::string(info->test_suite_name()) + "." + info->name();
}

std::string fileNameOf(std::string name) {
    std::replace(name.begin(), name.end(), '/', '_');
    return name;
}

class PcscE2e : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto card = environment("COSUPDATE_PCSC_E2E_CARD");
        const auto port = environment("COSUPDATE_PCSC_E2E_PORT");
        const auto dir = environment("COSUPDATE_PCSC_E2E_DIR");
        if (!card || !port || !dir) {
            GTEST_SKIP() << "needs the pcscd that run-e2e.sh starts";
        }
        m_cardProgram = *card;
        m_port = *port;
        m_statePath = *dir + "/" + fileNameOf(currentTestName()) + ".state";
        m_cardLog = m_statePath + ".log";
        std::remove(m_statePath.c_str());
        cosim::saveStateFile(m_statePath, cosim::ChipState::factoryDefault());
    }

    void TearDown() override {
        if (m_engine) {
            m_engine->release();
        }
        removeCard();
        if (HasFailure()) {
            for (const std::string& path : {m_cardLog, m_statePath + ".tool.log"}) {
                std::ifstream log(path);
                std::cerr << "--- " << path << '\n' << log.rdbuf() << "---\n";
            }
        }
    }

    // Puts a card holding the state file into the reader; extra arguments go
    // to vpcd-card. pcscd polls its readers: a card swapped faster than it
    // looks would never have left, so the reader must be seen empty first.
    void insertCard(std::vector<std::string> extra = {}) {
        ASSERT_TRUE(waitForCard(kCardReader, false, kCardPatience)) << kCardReader << " not empty";
        std::vector<std::string> arguments{"--state", m_statePath, "--port", m_port, "--verbose"};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        m_card = std::make_unique<ChildProcess>(m_cardProgram, arguments, m_cardLog);
        ASSERT_TRUE(waitForCard(kCardReader, true, kCardPatience)) << "no card in " << kCardReader;
    }

    // Waits for the card to leave by itself (--remove-after) and pcscd to see it.
    void waitForCardToLeave() {
        ASSERT_EQ(m_card->waitForExit(kCardPatience), 0);
        removeCard();
    }

    void removeCard() {
        if (m_card) {
            m_card.reset();
            EXPECT_TRUE(waitForCard(kCardReader, false, kCardPatience))
                << kCardReader << " not empty";
        }
    }

    api::COSUpdateInterface& startEngine(const PcscOptions& options) {
        // The default sink (the Android log, stderr on a host), as a host
        // service that brings no logging of its own would run it.
        m_engine = api::COSUpdateFactory::create(std::make_shared<api::COSUpdateLogInterface>());
        m_engine->initialize(cosupdate::pcsc::makePcscSEMedia(options));
        m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FC, cosim::aid::kFC);
        m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FD, cosim::aid::kFD);
        m_engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FE, cosim::aid::kFE);
        std::ifstream file(kUpdateFile, std::ios::binary);
        m_engine->loadCOSUpdateFileOnMemory(file);
        return *m_engine;
    }

    cosim::ChipState chipState() const { return cosim::loadStateFile(m_statePath); }

    // Runs a program to its end; its exit status (-1: killed or too slow).
    int run(const std::string& program, const std::vector<std::string>& arguments) {
        ChildProcess child(program, arguments, m_statePath + ".tool.log");
        return child.waitForExit(kToolPatience);
    }

    // Whether the card's trace (vpcd-card --verbose) shows this command.
    ::testing::AssertionResult cardReceived(const std::string& command) const {
        std::ifstream file(m_cardLog);
        const std::string expected = "vpcd-card: > " + command;
        for (std::string line; std::getline(file, line);) {
            if (line == expected) {
                return ::testing::AssertionSuccess();
            }
        }
        return ::testing::AssertionFailure() << "the card never received " << command;
    }

  private:
    std::string m_cardProgram;
    std::string m_port;
    std::string m_statePath;
    std::string m_cardLog;
    std::unique_ptr<ChildProcess> m_card;
    std::unique_ptr<api::COSUpdateInterface> m_engine;
};

struct LinkCase {
    const char* name;
    const char* reader;
    Protocol protocol;
    const char* selectOnTheWire;  // SELECT FE as the card receives it
};

// Test names show the case's name, not its bytes.
void PrintTo(const LinkCase& c, std::ostream* out) {
    *out << c.name;
}

class UpdateOverPcsc : public PcscE2e, public ::testing::WithParamInterface<LinkCase> {};

TEST_P(UpdateOverPcsc, DeploysTheExampleAndReadsTheNewVersionBack) {
    insertCard();
    PcscOptions options;
    options.reader = GetParam().reader;
    options.protocol = GetParam().protocol;
    auto& engine = startEngine(options);

    ASSERT_EQ(engine.doUpdate(), 1);

    EXPECT_EQ(chipState(), updatedFactoryState()) << cosim::describe(chipState());
    std::vector<uint8_t> fe;
    engine.getCOSInfo(api::COSUPDATE_TAG_FE, fe);
    EXPECT_EQ(fe, cosim::encodeFe(updatedFactoryState()));
    EXPECT_EQ(engine.doUpdate(), 0);
    EXPECT_TRUE(cardReceived(GetParam().selectOnTheWire));
}

INSTANTIATE_TEST_SUITE_P(
    Links, UpdateOverPcsc,
    // T=1 is taken when the card offers both; T=0 carries SELECT without Le.
    ::testing::Values(
        LinkCase{"FirstReaderWithACard", "", Protocol::Any, kSelectFeWithLe},
        LinkCase{"ReaderByNamePrefixOverT0", "Virtual PCD", Protocol::T0, kSelectFeWithoutLe},
        LinkCase{"ReaderByFullNameOverT1", "Virtual PCD 00 00", Protocol::T1, kSelectFeWithLe}),
    [](const ::testing::TestParamInfo<LinkCase>& info) { return info.param.name; });

TEST_F(PcscE2e, CardPulledOutMidUpdateFailsTheRunAndTheNextRunResumes) {
    // MANAGE CHANNEL (refused), three FE reads (SELECT, READ BINARY), SELECT
    // loader, BEGIN PATCH, LOAD BLOCK, then the card leaves after executing the
    // second LOAD BLOCK, unanswered.
    insertCard({"--remove-after", COSUPDATE_PCSC_E2E_PULL_AT});
    auto& engine = startEngine(PcscOptions{});

    int result = 0;
    bool threw = false;
    try {
        result = engine.doUpdate();
    } catch (const api::COSUpdateException&) {
        threw = true;
    }
    EXPECT_TRUE(threw || result == -1) << "doUpdate() returned " << result;
    EXPECT_EQ(chipState().cosVersion, 0x0100);
    waitForCardToLeave();

    insertCard();
    EXPECT_EQ(engine.doUpdate(), 1);
    EXPECT_EQ(chipState(), updatedFactoryState()) << cosim::describe(chipState());
}

// The exception's text, or "" when `call` did not throw COSUpdateException.
template <typename Call>
std::string errorOf(Call call) {
    try {
        call();
    } catch (const api::COSUpdateException& e) {
        return e.what();
    }
    return "";
}

::testing::AssertionResult startsWith(const std::string& text, const std::string& prefix) {
    if (text.rfind(prefix, 0) == 0) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "'" << text << "' does not start with '" << prefix << "'";
}

TEST_F(PcscE2e, CardPulledOutIsAnErrorAndTheTransportConnectsAgainWhenItIsBack) {
    // APDU 1 is MANAGE CHANNEL (refused), 2 the SELECT: executed, unanswered.
    insertCard({"--remove-after", "2"});
    auto media = cosupdate::pcsc::makePcscSEMedia(kCardReader);
    media->initialize();
    std::vector<uint8_t> response;

    EXPECT_TRUE(startsWith(errorOf([&] { media->openConnection(cosim::aid::kFE, response); }),
                           "PC/SC: sending APDU 00A4040006"));
    EXPECT_FALSE(media->isConnected());
    waitForCardToLeave();
    EXPECT_TRUE(startsWith(errorOf([&] { media->openConnection(cosim::aid::kFE, response); }),
                           "PC/SC: connecting to the card in reader 'Virtual PCD 00 00': "
                           "No smart card inserted."));

    insertCard();
    media->openConnection(cosim::aid::kFE, response);
    EXPECT_TRUE(media->isConnected());
    EXPECT_EQ(response, cosim::Bytes({0x6F, 0x08, 0x84, 0x06, 0xF0, 0x5A, 0x4C, 0x4D, 0x00, 0xFE,
                                      0x90, 0x00}));
    std::vector<uint8_t> fe;
    media->transmitApdu(cosim::readBinaryCommand(0, 0), fe);
    cosim::Bytes expected = cosim::encodeFe(cosim::ChipState::factoryDefault());
    expected.insert(expected.end(), {0x90, 0x00});
    EXPECT_EQ(fe, expected);
    media->closeConnection();
    EXPECT_FALSE(media->isConnected());
}

TEST_F(PcscE2e, SecondTransportIsRefusedWhileTheFirstHoldsTheCard) {
    insertCard();
    auto first = cosupdate::pcsc::makePcscSEMedia(kCardReader);
    first->initialize();

    auto second = cosupdate::pcsc::makePcscSEMedia(kCardReader);
    try {
        second->initialize();
        FAIL() << "a second exclusive connection was granted";
    } catch (const api::COSUpdateException& e) {
        EXPECT_NE(std::string(e.what()).find("Sharing violation"), std::string::npos) << e.what();
    }
    EXPECT_FALSE(second->isInitialized());
}

#ifdef COSUPDATE_PCSC_E2E_TOOL
// cosupdate exits 0 when it deployed an update, 3 when none applies.
TEST_F(PcscE2e, CommandLineToolDeploysTheExampleThenFindsNothingToDo) {
    insertCard();
    const std::vector<std::string> update{"update", kUpdateFile, "--transport",
                                          "pcsc:" + kCardReader};

    ASSERT_EQ(run(COSUPDATE_PCSC_E2E_TOOL, update), 0);
    EXPECT_EQ(chipState(), updatedFactoryState()) << cosim::describe(chipState());
    EXPECT_EQ(run(COSUPDATE_PCSC_E2E_TOOL, update), 3);
}
#endif

struct ReaderCase {
    const char* name;
    const char* reader;
    const char* error;
};

void PrintTo(const ReaderCase& c, std::ostream* out) {
    *out << c.name;
}

class ReaderChoice : public PcscE2e, public ::testing::WithParamInterface<ReaderCase> {};

TEST_P(ReaderChoice, InitializeFailsNamingTheProblem) {
    insertCard();
    auto media = cosupdate::pcsc::makePcscSEMedia(GetParam().reader);

    try {
        media->initialize();
        FAIL() << "initialize() succeeded";
    } catch (const api::COSUpdateException& e) {
        EXPECT_NE(std::string(e.what()).find(GetParam().error), std::string::npos) << e.what();
    }
    EXPECT_FALSE(media->isInitialized());
}

INSTANTIATE_TEST_SUITE_P(Readers, ReaderChoice,
                         ::testing::Values(ReaderCase{"EmptySlot", "Virtual PCD 00 01",
                                                      "no card in reader 'Virtual PCD 00 01'"},
                                           ReaderCase{"UnknownReader", "Acme Reader",
                                                      "no reader named 'Acme Reader'; readers: "
                                                      "'Virtual PCD 00 00', 'Virtual PCD 00 01'"}),
                         [](const ::testing::TestParamInfo<ReaderCase>& info) {
                             return info.param.name;
                         });

}  // namespace
}  // namespace pcsce2e
