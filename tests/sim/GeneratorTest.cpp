// cosupdate-gen: the same options give the same file, another seed another.

#include <gtest/gtest.h>

#include <sstream>

#include "UpdateFileGenerator.h"

namespace cosim {
namespace {

std::string generate(const GeneratorOptions& options) {
    std::ostringstream out;
    writeUpdateFile(options, out);
    return out.str();
}

TEST(Generator, IsDeterministic) {
    GeneratorOptions options;
    options.extraEntries = 50;
    options.imageSize = 1000;
    GeneratorOptions reseeded = options;
    reseeded.seed = 2;

    EXPECT_EQ(generate(options), generate(options));
    EXPECT_NE(generate(options), generate(reseeded));
}

}  // namespace
}  // namespace cosim
