// cosupdate-gen's output: deterministic, and refusing options the chip could
// not take.

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "UpdateFileGenerator.h"

namespace cosim {
namespace {

std::string generate(const GeneratorOptions& options) {
    std::ostringstream out;
    writeUpdateFile(options, out);
    return out.str();
}

TEST(Generator, SameOptionsSameFile) {
    GeneratorOptions options;
    options.extraEntries = 50;
    options.imageSize = 1000;

    EXPECT_EQ(generate(options), generate(options));
    GeneratorOptions reseeded = options;
    reseeded.seed = 2;
    EXPECT_NE(generate(options), generate(reseeded));
}

TEST(Generator, SplitsTheImageIntoBlocksOfTheGivenSize) {
    const Bytes image = generatedImage(1, 0, 500);
    const std::string script = patchScript(0x0100, 0x0101, image, 200);

    // BEGIN, then blocks of 200, 200 and 100 bytes (Lc = 4 + size).
    EXPECT_NE(script.find("\"805000000C010001010000"), std::string::npos);
    EXPECT_NE(script.find("\"80520000CC00000000"), std::string::npos);
    EXPECT_NE(script.find("\"80520000CC000000C8"), std::string::npos);
    EXPECT_NE(script.find("\"805200006800000190"), std::string::npos);
    EXPECT_EQ(script.find("\"80520000CC00000190"), std::string::npos);
}

TEST(Generator, RefusesOptionsTheChipCannotTake) {
    std::ostringstream out;
    using Breakage = void (*)(GeneratorOptions&);
    for (Breakage broken : std::initializer_list<Breakage>{
             [](GeneratorOptions& o) { o.blockSize = 0; },
             [](GeneratorOptions& o) { o.blockSize = 252; },
             [](GeneratorOptions& o) { o.imageSize = 0; },
             [](GeneratorOptions& o) { o.patches = 0xFFFF; },
         }) {
        GeneratorOptions options;
        broken(options);
        EXPECT_THROW(writeUpdateFile(options, out), std::invalid_argument);
    }
}

}  // namespace
}  // namespace cosim
