// A test of cosupdate run as a process. Each test has a directory of its own
// whose parent is $XDG_STATE_HOME, so the tool's default chip state file is
// m_chip, in that directory. Every --json output the test's runs of the tool
// produced is checked against docs/cosupdate.schema.json when it ends.

#ifndef COSUPDATE_TESTS_CLI_TOOL_TEST_H
#define COSUPDATE_TESTS_CLI_TOOL_TEST_H

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "ToolProcess.h"
#include "cosim/StateFile.h"

namespace cosupdate::test {

class ToolTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // The tool with `args` (a cross build's emulator in front).
    Process start(const std::vector<std::string>& args, const ProcessSetup& setup = {});
    ToolResult run(const std::vector<std::string>& args, const ProcessSetup& setup = {}) {
        return start(args, setup).finish();
    }

    std::string path(const std::string& name) const { return (m_dir / name).string(); }
    std::string writeFile(const std::string& name, const std::string& content) const;
    // The names in `dir` (default: the test's own).
    std::set<std::string> listing(const std::string& dir = "") const;

    std::string chipText() const { return readFile(m_chip); }
    void writeChip(const cosim::ChipState& state, const std::string& file = "") const;
    cosim::ChipState chip(const std::string& file = "") const;

    std::filesystem::path m_dir;
    std::string m_chip;

  private:
    void keepJson(const ToolResult& result);
    void checkJsonOutputs() const;

    std::filesystem::path m_stateHome;
    std::vector<std::string> m_jsonOutputs;
};

// The example update file.
std::string exampleUpdate();

}  // namespace cosupdate::test

#endif  // COSUPDATE_TESTS_CLI_TOOL_TEST_H
