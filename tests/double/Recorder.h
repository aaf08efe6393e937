// The double's side of the recording: its state, and what every engine entry point calls.
#pragma once

#include <any>
#include <map>
#include <stdexcept>
#include <string>

#include "EngineDouble.h"

namespace enginedouble {
namespace detail {

struct State : Recording {
    std::map<std::string, std::exception_ptr, std::less<>> errors;
    std::map<std::string, std::any, std::less<>> answers;
    bool recording = true;
};
State& TheState();

std::string Text(const char* text);  // "(null)" for NULL

// Records the call (unless recording is off), then raises what the test scripted for the
// operation, if anything. With recording off nothing here allocates.
inline void Enter(const char* operation) {
    State& state = TheState();
    if (state.recording) state.calls.emplace_back(operation);
    auto error = state.errors.find(operation);
    if (error != state.errors.end()) std::rethrow_exception(error->second);
}

// Enters `operation`, then answers as scripted, or with what `fallback()` makes.
template <class T, class Make>
T RespondOr(const char* operation, Make fallback) {
    Enter(operation);
    auto answer = TheState().answers.find(operation);
    if (answer == TheState().answers.end()) return fallback();
    if (const T* typed = std::any_cast<T>(&answer->second)) return *typed;
    throw std::logic_error(std::string("engine double: scripted answer of the wrong type for ") +
                           operation);
}

// Enters `operation`, then answers as scripted, or with `fallback`.
template <class T>
T Respond(const char* operation, T fallback) {
    return RespondOr<T>(operation, [&] { return fallback; });
}

}  // namespace detail
}  // namespace enginedouble
