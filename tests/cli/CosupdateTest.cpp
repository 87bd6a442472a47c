// cosupdate run as a process, as a user runs it, on the simulated chip with the
// example update files: what it prints, its exit status and the chip it leaves.
// Each test's own directory is $XDG_STATE_HOME, so its default chip state file.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <tuple>

extern char** environ;

namespace {

const std::string kUpdate = std::string(COSUPDATE_EXAMPLES_DIR) + "/update.xml";
constexpr auto npos = std::string::npos;

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// The tool's JSON flattened to "after.cosVersion" or "scripts.0.name" -> the
// value (strings decoded; numbers, true, false and null as written; an array
// as "[N]"). Throws on anything but one well-formed JSON value.
class Json {
  public:
    explicit Json(const std::string& text) : m_s(text) {
        value("");
        require(peek() == '\0');
    }
    const std::string& operator[](const std::string& path) const { return m_fields.at(path); }

  private:
    void require(bool ok) const {
        if (!ok) {
            throw std::runtime_error("not JSON at offset " + std::to_string(m_at) + ": " + m_s);
        }
    }
    char peek() {
        while (m_at < m_s.size() && std::isspace(static_cast<unsigned char>(m_s[m_at]))) {
            ++m_at;
        }
        return m_at < m_s.size() ? m_s[m_at] : '\0';
    }
    bool eat(char c) { return peek() == c && ++m_at != 0; }
    char next() {
        require(m_at < m_s.size() && static_cast<unsigned char>(m_s[m_at]) >= 0x20);
        return m_s[m_at++];
    }

    void value(const std::string& path) {
        const std::string prefix = path.empty() ? "" : path + ".";
        if (eat('{')) {
            std::set<std::string> keys;
            while (!eat('}')) {
                require(keys.empty() || eat(','));
                const std::string key = string();
                require(eat(':') && keys.insert(key).second);
                value(prefix + key);
            }
        } else if (eat('[')) {
            size_t count = 0;
            while (!eat(']')) {
                require(count == 0 || eat(','));
                value(prefix + std::to_string(count++));
            }
            m_fields[path] = "[" + std::to_string(count) + "]";
        } else if (peek() == '"') {
            m_fields[path] = string();
        } else {
            static const std::regex kScalar(
                R"(true|false|null|-?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?)");
            std::smatch match;
            require(std::regex_search(m_s.cbegin() + static_cast<ptrdiff_t>(m_at), m_s.cend(),
                                      match, kScalar, std::regex_constants::match_continuous));
            m_fields[path] = match.str();
            m_at += match.str().size();
        }
    }

    std::string string() {
        require(eat('"'));
        std::string out;
        for (char c = next(); c != '"'; c = next()) {
            if (c != '\\') {
                out += c;
            } else if (const char e = next(); e == 'u') {
                size_t digits = 0;
                const unsigned long code = std::stoul(m_s.substr(m_at, 4), &digits, 16);
                require(digits == 4);
                m_at += 4;
                if (code >= 0x800) {
                    out += static_cast<char>(0xE0 | code >> 12);
                    out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
                } else if (code >= 0x80) {
                    out += static_cast<char>(0xC0 | code >> 6);
                }
                out += static_cast<char>(code < 0x80 ? code : 0x80 | (code & 0x3F));
            } else {
                const size_t escape = std::string("\"\\/bfnrt").find(e);
                require(escape != npos);
                out += "\"\\/\b\f\n\r\t"[escape];
            }
        }
        return out;
    }

    const std::string& m_s;
    size_t m_at = 0;
    std::map<std::string, std::string> m_fields;
};

struct ToolResult {
    int status = -1;  // -1: it did not exit
    std::string out;
    std::string err;

