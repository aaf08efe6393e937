// The engine test double: a libconfigstore.so that records every engine call and every log line
// and answers as each test scripts it. Operations are named as they are recorded, for example
// "ConfigStore::GetStore", "ConfigStore::Get", "GetValue(long*)", "SetValue(float)".
#pragma once

#include <any>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include <kivconfigstore/ConfigStore.h>

namespace enginedouble {

struct Call {
    std::string operation;
    const void* target = nullptr;   // the store or engine object called; NULL for free functions
    std::vector<std::string> args;  // the arguments as text ("(null)" for a NULL string)
};

struct LogLine {
    int priority = 0;
    std::string format;
    std::vector<std::string> args;
};

// Forgets calls, log lines, scripts and released objects, and turns recording on.
void Reset();

// With recording off, engine calls and log lines are not recorded and engine calls allocate
// nothing of the double's own; scripts still apply.
void SetRecording(bool on);

const std::vector<Call>& Calls();
std::vector<Call> CallsTo(const std::string& operation);
const std::vector<LogLine>& LogLines();

// Every later call of `operation` raises `error`.
void Throw(const std::string& operation, std::exception_ptr error);
template <class E>
void Throw(const std::string& operation, E error) {
    Throw(operation, std::make_exception_ptr(std::move(error)));
}

// What later calls of `operation` answer; the type must be the operation's result type, or
// Read<T> for a typed read and Read<std::string> for a binary read.
void Answer(const std::string& operation, std::any answer);

template <class T>
struct Read {
    int status;
    T value;
};

struct ImportAnswer {
    bool accepted;
    std::vector<KivConfigStore::ErrorInfo> errors;
};

// A configuration object and a store, as the engine would hand them out.
std::shared_ptr<KivConfigStore::ConfigStoreObject> MakeObject(const std::string& key,
                                                              const std::string& instanceId = "");
std::shared_ptr<KivConfigStore::ConfigStore> MakeStore(const std::string& nameSpace);

// Engine objects (objects and filter specs) and stores alive now.
int LiveObjects();
int LiveStores();

// Labels ("key" or "key/instanceId") of the engine objects destroyed since Reset, in order,
// while recording was on.
const std::vector<std::string>& ReleasedObjects();

}  // namespace enginedouble
