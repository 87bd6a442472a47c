// A generated update file of realistic size: 100,000 manifest entries and two
// 256 KiB COS images over thousands of APDUs.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
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
    const std::string path = ::testing::TempDir() + "/e2e-generated-update.xml";
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        cosim::writeUpdateFile(options, file);
    }
    Bench bench;
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ(bench.startEngine(path).doUpdate(), 1) << bench.log().text;
    std::remove(path.c_str());

    const auto elapsed = std::chrono::steady_clock::now() - start;
    cosim::ChipState expected = cosim::ChipState::factoryDefault();
    expected.cosVersion = 0x0100 + options.patches;
    expected.services.insert(cosim::kGeneratedServiceAid);
    EXPECT_EQ(bench.chip().state(), expected);
    std::cout << "[ generated] " << options.extraEntries << " entries, " << options.patches << " x "
              << options.imageSize << " bytes: " << bench.media().exchangeCount()
              << " exchanges in "
              << std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count() << " ms"
              << std::endl;
}

}  // namespace
}  // namespace e2e
