// cosupdate-gen: writes a large, deterministic update file for the simulated
// chip, for benchmarks and load tests.
//
//   cosupdate-gen --entries 100000 --image-size 4194304 -o big-update.xml

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "UpdateFileGenerator.h"

namespace {

constexpr int kUsageError = 2;

const char kUsage[] =
    "usage: cosupdate-gen [--entries N] [--image-size BYTES] [--patches K]\n"
    "                     [--block-size BYTES] [--seed S] [-o FILE]\n"
    "  --entries N         manifest entries for other platforms (default 100)\n"
    "  --image-size BYTES  COS image size of every patch (default 4096)\n"
    "  --patches K         patches chained from COS 0100 (default 2)\n"
    "  --block-size BYTES  image bytes per LOAD BLOCK APDU, 1 to 251 (default 240)\n"
    "  --seed S            seed of the image contents (default 1)\n"
    "  -o, --output FILE   output file (default: standard output)\n"
    "  -h, --help          this text\n";

unsigned long long numberArgument(const char* option, const char* text) {
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text, &end, 10);
    if (*text == '\0' || *text == '-' || *end != '\0') {
        throw std::invalid_argument(std::string(option) + " needs a number, not '" + text + "'");
    }
    return value;
}

struct Arguments {
    cosim::GeneratorOptions options;
    std::string output;
};

Arguments parseArguments(int argc, char** argv) {
    Arguments arguments;
    cosim::GeneratorOptions& o = arguments.options;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "-h" || option == "--help") {
            std::cout << kUsage;
            std::exit(EXIT_SUCCESS);
        }
        if (i + 1 >= argc) {
            throw std::invalid_argument(option + " needs a value");
        }
        const char* value = argv[++i];
        if (option == "--entries") {
            o.extraEntries = numberArgument(argv[i - 1], value);
        } else if (option == "--image-size") {
            o.imageSize = numberArgument(argv[i - 1], value);
        } else if (option == "--patches") {
            o.patches = static_cast<unsigned>(numberArgument(argv[i - 1], value));
        } else if (option == "--block-size") {
            o.blockSize = numberArgument(argv[i - 1], value);
        } else if (option == "--seed") {
            o.seed = static_cast<uint32_t>(numberArgument(argv[i - 1], value));
        } else if (option == "-o" || option == "--output") {
            arguments.output = value;
        } else {
            throw std::invalid_argument("unknown option " + option);
        }
    }
    return arguments;
}

// Written beside FILE and renamed over it only once complete: a bad option
// or a full disk leaves FILE as it was, or absent.
int writeOutput(const Arguments& arguments) {
    const std::string temporary = arguments.output + ".tmp." + std::to_string(::getpid());
    bool written = false;
    try {
        std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
        cosim::writeUpdateFile(arguments.options, file);
        file.close();
        written = !file.fail();
    } catch (...) {
        std::remove(temporary.c_str());
        throw;
    }
    if (!written || std::rename(temporary.c_str(), arguments.output.c_str()) != 0) {
        std::cerr << "cosupdate-gen: cannot write " << arguments.output << ": "
                  << std::strerror(errno) << '\n';
        std::remove(temporary.c_str());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const Arguments arguments = parseArguments(argc, argv);
        if (arguments.output.empty()) {
            cosim::writeUpdateFile(arguments.options, std::cout);
            return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
        }
        return writeOutput(arguments);
    } catch (const std::invalid_argument& e) {
        std::cerr << "cosupdate-gen: " << e.what() << '\n' << kUsage;
        return kUsageError;
    }
}
