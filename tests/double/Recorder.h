// The double's side of the recording: its state, and what every engine entry point calls.
#pragma once

#include <any>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "EngineDouble.h"

namespace enginedouble {
namespace detail {

struct State : Recording {
    std::map<std::string, std::exception_ptr, std::less<>> errors;
    std::map<std::string, std::any, std::less<>> answers;
    bool recording = true;
};
State& TheState();

// "key" or "key/instanceId".
std::string Label(const KivConfigStore::BaseObject& object);

std::string Text(const char* text);                               // "(null)" for NULL
std::string Text(const KivConfigStore::ConfigStoreObjectId& id);  // "key|group|component|id"
template <class Object>
std::string Text(const std::shared_ptr<Object>& object) {
    return object ? Label(*object) : "(none)";
}
// Labels of the objects of a list, joined by ",".
template <class Object>
std::string Text(const std::vector<std::shared_ptr<Object>>& objects) {
    std::string text;
    for (const auto& object : objects) text += (text.empty() ? "" : ",") + Text(object);
    return text;
}
// Strings as they are, booleans as "true" or "false", numbers (and contexts) with 17 digits.
template <class T>
std::string Text(const T& value) {
    std::ostringstream out;
    out.precision(17);
    out << std::boolalpha << value;
    return out.str();
}

// Records the call (unless recording is off), then raises what the test scripted for the
// operation, if anything. With recording off nothing here allocates.
template <class... Args>
void Enter(const char* operation, const Args&... args) {
    State& state = TheState();
    if (state.recording) state.calls.push_back(Call{operation, {Text(args)...}});
    auto error = state.errors.find(operation);
    if (error != state.errors.end()) std::rethrow_exception(error->second);
}

// Enters `operation`, then answers as scripted, or with what `fallback()` makes.
template <class T, class Make, class... Args>
T RespondOr(const char* operation, Make fallback, const Args&... args) {
    Enter(operation, args...);
    auto answer = TheState().answers.find(operation);
    if (answer == TheState().answers.end()) return fallback();
    if (const T* typed = std::any_cast<T>(&answer->second)) return *typed;
    throw std::logic_error(std::string("engine double: scripted answer of the wrong type for ") +
                           operation);
}

// Enters `operation`, then answers as scripted, or with `fallback`.
template <class T, class... Args>
T Respond(const char* operation, T fallback, const Args&... args) {
    return RespondOr<T>(
        operation, [&] { return fallback; }, args...);
}

}  // namespace detail
}  // namespace enginedouble
