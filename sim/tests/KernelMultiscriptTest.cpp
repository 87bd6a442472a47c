// The kernel's update file parsing: records, lookups and located errors.

#include <gtest/gtest.h>

#include <string>

#include "KernelHarness.h"

namespace {

const char kScript[] = "<![CDATA[<script><open aid='F05A4C4D0010'/><close/></script>]]>";

std::string updateFile(const std::string& manifest, const std::string& scripts = "",
                       const std::string& audits = "") {
    return "<COSUpdate format=\"1\">\n<manifest>\n" + manifest + "</manifest>\n<scripts>\n" +
           scripts + "</scripts>\n<auditScripts>\n" + audits + "</auditScripts>\n</COSUpdate>\n";
}

std::vector<NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST*> entries(NATIVECOSPATCH_MULTISCRIPT* ms) {
    std::vector<NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST*> list;
    for (NATIVECOSPATCH_LIST_NODE* node = ms->scriptManifests; node != nullptr; node = node->next) {
        list.push_back(static_cast<NATIVECOSPATCH_MULTISCRIPT__SCRIPT_MANIFEST*>(node->data));
    }
    return list;
}

TEST(KernelMultiscript, AttributesMapOntoTheRecordKeepingAbsentAndEmptyApart) {
    harness::KernelFixture kernel;
    const std::string xml = updateFile(
        "<entry scriptName='a' scriptType='Service' auditScriptName='' customerId='ACME' "
        "cosVersion='0x01FF' platformId='ZLM-P1'/>\n"
        "<entry scriptType='7'/>\n<entry scriptName='b' scriptType='Patch'/>\n",
        std::string("<script name='a'>") + kScript + "</script>\n");

    NATIVECOSPATCH_MULTISCRIPT* ms = nativeCOSPatch_xml_multiscript_loadFromString(xml.c_str());

    ASSERT_NE(ms, nullptr) << kernel.dump();
    const auto list = entries(ms);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_STREQ(list[0]->scriptName, "a");
    EXPECT_EQ(list[0]->scriptType, NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_SERVICE);
    EXPECT_STREQ(list[0]->auditScriptName, "");
    EXPECT_STREQ(list[0]->customerId, "ACME");
    EXPECT_STREQ(list[0]->cosVersion, "0x01FF");
    EXPECT_STREQ(list[0]->platformId, "ZLM-P1");
    EXPECT_EQ(list[1]->scriptName, nullptr);
    EXPECT_EQ(static_cast<int32_t>(list[1]->scriptType), 7);
    EXPECT_EQ(list[1]->auditScriptName, nullptr);
    EXPECT_EQ(list[1]->customerId, nullptr);
    EXPECT_EQ(list[1]->cosVersion, nullptr);
    EXPECT_EQ(list[1]->platformId, nullptr);
    EXPECT_EQ(list[2]->scriptType, NATIVECOSPATCH_MULTISCRIPT__SCRIPT_TYPE_PATCH);
    EXPECT_EQ(ms->auditScripts, nullptr);
    EXPECT_TRUE(nativeCOSPatch_multiscriptManager_freeMultiscript(ms));
}

TEST(KernelMultiscript, LooksScriptsUpByName) {
    harness::KernelFixture kernel;
    const std::string xml =
        updateFile("",
                   std::string("<script name='p1'>") + kScript + "</script>\n<script name=''>" +
                       kScript + "</script>\n<script name='p2'>  </script>\n",
                   "<auditScript name='a1'><![CDATA[<audit/>]]></auditScript>\n");
    NATIVECOSPATCH_MULTISCRIPT* ms = nativeCOSPatch_xml_multiscript_loadFromString(xml.c_str());
    ASSERT_NE(ms, nullptr) << kernel.dump();
    bool exists = false;

    EXPECT_TRUE(nativeCOSPatch_multiscriptManager_isScriptWithNameExist(ms, "p2", &exists));
    EXPECT_TRUE(exists);
    EXPECT_TRUE(nativeCOSPatch_multiscriptManager_isScriptWithNameExist(ms, "a1", &exists));
    EXPECT_FALSE(exists);
    EXPECT_TRUE(nativeCOSPatch_multiscriptManager_isAuditScriptWithNameExist(ms, "a1", &exists));
    EXPECT_TRUE(exists);
    EXPECT_FALSE(nativeCOSPatch_multiscriptManager_isScriptWithNameExist(ms, nullptr, &exists));

    auto* p1 = nativeCOSPatch_multiscriptManager_script_selectRefScript(ms, "p1");
    ASSERT_NE(p1, nullptr);
    EXPECT_STREQ(p1->content, "<script><open aid='F05A4C4D0010'/><close/></script>");
    EXPECT_STREQ(nativeCOSPatch_multiscriptManager_script_selectRefScript(ms, "p2")->content, "");
    EXPECT_STREQ(nativeCOSPatch_multiscriptManager_script_selectRefScript(ms, "")->name, "");
    EXPECT_EQ(nativeCOSPatch_multiscriptManager_script_selectRefScript(ms, "p3"), nullptr);
    EXPECT_STREQ(nativeCOSPatch_multiscriptManager_script_selectRefAuditScript(ms, "a1")->content,
                 "<audit/>");
    nativeCOSPatch_multiscriptManager_freeMultiscript(ms);
}

TEST(KernelMultiscript, RefusesRecordsItDidNotMake) {
    harness::KernelFixture kernel;
    NATIVECOSPATCH_MULTISCRIPT foreign{};
    bool exists = false;

    EXPECT_FALSE(nativeCOSPatch_multiscriptManager_isScriptWithNameExist(&foreign, "a", &exists));
    EXPECT_FALSE(nativeCOSPatch_multiscriptManager_freeMultiscript(&foreign));
    EXPECT_FALSE(nativeCOSPatch_multiscriptManager_freeMultiscript(nullptr));
    EXPECT_EQ(nativeCOSPatch_xml_multiscript_loadFromString(nullptr), nullptr);
}

struct BadFile {
    const char* name;
    std::string xml;
    const char* error;
};

class KernelBadUpdateFile : public ::testing::TestWithParam<BadFile> {};

TEST_P(KernelBadUpdateFile, IsRefusedWithItsLine) {
    harness::KernelFixture kernel;

    EXPECT_EQ(nativeCOSPatch_xml_multiscript_loadFromString(GetParam().xml.c_str()), nullptr);

    EXPECT_TRUE(kernel.logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_ERROR, GetParam().error))
        << kernel.dump();
}

