#include "ToolTest.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>

namespace cosupdate::test {

namespace fs = std::filesystem;

void ToolTest::SetUp() {
    std::string home = (fs::temp_directory_path() / "cosupdate-XXXXXX").string();
    ASSERT_NE(mkdtemp(home.data()), nullptr);
    m_stateHome = home;
    setenv("XDG_STATE_HOME", home.c_str(), 1);
    m_dir = m_stateHome / "cosupdate";
    fs::create_directory(m_dir);
    // Open to the tests that run the tool as nobody.
    for (const fs::path& dir : {m_stateHome, m_dir}) {
        chmod(dir.c_str(), 0755);
    }
    m_chip = path("chip.state");
}

void ToolTest::TearDown() {
    checkJsonOutputs();
    std::error_code ignored;
    fs::remove_all(m_stateHome, ignored);
}

Process ToolTest::start(const std::vector<std::string>& args, const ProcessSetup& setup) {
    const auto optionsEnd = std::find(args.begin(), args.end(), "--");
    const bool json = std::find(args.begin(), optionsEnd, "--json") != optionsEnd;
    const bool captured = setup.out == Output::Captured;
    return Process(commandLine(COSUPDATE_TOOL, args), setup,
                   [this, json, captured](const ToolResult& result) {
                       // A signal that ends the tool leaves no answer to check.
                       if (json && captured && result.signal == 0) {
                           keepJson(result);
                       }
                   });
}

std::string ToolTest::writeFile(const std::string& name, const std::string& content) const {
    std::ofstream(m_dir / name, std::ios::binary) << content;
    return path(name);
}

std::set<std::string> ToolTest::listing(const std::string& dir) const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir.empty() ? m_dir : fs::path(dir))) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

void ToolTest::writeChip(const cosim::ChipState& state, const std::string& file) const {
    std::ofstream(file.empty() ? m_chip : file) << cosim::formatState(state);
}

cosim::ChipState ToolTest::chip(const std::string& file) const {
    return cosim::loadStateFile(file.empty() ? m_chip : file);
}

void ToolTest::keepJson(const ToolResult& result) {
    EXPECT_EQ(result.out.find('\n'), result.out.size() - 1)
        << "not one line of JSON: " << result.out;
    m_jsonOutputs.push_back(result.out);
}

// One run of the validator for all of a test's outputs.
void ToolTest::checkJsonOutputs() const {
    if (m_jsonOutputs.empty()) {
        return;
    }
    ASSERT_STRNE(COSUPDATE_SCHEMA_PYTHON, "")
        << "no Python with jsonschema to check the JSON outputs: run scripts/setup";
    std::string outputs;
    for (const std::string& output : m_jsonOutputs) {
        outputs += output;
    }
    ProcessSetup setup;
    setup.input = outputs;
    const ToolResult check =
        runProcess({COSUPDATE_SCHEMA_PYTHON, COSUPDATE_JSON_CHECKER, COSUPDATE_JSON_SCHEMA}, setup);
    EXPECT_EQ(check.status, 0) << "outputs that do not conform to the schema:\n"
                               << check.out << check.err;
}

std::string exampleUpdate() {
    return std::string(COSUPDATE_EXAMPLES_DIR) + "/update.xml";
}

}  // namespace cosupdate::test
