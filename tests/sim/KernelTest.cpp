// The simulation kernel through its C interface (the log and memory components
// only): XML faults located by line, and the live-object report that the
// end-to-end and fuzz tests rely on to find leaks.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "nativeCOSPatchKernel.h"

namespace {

std::vector<std::string> lines;  // "LEVEL text"

bool writeLine(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const char* format, va_list args) {
    char line[1024];
    std::vsnprintf(line, sizeof(line), format, args);
    lines.push_back(std::to_string(level) + " " + line);
    return true;
}

std::string dump() {
    return ::testing::PrintToString(lines);
}

bool logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const std::string& text) {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.rfind(std::to_string(level) + " ", 0) == 0 &&
               line.find(text) != std::string::npos;
    });
}

class Kernel : public ::testing::Test {
  protected:
    Kernel() {
        lines.clear();
        NATIVECOSPATCH_LOG_COMPONENT log{nullptr, nullptr, writeLine, nullptr};
        nativeCOSPatch_memory_initComponent();
        nativeCOSPatch_logManager_initComponent(&log);
    }
    ~Kernel() override {
        nativeCOSPatch_memory_cleanupComponent();
        nativeCOSPatch_logManager_cleanupComponent();
    }
};

std::string updateFile(const std::string& manifest, const std::string& scripts = "") {
    return "<COSUpdate format=\"1\">\n<manifest>\n" + manifest + "</manifest>\n<scripts>\n" +
           scripts + "</scripts>\n</COSUpdate>\n";
}

enum class Loader { Script, Consistency, Multiscript };

// Loads `xml` the way `loader` says; true when the kernel accepted it.
bool accepts(Loader loader, const std::string& xml) {
    if (loader == Loader::Multiscript) {
        NATIVECOSPATCH_MULTISCRIPT* ms = nativeCOSPatch_xml_multiscript_loadFromString(xml.c_str());
        nativeCOSPatch_multiscriptManager_freeMultiscript(ms);
        return ms != nullptr;
    }
    NATIVECOSPATCH_SCRIPT* script = nativeCOSPatch_xml_script_loadFromString(xml.c_str());
    const bool accepted = script != nullptr && (loader == Loader::Script ||
                                                nativeCOSPatch_scriptManager_isConsistency(script));
    nativeCOSPatch_scriptManager_freeScript(script);
    return accepted;
}

TEST_F(Kernel, XmlFaultsAreRefusedWithWhatAndWhere) {
    const char kValid[] =
        "<script><open aid=' f05a 4c4D0010 '/><apdu cmd='00  b0 0000 00' "
        "data='C1' mask='F0' sw='9000 61XX'/><close/></script>";
    struct Case {
        Loader loader;
        std::string xml;
        const char* error;  // logged at ERROR with its line; empty: must load
    };
    const std::vector<Case> cases{
        {Loader::Consistency, kValid, ""},
        {Loader::Script, "<script>\n<open aid='F05A4C4D001'/></script>",
         "script, line 2: bad hex in aid"},
        {Loader::Script, "<script>\n<open aid='F05A4C4D001 0'/></script>",
         "script, line 2: bad hex in aid"},
        {Loader::Script, "<script>\n\n<apdu cmd='00B0000G'/></script>",
         "script, line 3: bad hex in cmd"},
        {Loader::Script, "<script>\n\n<apdu cmd='00B000'/></script>",
         "script, line 3: APDU of 3 bytes"},
        {Loader::Script, "<script>\n<reset/></script>", "script, line 2: unknown element <reset>"},
        {Loader::Script, "<script>\n<open aid='F05A4C4D0010'>\n</script>",
         "script, line 2: not well-formed"},
        {Loader::Consistency,
         "<script>\n<open aid='F05A4C4D00FE'/>\n<open aid='F05A4C4D00FE'/></script>",
         "line 3: <open> while the connection opened on line 2"},
        {Loader::Multiscript, "<COSUpdate>\n\n<extras/></COSUpdate>",
         "line 3: unknown element <extras>"},
        {Loader::Multiscript, updateFile("<entry scriptname='a'/>\n"),
         "line 3: unknown attribute 'scriptname'"},
        {Loader::Multiscript,
         updateFile("", "<script name='a'>x</script>\n<script name='a'>y</script>\n"),
         "line 6: script 'a' already declared on line 5"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.xml);
        lines.clear();
        const bool valid = c.error[0] == '\0';
        EXPECT_EQ(accepts(c.loader, c.xml), valid) << dump();
        if (!valid) {
            EXPECT_TRUE(logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_ERROR, c.error)) << dump();
        }
    }
}

TEST_F(Kernel, CleanupReportsObjectsStillAlive) {
    const char kScript[] = "<script><close/></script>";
    NATIVECOSPATCH_SCRIPT* freed = nativeCOSPatch_xml_script_loadFromString(kScript);
    NATIVECOSPATCH_SCRIPT* kept = nativeCOSPatch_xml_script_loadFromString(kScript);
    NATIVECOSPATCH_MULTISCRIPT* ms =
        nativeCOSPatch_xml_multiscript_loadFromString(updateFile("").c_str());
    ASSERT_TRUE(freed != nullptr && kept != nullptr && ms != nullptr) << dump();
    nativeCOSPatch_scriptManager_freeScript(freed);

    nativeCOSPatch_memory_cleanupComponent();

    EXPECT_TRUE(logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_WARNING, "1 script(s) never freed"))
        << dump();
    EXPECT_TRUE(logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_WARNING, "1 multiscript(s) never freed"));
    nativeCOSPatch_scriptManager_freeScript(kept);
    nativeCOSPatch_multiscriptManager_freeMultiscript(ms);
}

TEST_F(Kernel, GivesBackOnlyByteArraysItHandedOut) {
    uint8_t foreign[4] = {1, 2, 3, 4};
    NATIVECOSPATCH_BYTE_ARRAY array{};
    array.data = foreign;
    array.size = sizeof(foreign);
    EXPECT_FALSE(nativeCOSPatch_byteArray_freeContent(&array));
    EXPECT_EQ(array.data, foreign) << "a refused array is left as it was";
    EXPECT_TRUE(logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_WARNING, "not a byte array of ours"))
        << dump();
}

}  // namespace