INSTANTIATE_TEST_SUITE_P(
    Faults, KernelBadUpdateFile,
    ::testing::Values(
        BadFile{"Malformed", "<COSUpdate>\n<manifest>\n</COSUpdate>", "line 2: not well-formed"},
        BadFile{"WrongRoot", "<Update/>", "line 1: root element <Update>"},
        BadFile{"UnknownSection", "<COSUpdate>\n\n<extras/></COSUpdate>",
                "line 3: unknown element <extras>"},
        BadFile{"UnknownEntryAttribute", updateFile("<entry scriptname='a'/>\n"),
                "line 3: unknown attribute 'scriptname'"},
        BadFile{"BadScriptType", updateFile("<entry scriptType='Firmware'/>\n"),
                "line 3: scriptType 'Firmware'"},
        BadFile{"WrongChild", updateFile("<script name='a'/>\n"),
                "line 3: unknown element <script> in <manifest>"},
        BadFile{"ElementAsScript", updateFile("", "<script name='a'>\n<script/></script>\n"),
                "line 6: <script> holds its XML as text"},
        BadFile{"DuplicateScript",
                updateFile("", "<script name='a'>x</script>\n<script name='a'>y</script>\n"),
                "line 6: script 'a' already declared on line 5"},
        BadFile{"SecondManifest", "<COSUpdate><manifest/>\n<manifest/></COSUpdate>",
                "line 2: second <manifest>"},
        BadFile{"StrayText", "<COSUpdate>\n<manifest>oops</manifest></COSUpdate>",
                "line 2: unexpected text"},
        BadFile{"FutureFormat", "<COSUpdate format='2'/>", "unsupported format '2'"}),
    [](const ::testing::TestParamInfo<BadFile>& info) { return info.param.name; });

}  // namespace
