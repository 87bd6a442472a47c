// cosupdate-gen writes deterministic files: the same options give the same
// file, another seed another.

#include <gtest/gtest.h>

#include <sstream>

#include "UpdateFileGenerator.h"

namespace cosim {
namespace {

TEST(Generator, IsDeterministic) {
    const auto generate = [](uint32_t seed) {
        GeneratorOptions options;
        options.extraEntries = 50;
        options.imageSize = 1000;
        options.seed = seed;
        std::ostringstream out;
        writeUpdateFile(options, out);
        return out.str();
    };
    EXPECT_EQ(generate(1), generate(1));
    EXPECT_NE(generate(1), generate(2));
}

}  // namespace
}  // namespace cosim