    std::string describe() const {
        return "exit status " + std::to_string(status) + "\n--- stdout\n" + out + "--- stderr\n" +
               err;
    }
};

class ToolTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string dir = (std::filesystem::temp_directory_path() / "cosupdate-XXXXXX").string();
        ASSERT_NE(mkdtemp(dir.data()), nullptr);
        m_dir = dir;
        setenv("XDG_STATE_HOME", dir.c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    // stdout and stderr go to files: nothing to drain while the tool runs.
    ToolResult run(std::vector<std::string> args) const {
        args.insert(args.begin(), COSUPDATE_TOOL);
        if (std::strlen(COSUPDATE_TOOL_LAUNCHER) != 0) {
            args.insert(args.begin(), COSUPDATE_TOOL_LAUNCHER);  // a cross build's emulator
        }
        std::vector<char*> argv;
        for (std::string& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        const std::string output[] = {(m_dir / ".out").string(), (m_dir / ".err").string()};
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        for (int fd : {1, 2}) {
            const int flags = O_WRONLY | O_CREAT | O_TRUNC;
            posix_spawn_file_actions_addopen(&files, fd, output[fd - 1].c_str(), flags, 0600);
        }
        pid_t pid = 0;
        const int spawned = posix_spawn(&pid, argv[0], &files, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&files);
        if (spawned != 0) {
            throw std::runtime_error(args[0] + ": " + std::strerror(spawned));
        }
        int wait = 0;
        while (waitpid(pid, &wait, 0) < 0 && errno == EINTR) {
        }
        return {WIFEXITED(wait) ? WEXITSTATUS(wait) : -1, readFile(output[0]), readFile(output[1])};
    }

    std::string chipText() const { return readFile(m_dir / "cosupdate" / "chip.state"); }
    std::string writeFile(const std::string& name, const std::string& content) const {
        std::ofstream(m_dir / name, std::ios::binary) << content;
        return (m_dir / name).string();
    }

    std::filesystem::path m_dir;
};

TEST_F(ToolTest, UpdateFailsThenDeploysTheExampleThenHasNothingToDo) {
    // One LOAD BLOCK byte changed: the first patch fails its CRC at COMMIT.
    std::string text = readFile(kUpdate);
    const size_t block = text.find("4420823CFDE6F1C2");
    ASSERT_NE(block, npos) << "examples/update.xml changed";
    const std::string corrupted = writeFile("corrupted.xml", text.replace(block + 15, 1, "3"));

    const ToolResult failed = run({"--log-level", "info", "update", corrupted});

    EXPECT_EQ(failed.status, 4) << failed.describe();
    EXPECT_NE(failed.out.find("patch-0100-0101 (Patch): Failed"), npos) << failed.out;
    EXPECT_NE(failed.out.find("unexpected status word 6A80"), npos) << failed.out;
    EXPECT_NE(failed.err.find("[error] "), npos) << failed.err;
    EXPECT_NE(failed.err.find("[info] "), npos) << failed.err;
    EXPECT_EQ(failed.err.find("[debug] "), npos) << "below --log-level: " << failed.err;
    EXPECT_NE(chipText().find("\ncos-version 0100\n"), npos);

    const ToolResult deployed = run({"update", kUpdate});

    ASSERT_EQ(deployed.status, 0) << deployed.describe();
    EXPECT_NE(deployed.out.find("result:       deployed\n"), npos) << deployed.out;
    EXPECT_NE(deployed.out.find("COS version:  0100 -> 0102\n"), npos) << deployed.out;
    EXPECT_NE(deployed.err.find("running service-transit (Service) ...\n"), npos) << deployed.err;
    const std::string chip = chipText();
    EXPECT_NE(chip.find("\ncos-version 0102\n"), npos) << chip;
    EXPECT_NE(chip.find("\nservice F05A4C4D53000001\n"), npos) << chip;

    const ToolResult again = run({"update", kUpdate});

    EXPECT_EQ(again.status, 3) << again.describe();
    EXPECT_NE(again.out.find("result:       nothing to do\n"), npos) << again.out;
    EXPECT_EQ(chipText(), chip);
}

TEST_F(ToolTest, UpdateJsonDescribesTheRun) {
    const ToolResult result = run({"update", kUpdate, "--json"});  // an option after the command
    ASSERT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.err, "") << "--json shows no progress";

    const Json json(result.out);

    EXPECT_EQ(json["command"], "update");
    EXPECT_EQ(json["exitStatus"], "0");
    EXPECT_EQ(json["result"], "deployed");
    EXPECT_EQ(json["before.cosVersion"], "0100");
    EXPECT_EQ(json["after.cosVersion"], "0102");
    EXPECT_EQ(json["deployed"], "2");
    EXPECT_EQ(json["scripts"], "[3]");
    const char* names[] = {"patch-0100-0101", "patch-0101-0102-acme", "service-transit"};
    for (size_t i = 0; i < 3; ++i) {
        const std::string script = "scripts." + std::to_string(i) + ".";
        EXPECT_EQ(json[script + "name"], names[i]);
        EXPECT_EQ(json[script + "result"], "Success");
        EXPECT_NE(json[script + "apdus"], "0");
    }
}

TEST_F(ToolTest, CheckNamesTheScriptTheLibrarySelects) {
    // `chip set`, then check's status and the script it names ("": none).
    const std::vector<std::tuple<std::vector<std::string>, int, std::string>> cases{
        {{"chip", "set", "version", "0100"}, 0, "patch-0100-0101 (Patch)"},
        {{"chip", "set", "version", "101", "customer", "GLOBEX"},
         0,
         "patch-0101-0102-globex (Patch)"},
        {{"chip", "set", "version", "0102", "customer", "ACME"}, 0, "service-transit (Service)"},
        {{"chip", "set", "services", "F05A4C4D53000001"}, 3, ""},
    };
    for (const auto& [chip, status, selected] : cases) {
        SCOPED_TRACE(selected);
        ASSERT_EQ(run(chip).status, 0);
        const std::string chipBefore = chipText();

        const ToolResult text = run({"check", kUpdate});
        const Json json(run({"--json", "check", kUpdate}).out);

        EXPECT_EQ(text.status, status) << text.describe();
        EXPECT_EQ(text.out.substr(0, text.out.find('\n')),
                  selected.empty() ? "no update applies" : "update available: " + selected);
        EXPECT_EQ(text.err, "") << "the library's log is off by default";
        EXPECT_EQ(json["exitStatus"], std::to_string(status));
        EXPECT_EQ(selected.empty() ? json["selected"]
                                   : json["selected.name"] + " (" + json["selected.type"] + ")",
                  selected.empty() ? "null" : selected);
        EXPECT_EQ(chipText(), chipBefore) << "check changed the chip";
    }
}

TEST_F(ToolTest, ValidatePrintsTheLibrarysFaultForEveryBrokenExample) {
    // Each file's fault as the library words it, on the line under "FILE: invalid: ...".
    const std::map<std::string, std::string> faults{
        {"audit-empty-content.xml", "AuditScript entry contains an empty script content"},
        {"audit-empty-name.xml", "AuditScript entry contains an empty name"},
        {"audit-not-present.xml",
         "Audit script 'audit-transit' for Service 'service-transit' not present"},
        {"malformed.xml", "update file, line 4: not well-formed XML"},
        {"missing-script-name.xml", "Metadata entry with script name not defined"},
        {"script-empty-content.xml", "Script entry contains an empty script content"},
        {"script-empty-name.xml", "Script entry contains an empty name"},
        {"script-not-present.xml", "Metadata entry with script 'patch-0101-0102' not present"},
        {"service-without-audit.xml", "Service 'service-transit' have no Audit script."},
        {"undefined-update-type.xml", "Metadata entry with undefined script 'updateType'"},
    };
    size_t validated = 0;
    for (const auto& file :
         std::filesystem::directory_iterator(std::string(COSUPDATE_EXAMPLES_DIR) + "/broken")) {
        const std::string path = file.path().string();
        SCOPED_TRACE(path);
        const auto expected = faults.find(file.path().filename().string());
        ASSERT_NE(expected, faults.end()) << "a broken example with no case here";

        const ToolResult result = run({"validate", path});

        EXPECT_EQ(result.status, 5) << result.describe();
        EXPECT_EQ(result.out.rfind(path + ": invalid: ", 0), 0u) << result.out;
        EXPECT_NE(result.out.find(expected->second, result.out.find('\n')), npos) << result.out;
        ++validated;
    }
    EXPECT_EQ(validated, faults.size());

    const ToolResult good = run({"validate", kUpdate});
    EXPECT_EQ(good.status, 0) << good.describe();
    EXPECT_EQ(good.out, kUpdate + ": valid\n");
    EXPECT_FALSE(std::filesystem::exists(m_dir / "cosupdate")) << "validate needs no chip";
}

TEST_F(ToolTest, ValidateJsonKeepsAnOddPathAndListsTheFault) {
    // Quotes, a backslash, control characters and a byte that is not UTF-8.
    const std::string path =
        writeFile("say \"x\\y\"\t\x01\xFF.xml",
                  readFile(COSUPDATE_EXAMPLES_DIR "/broken/script-empty-name.xml"));

    const ToolResult result = run({"--json", "validate", path});

    EXPECT_EQ(result.status, 5) << result.describe();
    const Json json(result.out);
    EXPECT_EQ(json["command"], "validate");
    EXPECT_EQ(json["file"], path.substr(0, path.size() - 5) + "\xEF\xBF\xBD.xml");  // U+FFFD
    EXPECT_EQ(json["valid"], "false");
    EXPECT_EQ(json["error"], "Multiscript contains invalid/incorrect entry");
    EXPECT_EQ(json["faults"], "[1]");
    EXPECT_EQ(json["faults.0"],
              "Multiscript content is incorrect : Script entry contains an empty name");
}

TEST_F(ToolTest, InfoPrintsTheObjectAsTheLibraryReadsIt) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> steps{
        {{"info", "FD"}, "0A01\n"},  // the first two of its four bytes
        {{"info", "fe"}, "C1065A4C4D2D5031C2020100C30441434D45\n"},
        {{"chip", "set", "fd", "0B020004"}, "chip state file: "},
        {{"info", "FD"}, "0B02\n"},
        {{"--aid-fc", "F05A4C4D00FD", "info", "FC"}, "0B020004\n"},  // FD's AID: all four
    };
    for (const auto& [args, out] : steps) {
        const ToolResult result = run(args);
        EXPECT_EQ(result.status, 0) << result.describe();
        EXPECT_EQ(result.out.substr(0, out.size()), out) << args.back();
    }
}

