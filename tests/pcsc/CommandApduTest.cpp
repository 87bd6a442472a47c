// Commands as they go out over T=0.

#include <gtest/gtest.h>

#include <ostream>

#include "CommandApdu.h"
#include "ScriptedCard.h"

namespace pcsctest {
namespace {

struct T0Case {
    const char* name;
    const char* command;
    const char* sent;
};

// Test names show the case's name, not its bytes.
void PrintTo(const T0Case& c, std::ostream* out) {
    *out << c.name;
}

class OverT0 : public ::testing::TestWithParam<T0Case> {};

TEST_P(OverT0, OnlyShortCaseFourLosesItsLe) {
    EXPECT_EQ(hexOf(cosupdate::pcsc::forT0(hex(GetParam().command))), canonical(GetParam().sent));
}

INSTANTIATE_TEST_SUITE_P(
    CommandApdu, OverT0,
    ::testing::Values(T0Case{"CaseOne", "80540000", "80540000"},
                      T0Case{"CaseTwo", "00B0000000", "00B0000000"},
                      T0Case{"CaseThree", "80520000 02 AABB", "80520000 02 AABB"},
                      T0Case{"CaseFour", "00A40400 02 AABB 00", "00A40400 02 AABB"},
                      T0Case{"CaseFourWithOneDataByte", "00A40400 01 AA 00", "00A40400 01 AA"},
                      T0Case{"ExtendedCaseFour", "00A40400 000002 AABB 0000",
                             "00A40400 000002 AABB 0000"},
                      T0Case{"Malformed", "00A40400 03 AA", "00A40400 03 AA"}),
    [](const ::testing::TestParamInfo<T0Case>& info) { return info.param.name; });

}  // namespace
}  // namespace pcsctest
