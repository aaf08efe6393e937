// The engine test double: a libconfigstore.so that records every engine operation it enters and
// every log line, and answers as each test scripts it. Operations are named as they are recorded,
// for example "ConfigStore::GetStore", "ConfigStore::Get", "GetValue(long*)", "SetValue(float)".
#pragma once

#include <any>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include <kivconfigstore/ConfigStore.h>

namespace enginedouble {

struct LogLine {
    int priority = 0;
    std::string format;
    std::vector<std::string> args;
};

// What the double recorded since the last Reset.
struct Recording {
    std::vector<std::string> calls;  // the operations entered, in order
    int globalNamespaceStores = 0;   // GetStore calls given the engine's own sGlobalNamespace
    std::vector<LogLine> log;
    int liveObjects = 0;  // engine objects (objects and filter specs) alive now
    int liveStores = 0;
};

// Forgets calls, log lines and scripts, and turns recording on.
void Reset();

// With recording off, engine calls and log lines are not recorded and engine
// calls allocate nothing of the double's own; scripts still apply.
void SetRecording(bool on);

const Recording& Recorded();

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

// A configuration object, as the engine would hand it out.
std::shared_ptr<KivConfigStore::ConfigStoreObject> MakeObject(const std::string& key);

}  // namespace enginedouble
