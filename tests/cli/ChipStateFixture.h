// A test's own directory with a chip state file in it, and what the tests
// ask of the directory afterwards: the chip it holds, and every file in it
// (nothing left behind).

#ifndef COSUPDATE_TESTS_CHIP_STATE_FIXTURE_H
#define COSUPDATE_TESTS_CHIP_STATE_FIXTURE_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "ChildTool.h"
#include "cosim/StateFile.h"

namespace cosupdate::test {

class ChipStateFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string dir = (std::filesystem::temp_directory_path() / "cosupdate-XXXXXX").string();
        ASSERT_NE(mkdtemp(dir.data()), nullptr);
        m_dir = dir;
        chmod(dir.c_str(), 0755);  // open to the tests that run the tool as nobody
        m_chip = path("chip.state");
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::permissions(m_dir, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
        std::filesystem::remove_all(m_dir, ignored);
    }

    std::string path(const std::string& name) const { return (m_dir / name).string(); }

    ChildResult run(const std::vector<std::string>& args, const ChildOptions& options = {}) const {
        return runChild(args, path(".out"), options);
    }
    // The tool on the test's chip state file, with `args` after the options.
    ChildResult runOnChip(std::vector<std::string> args, const ChildOptions& options = {}) const {
        args.insert(args.begin(), {"--chip", m_chip});
        return run(args, options);
    }

    void writeChip(const cosim::ChipState& state, const std::string& file = "") const {
        std::ofstream(file.empty() ? m_chip : file) << cosim::formatState(state);
    }
    cosim::ChipState chip(const std::string& file = "") const {
        return cosim::loadStateFile(file.empty() ? m_chip : file);
    }

    // The names in `dir` (default: the test's), but the tool's stdout.
    std::set<std::string> listing(const std::string& dir = "") const {
        std::set<std::string> names;
        for (const auto& entry :
             std::filesystem::directory_iterator(dir.empty() ? m_dir.string() : dir)) {
            if (entry.path().filename() != ".out") {
                names.insert(entry.path().filename().string());
            }
        }
        return names;
    }

    std::filesystem::path m_dir;
    std::string m_chip;
};

}  // namespace cosupdate::test

#endif  // COSUPDATE_TESTS_CHIP_STATE_FIXTURE_H
