// Runs a fuzz target once over each file given or found under the directories
// given, in sorted order, as libFuzzer would: the committed corpora become
// ordinary tests in builds without libFuzzer.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::set<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            inputs.insert(argv[i]);
            continue;
        }
        for (const auto& entry : fs::recursive_directory_iterator(argv[i])) {
            if (entry.is_regular_file()) {
                inputs.insert(entry.path());
            }
        }
    }
    // A corpus that went missing must not pass as an empty success.
    if (inputs.empty()) {
        std::fprintf(stderr, "usage: %s DIR_OR_FILE... (no input found)\n", argv[0]);
        return 2;
    }
    for (const auto& path : inputs) {
        // A vector of the file's size holds exactly its bytes, as libFuzzer
        // passes them: AddressSanitizer sees a harness read past the input.
        std::ifstream in(path, std::ios::binary);
        std::vector<uint8_t> data(in ? fs::file_size(path) : 0);
        if (!in.read(reinterpret_cast<char*>(data.data()), data.size())) {
            std::fprintf(stderr, "cannot read %s\n", path.c_str());
            return 2;
        }
        LLVMFuzzerTestOneInput(data.data(), data.size());
    }
    std::printf("replayed %zu input(s) without a broken invariant\n", inputs.size());
    return 0;
}
