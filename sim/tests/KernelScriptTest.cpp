// The kernel's script language: parsing, consistency and running on the chip.

#include <gtest/gtest.h>

#include "KernelHarness.h"
#include "cosim/Crc32.h"
#include "cosim/Protocol.h"

namespace {

using harness::KernelFixture;
using harness::loadScript;

constexpr auto kError = NATIVECOSPATCH_LOG_MESSAGE_LEVEL_ERROR;

struct Source {
    const char* name;
    const char* xml;
    const char* error;  // logged at ERROR, empty when it must load
};

class ScriptSource : public ::testing::TestWithParam<Source> {};

TEST_P(ScriptSource, LoadsOrNamesItsFault) {
    KernelFixture kernel;
    NATIVECOSPATCH_SCRIPT* script = loadScript(GetParam().xml);

    if (GetParam().error[0] == '\0') {
        EXPECT_NE(script, nullptr) << kernel.dump();
    } else {
        EXPECT_EQ(script, nullptr);
        EXPECT_TRUE(kernel.logged(kError, GetParam().error)) << kernel.dump();
    }
    nativeCOSPatch_scriptManager_freeScript(script);
}

INSTANTIATE_TEST_SUITE_P(
    Parsing, ScriptSource,
    ::testing::Values(
        Source{"Valid",
               "<script><open aid='F05A4C4D0010' sw='9000 61XX'/>"
               "<apdu cmd='00 B0 00 00 00' data='C1' mask='F0'/><close/></script>",
               ""},
        Source{"BadHex", "<script>\n<open aid='F05A4C4D001'/></script>",
               "script, line 2: bad hex in aid"},
        Source{"HexBlanksBetweenPairsAnyCase",
               "<script><open aid=' f05a 4c4D0010 '/><apdu cmd='00  b0 0000 00'/></script>", ""},
        Source{"HexBlankInsidePair", "<script>\n<open aid='F05A4C4D001 0'/></script>",
               "script, line 2: bad hex in aid"},
        Source{"HexNotADigit", "<script>\n\n<apdu cmd='00B0000G'/></script>",
               "script, line 3: bad hex in cmd"},
        Source{"HexDigitAfterLastPair", "<script>\n<apdu cmd='00B00000 0'/></script>",
               "script, line 2: bad hex in cmd"},
        Source{"ShortApdu", "<script>\n\n<apdu cmd='00B000'/></script>",
               "script, line 3: APDU of 3 bytes"},
        Source{"MissingCommand", "<script>\n<apdu sw='9000'/></script>",
               "script, line 2: <apdu> needs cmd"},
        Source{"BadStatusWord", "<script>\n<apdu cmd='00B00000' sw='90000'/></script>",
               "line 2: bad status word '90000'"},
        Source{"MaskWithoutData", "<script>\n<apdu cmd='00B00000' mask='FF'/></script>",
               "line 2: mask without data"},
        Source{"MaskLength", "<script>\n<apdu cmd='00B00000' data='01' mask='FFFF'/></script>",
               "line 2: mask and data differ"},
        Source{"UnknownStep", "<script>\n<reset/></script>", "line 2: unknown element <reset>"},
        Source{"UnknownAttribute", "<script>\n<close now='1'/></script>",
               "line 2: unknown attribute 'now'"},
        Source{"AuditRoot", "<audit><close/></audit>", "root element <audit>, expected <script>"},
        Source{"NotXml", "<script>", "not well-formed"}),
    [](const ::testing::TestParamInfo<Source>& info) { return info.param.name; });

TEST(KernelScript, NullTextLoadsNothing) {
    KernelFixture kernel;
    EXPECT_EQ(nativeCOSPatch_xml_script_loadFromString(nullptr), nullptr);
    EXPECT_EQ(nativeCOSPatch_xml_audit_script_loadFromString(nullptr), nullptr);
    EXPECT_EQ(nativeCOSPatch_xml_audit_script_loadFromString("<script/>"), nullptr);
}

class ScriptStructure : public ::testing::TestWithParam<Source> {};

TEST_P(ScriptStructure, IsCheckedBeforeRunning) {
    KernelFixture kernel;
    NATIVECOSPATCH_SCRIPT* script = loadScript(GetParam().xml);
    ASSERT_NE(script, nullptr) << kernel.dump();
    const bool consistent = GetParam().error[0] == '\0';

    EXPECT_EQ(nativeCOSPatch_scriptManager_isConsistency(script), consistent);
    if (!consistent) {
        EXPECT_TRUE(kernel.logged(kError, GetParam().error)) << kernel.dump();
        EXPECT_FALSE(nativeCOSPatch_scriptRunner_executeScript(script));
    }
    nativeCOSPatch_scriptManager_freeScript(script);
}

INSTANTIATE_TEST_SUITE_P(
    Consistency, ScriptStructure,
    ::testing::Values(
        Source{"Consistent",
               "<script><open aid='F05A4C4D00FE'/><apdu cmd='00B0000000'/><close/>"
               "<open aid='F05A4C4D0010'/><apdu cmd='80500000 0C 010001010000000400000000 00'/>"
               "<close/></script>",
               ""},
        Source{"Empty", "<script/>", "no step"},
        Source{"ApduFirst", "<script>\n<apdu cmd='00B0000000'/></script>",
               "line 2: <apdu> outside a connection"},
        Source{"OpenTwice",
               "<script>\n<open aid='F05A4C4D00FE'/>\n<open aid='F05A4C4D00FE'/></script>",
               "line 3: <open> while the connection opened on line 2"},
        Source{"LoneClose", "<script>\n<close/></script>", "line 2: <close> without"},
        Source{"NeverClosed", "<script>\n<open aid='F05A4C4D00FE'/></script>",
               "line 2: connection opened here is never closed"},
        Source{"LcMismatch",
               "<script><open aid='F05A4C4D0010'/>\n<apdu cmd='80500000 0C 0100'/><close/>"
               "</script>",
               "line 2: APDU length fields do not match"},
        Source{"ShortAid", "<script>\n<open aid='F05A4C'/><close/></script>",
               "line 2: AID of 3 bytes"}),
    [](const ::testing::TestParamInfo<Source>& info) { return info.param.name; });

std::string patchScript(uint16_t base, uint16_t target, const cosim::Bytes& image) {
    const uint32_t size = static_cast<uint32_t>(image.size());
    return "<script><open aid='F05A4C4D0010'/>"
           "<apdu cmd='" +
           cosim::toHex(
               cosim::beginPatchCommand(base, target, size, cosim::crc32(image.data(), size))) +
           "' done-sw='6A89'/><apdu cmd='" +
           cosim::toHex(cosim::loadBlockCommand(0, image.data(), size)) +
           "'/><apdu cmd='80540000'/><close/></script>";
}

TEST(KernelScript, PatchRunsAndReRunEndsAtDoneStatusWord) {
    KernelFixture kernel;
    NATIVECOSPATCH_SCRIPT* script = loadScript(patchScript(0x0100, 0x0101, {1, 2, 3}));

    EXPECT_TRUE(nativeCOSPatch_scriptRunner_executeScript(script)) << kernel.dump();
    EXPECT_EQ(kernel.chip().state().cosVersion, 0x0101);
    EXPECT_TRUE(nativeCOSPatch_scriptRunner_executeScript(script));
    EXPECT_TRUE(kernel.logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_INFO, "status word 6A89"));
    EXPECT_TRUE(kernel.logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL_VERBOSE, "> 80540000"));
    EXPECT_EQ(kernel.closes(), 2);
    nativeCOSPatch_scriptManager_freeScript(script);
}

