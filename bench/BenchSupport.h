// What the benchmarks share: a log sink that drops every line, a transport that
// answers at once, generated update files in a temporary directory, the smoke
// switch and the summary of paired measurements.
//
// Every target is a ratio of two figures measured in the same run, the two
// alternating in rounds, so that the load of a shared machine hits both alike;
// the median over the rounds then drops the rounds a neighbour disturbed.

#ifndef COSUPDATE_BENCH_SUPPORT_H
#define COSUPDATE_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace bench {

namespace api = Zelmar::Device::COS::V1_0;

class DroppingLog : public api::COSUpdateLogInterface {
  public:
    void writeLogMessage(api::COSUpdateLogLevel level, const std::string& message) override;
};

// Connected from the start; every APDU is answered 90 00 without delay.
class InstantTransport : public api::COSUpdateSEMediaInterface {
  public:
    void initialize() override {}
    bool isInitialized() override { return true; }
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override { return true; }
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override {}

    uint64_t exchanges = 0;
};

// Points file descriptor 2 at /dev/null for its lifetime: the default sink
// writes every line there.
class SilencedStderr {
  public:
    SilencedStderr();
    ~SilencedStderr();
    SilencedStderr(const SilencedStderr&) = delete;
    SilencedStderr& operator=(const SilencedStderr&) = delete;

  private:
    int m_saved;
};

// Options every benchmark program takes besides Google Benchmark's own.
struct RunOptions {
    bool smoke = false;  // small inputs, few rounds: proves the code runs
};
const RunOptions& runOptions();

// A directory of its own under $TMPDIR, removed with everything in it at exit.
const std::string& scratchDirectory();

struct UpdateFileShape {
    size_t entries = 100;     // manifest entries for other platforms
    size_t imageSize = 4096;  // bytes per patch
    unsigned patches = 2;
};
// Writes (once per shape) a generated update file into the scratch directory.
std::string generatedUpdateFile(const UpdateFileShape& shape);
uint64_t fileSize(const std::string& path);

// A generated file of about `bytes`: two patches, as many image bytes as fit.
UpdateFileShape shapeOfFileSize(uint64_t bytes);

double median(std::vector<double> values);

// Seconds on the steady clock taken by `work`.
double secondsOf(const std::function<void()>& work);

// Marks the run failed: the program exits non-zero after the last benchmark.
void fail(benchmark::State& state, const std::string& why);

// Reports a measured ratio against its bound as the benchmark's label.
void labelRatio(benchmark::State& state, const char* what, double ratio, double bound, bool atMost);

// Parses --smoke, runs what `registerAll` registered, and returns the exit code.
int runBenchmarks(int argc, char** argv, const std::function<void()>& registerAll);

}  // namespace bench

#endif  // COSUPDATE_BENCH_SUPPORT_H
