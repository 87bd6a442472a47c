// Runs a fuzz target over files, as libFuzzer would run them once each: the
// committed corpora become ordinary tests in builds without libFuzzer.
//
//   cosupdate_fuzz_<target>_replay DIR_OR_FILE...

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> inputsIn(const fs::path& path) {
    if (!fs::is_directory(path)) {
        return {path};
    }
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());  // the same order on every machine
    return files;
}

std::vector<uint8_t> readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        std::exit(2);
    }
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize != nullptr) {
        LLVMFuzzerInitialize(&argc, &argv);
    }
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        for (auto& file : inputsIn(argv[i])) {
            inputs.push_back(std::move(file));
        }
    }
    // A corpus that went missing must not pass as an empty success.
    if (inputs.empty()) {
        std::fprintf(stderr, "usage: %s DIR_OR_FILE... (no input found)\n", argv[0]);
        return 2;
    }
    for (const auto& path : inputs) {
        const std::vector<uint8_t> data = readFile(path);
        // Copied to a buffer of exactly its size: a read past it is caught
        // under AddressSanitizer, as under libFuzzer.
        std::unique_ptr<uint8_t[]> exact(new uint8_t[data.size()]);
        std::copy(data.begin(), data.end(), exact.get());
        LLVMFuzzerTestOneInput(exact.get(), data.size());
    }
    std::printf("replayed %zu input(s) without a broken invariant\n", inputs.size());
    return 0;
}