TEST(KernelScript, UnexpectedStatusWordFailsAndClosesTheConnection) {
    KernelFixture kernel;
    NATIVECOSPATCH_SCRIPT* script = loadScript(patchScript(0x0200, 0x0201, {1, 2, 3}));

    EXPECT_FALSE(nativeCOSPatch_scriptRunner_executeScript(script));

    EXPECT_TRUE(kernel.logged(kError, "script, line 1: unexpected status word 6985"));
    EXPECT_EQ(kernel.closes(), 1);
    nativeCOSPatch_scriptManager_freeScript(script);
}

TEST(KernelScript, AnswerDataIsComparedUnderTheMask) {
    KernelFixture kernel;
    // FE starts C1 06 'Z' 'L' 'M' '-' 'P' '1'.
    NATIVECOSPATCH_SCRIPT* loose = loadScript(
        "<script><open aid='F05A4C4D00FE'/><apdu cmd='00B0000008' data='C100000000000000' "
        "mask='FF00000000000000'/><close/></script>");
    NATIVECOSPATCH_SCRIPT* strict = loadScript(
        "<script><open aid='F05A4C4D00FE'/><apdu cmd='00B0000008' data='C106 5A4C4D2D5032'/>"
        "<close/></script>");

    EXPECT_TRUE(nativeCOSPatch_scriptRunner_executeScript(loose)) << kernel.dump();
    EXPECT_FALSE(nativeCOSPatch_scriptRunner_executeScript(strict));
    EXPECT_TRUE(kernel.logged(kError, "answer data C1065A4C4D2D5031 does not match"));
    nativeCOSPatch_scriptManager_freeScript(loose);
    nativeCOSPatch_scriptManager_freeScript(strict);
}

TEST(KernelAudit, MissingServiceIsAnAnswerNotAnError) {
    KernelFixture kernel;
    NATIVECOSPATCH_AUDIT_SCRIPT* audit = nativeCOSPatch_xml_audit_script_loadFromString(
        "<audit><open aid='F05A4C4D53000001'/><close/></audit>");
    ASSERT_NE(audit, nullptr);

    EXPECT_FALSE(nativeCOSPatch_auditscriptRunner_executeAuditScript(audit));
    EXPECT_FALSE(kernel.logged(kError, "audit"));
    cosim::ChipState state = kernel.chip().state();
    state.services.insert(cosim::fromHex("F05A4C4D53000001"));
    kernel.chip().setState(state);
    kernel.chip().powerOn();
    EXPECT_TRUE(nativeCOSPatch_auditscriptRunner_executeAuditScript(audit)) << kernel.dump();
    nativeCOSPatch_auditScriptManager_freeAuditScript(audit);
}

TEST(KernelScript, BrokenTransportFailsTheRun) {
    KernelFixture kernel;
    NATIVECOSPATCH_SCRIPT* script = loadScript(patchScript(0x0100, 0x0101, {1}));
    kernel.breakTransport(true);

    EXPECT_FALSE(nativeCOSPatch_scriptRunner_executeScript(script));

    EXPECT_TRUE(kernel.logged(kError, "script, line 1: exchange failed"));
    EXPECT_EQ(kernel.chip().state().cosVersion, 0x0100);
    nativeCOSPatch_scriptManager_freeScript(script);
}

}  // namespace
