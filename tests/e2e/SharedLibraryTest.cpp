// The update through the shipped libnativecosupdateapi-zelmar.so, linked
// against the simulation kernel by file name, with the library's default log
// sink: results and chip state are what these tests check.

#include <android-base/logging.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iostream>

#include "ZelmarNativeCOSUpdateApi.h"
#include "cosim/Protocol.h"
#include "cosim/SimulatedSEMedia.h"

namespace {

namespace api = Zelmar::Device::COS::V1_0;

const std::string kExamples = COSUPDATE_EXAMPLES_DIR;

cosim::ChipState updatedFactoryState() {
    cosim::ChipState state = cosim::ChipState::factoryDefault();
    state.cosVersion = 0x0102;
    state.services.insert(cosim::fromHex("F05A4C4D53000001"));
    return state;
}

class SharedLibrary : public ::testing::Test {
  protected:
    SharedLibrary() { android::base::SetMinimumLogSeverity(android::base::ERROR); }

    api::COSUpdateInterface& startEngine(const std::string& file = "") {
        if (engine) {
            engine->release();
            engine.reset();  // one engine at a time: the old one goes first
        }
        engine = api::COSUpdateFactory::create(std::make_shared<api::COSUpdateLogInterface>());
        engine->initialize(media);
        engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FD, cosim::aid::kFD);
        engine->setCOSUpdateTagAID(api::COSUPDATE_TAG_FE, cosim::aid::kFE);
        if (!file.empty()) {
            std::ifstream stream(kExamples + "/" + file, std::ios::binary);
            engine->loadCOSUpdateFileOnMemory(stream);
        }
        return *engine;
    }

    static int doUpdateCatching(api::COSUpdateInterface& e) {
        try {
            return e.doUpdate();
        } catch (const api::COSUpdateException&) {
            return -100;
        }
    }

    std::shared_ptr<cosim::Chip> chip = std::make_shared<cosim::Chip>();
    std::shared_ptr<cosim::SimulatedSEMedia> media =
        std::make_shared<cosim::SimulatedSEMedia>(chip);
    std::unique_ptr<api::COSUpdateInterface> engine;
};

TEST_F(SharedLibrary, DeploysTheExampleUpdateOnce) {
    auto& e = startEngine("update.xml");

    EXPECT_TRUE(e.isUpdateAvailable());
    EXPECT_EQ(e.doUpdate(), 1);
    EXPECT_EQ(chip->state(), updatedFactoryState());
    EXPECT_EQ(e.doUpdate(), 0);
    EXPECT_EQ(startEngine("update.xml").doUpdate(), 0);

    std::vector<uint8_t> info;
    engine->getCOSInfo(api::COSUPDATE_TAG_FE, info);
    EXPECT_EQ(info, cosim::encodeFe(updatedFactoryState()));
    engine->getCOSInfo(api::COSUPDATE_TAG_FD, info);
    EXPECT_EQ(info, (std::vector<uint8_t>{0x0A, 0x01}));
}

TEST_F(SharedLibrary, RefusesBrokenFiles) {
    auto& e = startEngine();
    for (const auto& [file, message] :
         {std::pair<std::string, std::string>{"broken/malformed.xml",
                                              "Unable to extract 'COSUpdate' data from memory"},
          {"broken/service-without-audit.xml", "Multiscript contains invalid/incorrect entry"}}) {
        std::ifstream stream(kExamples + "/" + file, std::ios::binary);
        try {
            e.loadCOSUpdateFileOnMemory(stream);
            ADD_FAILURE() << file << " loaded";
        } catch (const api::COSUpdateException& error) {
            EXPECT_EQ(error.what(), message) << file;
        }
    }
}

TEST_F(SharedLibrary, TornUpdatesConverge) {
    startEngine("update.xml");
    ASSERT_EQ(engine->doUpdate(), 1);
    const uint64_t exchanges = media->exchangeCount();
    engine->release();
    engine.reset();
    for (uint64_t at = 1; at <= exchanges; ++at) {
        chip->setState(cosim::ChipState::factoryDefault());
        media->injectFault(cosim::Fault::powerLoss(media->exchangeCount() + at));
        auto& torn = startEngine("update.xml");
        doUpdateCatching(torn);
        const int rerun = doUpdateCatching(torn);

        EXPECT_TRUE(rerun == 0 || rerun == 1) << "tear at " << at << ": " << rerun;
        EXPECT_EQ(chip->state(), updatedFactoryState()) << "tear at " << at;
    }
    EXPECT_EQ(media->powerLossCount(), exchanges);
    std::cout << "[ tearing  ] shared library: " << exchanges << " tear points tried" << std::endl;
}

}  // namespace
