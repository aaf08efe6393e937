// How engine exceptions become result codes: each exported function runs its work under one
// family of handlers, tried in order, and under a final catch-all so that nothing crosses the C
// interface. Every exception handled here writes exactly one "%s: %s" line.
#pragma once

#include <cxxabi.h>

#include <exception>

#include "Log.h"
#include "configstorec.h"

namespace binding {

// Exceptions of type E (and types derived from it) become `Result`.
template <class E, int Result>
struct Catch {
    using Exception = E;
    static constexpr int result = Result;
};

template <class... Handlers>
struct Family {};

namespace detail {

template <class Work>
int RunUnder(Family<>, const char*, Work& work) {
    return work();
}

// The first handler wraps the work directly, so it is tried before the ones after it.
template <class First, class... Rest, class Work>
int RunUnder(Family<First, Rest...>, const char* tag, Work& work) {
    auto underFirst = [&]() -> int {
        try {
            return work();
        } catch (const typename First::Exception& error) {
            LogLine(message::kFailure, tag, error.what());
            return First::result;
        }
    };
    return RunUnder(Family<Rest...>{}, tag, underFirst);
}

// One exported call on this thread, however deeply its workers nest: the outermost one empties
// the thread's last line on entry. Lines are written on failures only, so the line is the failing
// call's own, and a success leaves it empty.
class CallScope {
public:
    CallScope() noexcept {
        if (depth_++ == 0) ClearLastLine();
    }
    ~CallScope() { --depth_; }
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

private:
    static inline thread_local int depth_ = 0;
};

}  // namespace detail

// Runs `work`, which returns a status, under the handlers of `Handlers` and then the catch-all:
// any other exception is logged with `tag` and answered with CS_C_INTERNAL_ERROR.
template <class Handlers, class Work>
int Guard(const char* tag, Work&& work) {
    const detail::CallScope call;
    try {
        return detail::RunUnder(Handlers{}, tag, work);
    } catch (abi::__forced_unwind&) {
        throw;  // thread cancellation must keep unwinding
    } catch (const std::exception& error) {
        LogLine(message::kFailure, tag, error.what());
    } catch (...) {
        LogLine(message::kFailure, tag, "unknown exception");
    }
    return CS_C_INTERNAL_ERROR;
}

}  // namespace binding
