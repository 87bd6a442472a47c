// A fresh directory per test with its own chip state file, and the tool run
// on that chip.

#ifndef COSUPDATE_CLI_TESTS_TOOL_FIXTURE_H
#define COSUPDATE_CLI_TESTS_TOOL_FIXTURE_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ToolProcess.h"

namespace clitest {

class ToolTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // The tool with --chip <this test's chip file> in front of `args`.
    ToolResult run(const std::vector<std::string>& args);
    ToolResult runWithoutChip(const std::vector<std::string>& args,
                              const std::map<std::string, std::string>& environment = {});

    std::string chipText() const;  // the chip state file's content
    std::string writeFile(const std::string& name, const std::string& content) const;

    std::filesystem::path m_dir;
    std::string m_chip;
};

std::string readFile(const std::string& path);

}  // namespace clitest

#endif  // COSUPDATE_CLI_TESTS_TOOL_FIXTURE_H
