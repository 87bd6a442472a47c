#include "BenchSupport.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

#include "UpdateFileGenerator.h"

namespace bench {

namespace {

bool g_failed = false;
RunOptions g_options;

// Characters the generator writes per LOAD BLOCK line and the image bytes that
// line carries: "  <apdu cmd=\"" + hex of (header, Lc, offset, data) + "\"/>\n".
constexpr size_t kBlockBytes = 240;
constexpr size_t kBlockLineChars = 13 + 2 * (4 + 1 + 4 + kBlockBytes) + 4;

class ScratchDirectory {
  public:
    ScratchDirectory() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") +
                              "/cosupdate-bench-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot create a directory from " + pattern + ": " +
                                     std::strerror(errno));
        }
        m_path = pattern;
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

std::string shapeName(const UpdateFileShape& shape) {
    std::ostringstream name;
    name << "update-e" << shape.entries << "-i" << shape.imageSize << "-p" << shape.patches
         << ".xml";
    return name.str();
}

}  // namespace

void DroppingLog::writeLogMessage(api::COSUpdateLogLevel, const std::string&) {}

void InstantTransport::openConnection(const std::vector<uint8_t>&, std::vector<uint8_t>& response) {
    response.assign({0x90, 0x00});
}

void InstantTransport::transmitApdu(const std::vector<uint8_t>&, std::vector<uint8_t>& response) {
    ++exchanges;
    response.assign({0x90, 0x00});
}

SilencedStderr::SilencedStderr() : m_saved(dup(STDERR_FILENO)) {
    std::fflush(stderr);
    const int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (devNull >= 0) {
        dup2(devNull, STDERR_FILENO);
        close(devNull);
    }
}

SilencedStderr::~SilencedStderr() {
    std::fflush(stderr);
    if (m_saved >= 0) {
        dup2(m_saved, STDERR_FILENO);
        close(m_saved);
    }
}

const RunOptions& runOptions() {
    return g_options;
}

const std::string& scratchDirectory() {
    static const ScratchDirectory directory;
    return directory.path();
}

std::string generatedUpdateFile(const UpdateFileShape& shape) {
    static std::map<std::string, std::string> made;
    const std::string name = shapeName(shape);
    auto found = made.find(name);
    if (found != made.end()) {
        return found->second;
    }
    cosim::GeneratorOptions options;
    options.extraEntries = shape.entries;
    options.imageSize = shape.imageSize;
    options.patches = shape.patches;
    options.blockSize = kBlockBytes;
    const std::string path = scratchDirectory() + "/" + name;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    cosim::writeUpdateFile(options, file);
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
    made.emplace(name, path);
    return path;
}

uint64_t fileSize(const std::string& path) {
    return std::filesystem::file_size(path);
}

UpdateFileShape shapeOfFileSize(uint64_t bytes) {
    UpdateFileShape shape;
    shape.entries = 0;
    shape.patches = 2;
    const uint64_t lines = (bytes + kBlockLineChars - 1) / kBlockLineChars;
    shape.imageSize =
        static_cast<size_t>((lines + shape.patches - 1) / shape.patches) * kBlockBytes;
    return shape;
}

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0.0;
    }
    const size_t middle = values.size() / 2;
    std::nth_element(values.begin(), values.begin() + middle, values.end());
    return values[middle];
}

double secondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void fail(benchmark::State& state, const std::string& why) {
    g_failed = true;
    state.SkipWithError(why.c_str());
}

void labelRatio(benchmark::State& state, const char* what, double ratio, double bound,
                bool atMost) {
    const bool met = atMost ? ratio <= bound : ratio >= bound;
    char label[160];
    std::snprintf(label, sizeof(label), "%s %.4f (target %s %.2f): %s", what, ratio,
                  atMost ? "<=" : ">=", bound, met ? "met" : "MISSED");
    state.SetLabel(label);
}

int runBenchmarks(int argc, char** argv, const std::function<void()>& registerAll) {
    std::vector<char*> arguments;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--smoke") == 0) {
            g_options.smoke = true;
        } else {
            arguments.push_back(argv[i]);
        }
    }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    try {
        registerAll();
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "benchmark aborted: %s\n", e.what());
        return 1;
    }
    benchmark::Shutdown();
    return g_failed ? 1 : 0;
}

}  // namespace bench
