#include "KernelDouble.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>
#include <tuple>

#include "KernelCalls.h"

namespace kerneldouble {

namespace {

std::unique_ptr<KernelDouble>& current() {
    static std::unique_ptr<KernelDouble> instance;
    return instance;
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

namespace {

// What the engine receives: a bool as its byte, anything else as it is.
template <typename Result>
typename Raw<Result>::type delivered(Result answer) {
    if constexpr (std::is_same_v<Result, bool>) {
        return KernelDouble::instance().byteOf(answer);
    } else {
        return answer;
    }
}

// A bool out-parameter as the engine finds it: the flag's byte after a
// success, true after a failure (the engine must not read it then).
void deliverFlag(bool* flag, bool succeeded) {
    if (flag != nullptr) {
        const uint8_t byte = KernelDouble::instance().byteOf(!succeeded || *flag);
        std::memcpy(flag, &byte, sizeof(byte));
    }
}
template <typename Arg>
void deliverFlag(Arg, bool) {}

template <typename Result, typename Call, typename... Args>
typename Raw<Result>::type answer(const char* name, Call call, std::tuple<Args...> args) {
    KernelDouble& kernel = KernelDouble::instance();
    Result result{};
    switch (kernel.enter(name)) {
        case KernelDouble::Verdict::Fail:
            break;
        case KernelDouble::Verdict::ProceedButReportFailure:
            call();
            break;
        case KernelDouble::Verdict::Proceed:
            result = call();
            break;
    }
    std::apply([&](auto... arg) { (deliverFlag(arg, static_cast<bool>(result)), ...); }, args);
    return delivered(result);
}

}  // namespace

#define KERNEL_DOUBLE_CALL(result, name, params, args)                                             \
    Raw<result>::type call_##name params {                                                         \
        return answer<result>(                                                                     \
            #name, [&] { return KernelDouble::instance().mock.name args; }, std::make_tuple args); \
    }
KERNEL_DOUBLE_FUNCTIONS(KERNEL_DOUBLE_CALL)
#undef KERNEL_DOUBLE_CALL

}  // namespace kerneldouble
