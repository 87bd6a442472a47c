#include "ToolFixture.h"

#include <stdlib.h>

#include <fstream>
#include <sstream>

namespace clitest {

void ToolTest::SetUp() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "cosupdate-cli-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    m_dir = pattern;
    m_chip = (m_dir / "chip.state").string();
}

void ToolTest::TearDown() {
    std::error_code ignored;
    std::filesystem::remove_all(m_dir, ignored);
}

ToolResult ToolTest::run(const std::vector<std::string>& args) {
    std::vector<std::string> all{"--chip", m_chip};
    all.insert(all.end(), args.begin(), args.end());
    return runTool(all);
}

ToolResult ToolTest::runWithoutChip(const std::vector<std::string>& args,
                                    const std::map<std::string, std::string>& environment) {
    return runTool(args, environment);
}

std::string ToolTest::chipText() const {
    return readFile(m_chip);
}

std::string ToolTest::writeFile(const std::string& name, const std::string& content) const {
    const std::string path = (m_dir / name).string();
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace clitest
