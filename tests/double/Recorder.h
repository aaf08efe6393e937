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
std::string Text(const KivConfigStore::ObjectList& objects);  // labels joined by ","
template <class T>
std::string Text(const T& number) {
    std::ostringstream out;
    out.precision(17);
    out << number;
    return out.str();
}

// Records the call, then raises what the test scripted for the operation, if anything.
void Record(const std::string& operation, const void* target, std::vector<std::string> args);

template <class... Args>
void Enter(const std::string& operation, const void* target, const Args&... args) {
    Record(operation, target, std::vector<std::string>{Text(args)...});
}

const std::any* ScriptedAnswer(const std::string& operation);

// The answer scripted for `operation`, or NULL when there is none.
template <class T>
const T* Scripted(const std::string& operation) {
    const std::any* answer = ScriptedAnswer(operation);
    if (answer == nullptr) return nullptr;
    if (const T* typed = std::any_cast<T>(answer)) return typed;
    throw std::logic_error("engine double: scripted answer of the wrong type for " + operation);
}

template <class T>
T AnswerFor(const std::string& operation, T fallback) {
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
