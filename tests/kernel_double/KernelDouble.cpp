#include "KernelDouble.h"

#include <algorithm>
#include <memory>

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

}  // namespace

KernelDouble::KernelDouble() {
#define KERNEL_DOUBLE_DEFAULT(result, name, params, args) \
    ON_CALL(mock, name).WillByDefault([this] params { return fake.name args; });
    KERNEL_DOUBLE_FUNCTIONS(KERNEL_DOUBLE_DEFAULT)
#undef KERNEL_DOUBLE_DEFAULT
}

KernelDouble& KernelDouble::instance() {
    if (!current()) {
        current().reset(new KernelDouble());
    }
    return *current();
}

void KernelDouble::reset() {
    current().reset(new KernelDouble());
}

size_t KernelDouble::count(const std::string& name) const {
    return static_cast<size_t>(std::count(journal.begin(), journal.end(), name));
}

bool KernelDouble::enter(const char* name) {
    journal.emplace_back(name);
    if (failAt != 0 && journal.size() == failAt) {
        faultHit = true;
        return false;
    }
    auto planned = m_failNext.find(name);
    if (planned != m_failNext.end() && planned->second > 0) {
        --planned->second;
        return false;
    }
    return true;
}

}  // namespace kerneldouble

using kerneldouble::KernelDouble;

extern "C" {
#define KERNEL_DOUBLE_EXPORT(result, name, params, args) \
    result nativeCOSPatch_##name params {                \
        KernelDouble& kernel = KernelDouble::instance(); \
        if (!kernel.enter(#name)) {                      \
            return kerneldouble::failure<result>();      \
        }                                                \
        return kernel.mock.name args;                    \
    }
KERNEL_DOUBLE_FUNCTIONS(KERNEL_DOUBLE_EXPORT)
#undef KERNEL_DOUBLE_EXPORT
}
