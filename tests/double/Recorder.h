// The double's side of the recording: what every engine entry point calls.
#pragma once

#include <any>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "EngineDouble.h"

namespace enginedouble {
namespace detail {

std::string Text(const char* text);
std::string Text(const std::string& text);
std::string Text(bool value);
std::string Text(const KivConfigStore::ConfigStoreObjectId& id);  // "key|group|component|id"
std::string Text(const KivConfigStore::SubObjectId& id);          // "key|instanceId"
std::string Text(const KivConfigStore::USERDATA_CONTEXT& context);
std::string Text(const std::shared_ptr<KivConfigStore::ConfigStoreObject>& object);
std::string Text(const std::shared_ptr<KivConfigStore::FilterSpecObject>& filter);
// Labels of the objects of a list, joined by ",".
template <class Object>
std::string Text(const std::vector<std::shared_ptr<Object>>& objects) {
    std::string text;
    for (const auto& object : objects) text += (text.empty() ? "" : ",") + Text(object);
    return text;
}
template <class T>
std::string Text(const T& number) {
    std::ostringstream out;
    out.precision(17);
    out << number;
    return out.str();
}

bool Recording();
void Record(const char* operation, const void* target, std::vector<std::string> args);
void RaiseScripted(const char* operation);

// Records the call (unless recording is off), then raises what the test scripted for the
// operation, if anything. With recording off nothing here allocates.
template <class... Args>
void Enter(const char* operation, const void* target, const Args&... args) {
    if (Recording()) Record(operation, target, std::vector<std::string>{Text(args)...});
    RaiseScripted(operation);
}

const std::any* ScriptedAnswer(const char* operation);

// The answer scripted for `operation`, or NULL when there is none.
template <class T>
const T* Scripted(const char* operation) {
    const std::any* answer = ScriptedAnswer(operation);
    if (answer == nullptr) return nullptr;
    if (const T* typed = std::any_cast<T>(answer)) return typed;
    throw std::logic_error(std::string("engine double: scripted answer of the wrong type for ") +
                           operation);
}

template <class T>
T AnswerFor(const char* operation, T fallback) {
    const T* answer = Scripted<T>(operation);
    return answer == nullptr ? fallback : *answer;
}

std::string Label(const KivConfigStore::BaseObject& object);
void ObjectCreated();
void ObjectReleased(const KivConfigStore::BaseObject& object);
void StoreCreated();
void StoreReleased();
void RecordLogLine(LogLine line);

}  // namespace detail
}  // namespace enginedouble
