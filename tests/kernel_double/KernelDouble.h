// The patch kernel test double that the unit tests link in place of the real
// kernel. Every nativeCOSPatch_* call is journalled and goes to a GoogleMock
// object whose default actions are FakeKernel's; a test overrides a call with
// EXPECT_CALL/ON_CALL, or makes the k-th kernel call fail outright.
//
// Like a C kernel may, the double answers bools, results and out-parameters
// alike, with bytes that have bits set above the lowest (3 for true, 2 for
// false unless a test picks others), and on a failed call it writes true into
// every bool out-parameter: the engine must count the lowest bit only and
// read an out-parameter only after success.

#ifndef KERNEL_DOUBLE_KERNEL_DOUBLE_H
#define KERNEL_DOUBLE_KERNEL_DOUBLE_H

#include <gmock/gmock.h>

#include <map>
#include <string>
#include <vector>

#include "FakeKernel.h"
#include "KernelFunctions.h"

namespace kerneldouble {

class MockKernel {
  public:
#define KERNEL_DOUBLE_MOCK(result, name, params, args) MOCK_METHOD(result, name, params);
    KERNEL_DOUBLE_FUNCTIONS(KERNEL_DOUBLE_MOCK)
#undef KERNEL_DOUBLE_MOCK
};

class KernelDouble {
  public:
    // Tests reach the one double of the process through instance().
    KernelDouble();

    // The double of this process, created on first use.
    static KernelDouble& instance();
    // Starts over: new fake, no expectations, empty journal.
    static void reset();

    testing::NiceMock<MockKernel> mock;
    FakeKernel fake;

    // Names of the calls made, without the nativeCOSPatch_ prefix, in order.
    std::vector<std::string> journal;
    // When non-zero, call number failAt (counting from 1) returns false or null
    // without reaching the mock.
    size_t failAt = 0;
    bool faultHit = false;

    // The bytes a bool answer is given as.
    struct BoolBits {
        uint8_t yes = 3;
        uint8_t no = 2;
    };
    BoolBits bits;

    size_t count(const std::string& name) const;
    // The next `times` calls of `name` fail without reaching the mock.
    void failNext(const std::string& name, int times = 1) { m_failNext[name] += times; }

    // How an exported function goes on after enter(). Operations whose result
    // the engine ignores (cleanups, frees) still do their work when made to
    // fail: they only report the failure, so an injected fault cannot fake a
    // leak the engine could not have prevented.
    enum class Verdict { Proceed, Fail, ProceedButReportFailure };
    // Called by the exported functions; not for tests.
    Verdict enter(const char* name);
    uint8_t byteOf(bool answer) const { return answer ? bits.yes : bits.no; }

  private:
    std::map<std::string, int> m_failNext;
};

}  // namespace kerneldouble

#endif  // KERNEL_DOUBLE_KERNEL_DOUBLE_H
