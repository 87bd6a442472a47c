#include "KernelDouble.h"

#include <algorithm>
#include <memory>
#include <set>

namespace kerneldouble {

namespace {

std::unique_ptr<KernelDouble>& current() {
    static std::unique_ptr<KernelDouble> instance;
    return instance;
}

// What a failed kernel call returns: false, or a null pointer.
template <typename Result>
Result failure() {
    return Result{};
}

bool resultIgnoredByTheEngine(const std::string& name) {
    static const std::set<std::string> kIgnored = {"memory_initComponent",
                                                   "memory_cleanupComponent",
                                                   "seContextManager_initComponent",
                                                   "seContextManager_cleanupComponent",
                                                   "seMediaManager_cleanupComponent",
                                                   "logManager_cleanupComponent",
                                                   "byteArray_freeContent",
                                                   "multiscriptManager_freeMultiscript",
                                                   "scriptManager_freeScript",
                                                   "auditScriptManager_freeAuditScript"};
    return kIgnored.count(name) != 0;
}

}  // namespace

KernelDouble::KernelDouble() {
#define KERNEL_DOUBLE_DEFAULT(result, name, params, args) \
    ON_CALL(mock, name).WillByDefault([this] params { return fake.name args; });
    KERNEL_DOUBLE_FUNCTIONS(KERNEL_DOUBLE_DEFAULT)
#undef KERNEL_DOUBLE_DEFAULT
}

KernelDouble& KernelDouble::instance() {
    if (!current()) {
        current() = std::make_unique<KernelDouble>();
    }
    return *current();
}

void KernelDouble::reset() {
    current() = std::make_unique<KernelDouble>();
}

size_t KernelDouble::count(const std::string& name) const {
    return static_cast<size_t>(std::count(journal.begin(), journal.end(), name));
}

KernelDouble::Verdict KernelDouble::enter(const char* name) {
    journal.emplace_back(name);
    bool fail = false;
    if (failAt != 0 && journal.size() == failAt) {
        faultHit = true;
        fail = true;
    }
    auto planned = m_failNext.find(name);
    if (!fail && planned != m_failNext.end() && planned->second > 0) {
        --planned->second;
        fail = true;
    }
    if (!fail) {
        return Verdict::Proceed;
    }
    return resultIgnoredByTheEngine(name) ? Verdict::ProceedButReportFailure : Verdict::Fail;
}

}  // namespace kerneldouble

using kerneldouble::KernelDouble;

extern "C" {
#define KERNEL_DOUBLE_EXPORT(result, name, params, args)         \
    result nativeCOSPatch_##name params {                        \
        KernelDouble& kernel = KernelDouble::instance();         \
        switch (kernel.enter(#name)) {                           \
            case KernelDouble::Verdict::Fail:                    \
                return kerneldouble::failure<result>();          \
            case KernelDouble::Verdict::ProceedButReportFailure: \
                kernel.mock.name args;                           \
                return kerneldouble::failure<result>();          \
            case KernelDouble::Verdict::Proceed:                 \
                break;                                           \
        }                                                        \
        return kernel.mock.name args;                            \
    }
KERNEL_DOUBLE_FUNCTIONS(KERNEL_DOUBLE_EXPORT)
#undef KERNEL_DOUBLE_EXPORT
}
