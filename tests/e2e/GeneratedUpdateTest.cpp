// A generated update file of realistic size: many manifest entries and COS
// images split over thousands of APDUs.

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <iostream>

#include "E2eSupport.h"
#include "UpdateFileGenerator.h"

namespace e2e {
namespace {

TEST(GeneratedUpdate, HundredThousandEntriesAndLargeImagesDeploy) {
    cosim::GeneratorOptions options;
    options.extraEntries = 100000;
    options.imageSize = 256 * 1024;
    options.patches = 2;
    const std::string path = ::testing::TempDir() + "/e2e-generated-update.xml";
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        cosim::writeUpdateFile(options, file);
    }
    Bench bench;
    const auto start = std::chrono::steady_clock::now();
    auto& engine = bench.startEngine(path);

    EXPECT_EQ(engine.doUpdate(), 1);

    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    cosim::ChipState expected = cosim::ChipState::factoryDefault();
    expected.cosVersion = 0x0102;
    expected.services.insert(cosim::kGeneratedServiceAid);
    EXPECT_EQ(bench.chip().state(), expected);
    EXPECT_GT(bench.media().exchangeCount(), 2 * options.imageSize / options.blockSize);
    std::cout << "[ generated] " << options.extraEntries << " entries, " << options.patches << " x "
              << options.imageSize << " bytes: " << bench.media().exchangeCount()
              << " exchanges in " << elapsed.count() << " ms" << std::endl;
}

}  // namespace
}  // namespace e2e
