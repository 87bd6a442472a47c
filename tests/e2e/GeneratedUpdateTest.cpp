// A generated update file of realistic size: 100,000 manifest entries and two
// 256 KiB COS images over thousands of APDUs (timings: bench/).

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "E2eSupport.h"
#include "UpdateFileGenerator.h"

namespace e2e {
namespace {

TEST(GeneratedUpdate, HundredThousandEntriesAndLargeImagesDeploy) {
    cosim::GeneratorOptions options;
    options.extraEntries = 100000;
    options.imageSize = 256 * 1024;
    const std::string path = ::testing::TempDir() + "/e2e-generated-update.xml";
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    cosim::writeUpdateFile(options, file);
    file.close();
    Bench bench;
    EXPECT_EQ(bench.startEngine(path).doUpdate(), 1) << bench.log().text;
    std::remove(path.c_str());

    cosim::ChipState expected = cosim::ChipState::factoryDefault();
    expected.cosVersion = 0x0100 + options.patches;
    expected.services.insert(cosim::kGeneratedServiceAid);
    EXPECT_EQ(bench.chip().state(), expected);
}

}  // namespace
}  // namespace e2e