TEST_F(ToolTest, BadInputGivesOneLineOnStderrAndAFailingStatus) {
    const std::string corrupt = "platform-id ZLM-P1\ncos-version 01XY\nfd 0A010003\n";
    const std::string chip = writeFile("corrupt.state", corrupt);
    const std::string dir = m_dir.string();
    const std::vector<std::tuple<std::vector<std::string>, int, std::string>> cases{
        {{"update", dir + "/none.xml"}, 1, "No such file or directory"},
        {{"check", dir}, 1, "is a directory"},  // unreadable, even to root
        {{"--aid-fe", "F05A4C4D00GE", "info", "FE"}, 2, "not hex"},
        {{"info", "FF"}, 2, "unknown tag 'FF'"},
        {{"--frobnicate", "info", "FE"}, 2, "unknown option '--frobnicate'"},
        {{"upgrade", kUpdate}, 2, "unknown command 'upgrade'"},
        {{"validate"}, 2, "usage: cosupdate validate FILE"},
        {{"--chip", chip, "update", kUpdate}, 1, "corrupt.state is corrupt"},
    };
    for (const auto& [args, status, says] : cases) {
        SCOPED_TRACE(says);
        const ToolResult result = run(args);

        EXPECT_EQ(result.status, status) << result.describe();
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.rfind("cosupdate: ", 0), 0u) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << "not one line: " << result.err;
        EXPECT_NE(result.err.find(says), npos) << result.err;
    }
    EXPECT_EQ(readFile(chip), corrupt);
}

}  // namespace
