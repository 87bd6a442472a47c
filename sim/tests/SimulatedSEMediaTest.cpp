// SimulatedSEMedia: the transport contract, fault injection, latency and
// persistence.

#include <gtest/gtest.h>

#include <chrono>

#include "cosim/Protocol.h"
#include "cosim/SimulatedSEMedia.h"
#include "cosim/StateFile.h"
#include "cosim/StatusWords.h"

namespace cosim {
namespace {

using Zelmar::Device::COS::V1_0::COSUpdateException;

class Media : public ::testing::Test {
  protected:
    Media() : chip(std::make_shared<Chip>()), media(chip) { media.initialize(); }

    Bytes open(const Bytes& aidBytes) {
        Bytes response;
        media.openConnection(aidBytes, response);
        return response;
    }
    Bytes transmit(const Bytes& command) {
        Bytes response;
        media.transmitApdu(command, response);
        return response;
    }
    // Stages a service install, the command the faults below hit.
    void stageService() {
        open(aid::kLoader);
        ASSERT_EQ(transmit(installServiceCommand(service)), fromHex("9000"));
    }

    const Bytes service = fromHex("F05A4C4D53000001");
    std::shared_ptr<Chip> chip;
    SimulatedSEMedia media;
};

TEST_F(Media, OpenSelectsAndStaysConnectedWhateverTheStatusWord) {
    EXPECT_EQ(open(fromHex("F05A4C4D00FF")), fromHex("6A82"));
    EXPECT_TRUE(media.isConnected());
    EXPECT_EQ(open(aid::kFE), fromHex("6F08 8406F05A4C4D00FE 9000"));
    media.closeConnection();
    EXPECT_FALSE(media.isConnected());
    EXPECT_THROW(transmit(readBinaryCommand(0, 0)), COSUpdateException);
    EXPECT_EQ(media.exchangeCount(), 2u);
}

TEST_F(Media, UninitializedTransportRefuses) {
    SimulatedSEMedia fresh(chip);
    Bytes response;
    EXPECT_FALSE(fresh.isInitialized());
    EXPECT_THROW(fresh.openConnection(aid::kFE, response), COSUpdateException);
}

struct FaultCase {
    FaultKind kind;
    bool throwsLibraryException;
    bool throwsForeign;
    bool chipExecuted;  // the INSTALL SERVICE was staged
    Bytes response;     // when it did not throw
    bool linkDownAfter;
};

class MediaFault : public Media, public ::testing::WithParamInterface<FaultCase> {};

TEST_P(MediaFault, HitsExactlyItsExchange) {
    const FaultCase& c = GetParam();
    Fault fault;
    fault.kind = c.kind;
    fault.atExchange = 2;  // SELECT is 1, INSTALL SERVICE is 2
    fault.statusWord = 0x6F00;
    fault.keptBytes = 1;
    media.injectFault(fault);
    open(aid::kLoader);

    Bytes response;
    if (c.throwsLibraryException) {
        EXPECT_THROW(media.transmitApdu(installServiceCommand(service), response),
                     COSUpdateException);
    } else if (c.throwsForeign) {
        try {
            media.transmitApdu(installServiceCommand(service), response);
            ADD_FAILURE() << "no exception";
        } catch (const COSUpdateException&) {
            ADD_FAILURE() << "the library's own exception type";
        } catch (const std::runtime_error&) {
        }
    } else {
        media.transmitApdu(installServiceCommand(service), response);
        EXPECT_EQ(response, c.response);
    }

    EXPECT_EQ(media.isConnected(), !c.linkDownAfter);
    EXPECT_EQ(media.powerLossCount(), c.linkDownAfter ? 1u : 0u);
    if (c.linkDownAfter) {
        EXPECT_THROW(transmit(commitCommand()), COSUpdateException);
        open(aid::kLoader);  // reconnecting powers the chip up again
    }
    // Staged work survives only if the chip executed it and kept power.
    const bool staged = c.chipExecuted && !c.linkDownAfter;
    EXPECT_EQ(transmit(commitCommand()), fromHex(staged ? "9000" : "6985"));
    EXPECT_EQ(chip->state().services.count(service), staged ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, MediaFault,
    ::testing::Values(FaultCase{FaultKind::PowerLossBeforeChip, true, false, false, {}, true},
                      FaultCase{FaultKind::PowerLossAfterExecution, true, false, true, {}, true},
                      FaultCase{
                          FaultKind::PowerLossTruncatedResponse, false, false, true, {0x90}, true},
                      FaultCase{FaultKind::StatusWord, false, false, false, {0x6F, 0x00}, false},
                      FaultCase{FaultKind::ShortResponse, false, false, true, {0x90}, false},
                      FaultCase{FaultKind::TransportError, true, false, false, {}, false},
                      FaultCase{FaultKind::ForeignError, false, true, false, {}, false}),
    [](const ::testing::TestParamInfo<FaultCase>& info) {
        std::string name = faultKindName(info.param.kind);
        for (char& c : name) {
            c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
        }
        return name;
    });

TEST_F(Media, PowerLossWhileSelectingLeavesNoConnection) {
    media.injectFault(Fault::powerLoss(1, FaultKind::PowerLossBeforeChip));
    EXPECT_THROW(open(aid::kFE), COSUpdateException);
    EXPECT_FALSE(media.isConnected());
    EXPECT_EQ(open(aid::kFE).back(), 0x00);
    EXPECT_TRUE(media.isConnected());
}

TEST_F(Media, ObserverSeesEveryAnsweredExchange) {
    std::vector<uint64_t> seen;
    media.setExchangeObserver(
        [&](uint64_t index, const Bytes&, const Bytes&) { seen.push_back(index); });
    media.injectFault(Fault::powerLoss(2, FaultKind::PowerLossBeforeChip));
    open(aid::kFE);
    EXPECT_THROW(transmit(readBinaryCommand(0, 0)), COSUpdateException);
    open(aid::kFE);

    EXPECT_EQ(seen, (std::vector<uint64_t>{1, 3}));
    EXPECT_EQ(media.exchangeCount(), 3u);
}

TEST_F(Media, LatencyDelaysEveryExchange) {
    media.setLatency(std::chrono::milliseconds(2));
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 5; ++i) {
        open(aid::kFE);
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10));
}

TEST_F(Media, PersistsTheChipWhenItsStateChanges) {
    const std::string path = ::testing::TempDir() + "/media-state.txt";
    std::remove(path.c_str());
    media.persistTo(path);
    open(aid::kFE);
    EXPECT_THROW(loadStateFile(path), StateFileError);  // nothing changed, nothing written

    stageService();
    transmit(commitCommand());

    EXPECT_EQ(loadStateFile(path), chip->state());
    EXPECT_EQ(loadStateFile(path).services.count(service), 1u);
}

}  // namespace
}  // namespace cosim
