// What csctl prints: JSON on standard output with --json, text for people otherwise; failures
// as a JSON error object on standard output, or as "csctl: <message>" on standard error.
#pragma once

#include <rapidjson/document.h>

#include <string>
#include <vector>

#include "Status.h"

namespace csctl {

// A JSON value as compact text.
std::string JsonText(const rapidjson::Value& value);
// An object's name as the commands take it, to paste back: "KEY GROUP COMPONENT [--instance ID]",
// each word quoted for the shell where it needs it.
std::string CommandWords(const std::string& key, const std::string& group,
                         const std::string& component, const std::string& instance);

class Output {
public:
    explicit Output(bool json) : json_(json) {}
    bool json() const { return json_; }

    // Values read by key: {"values": {...}, "defaults": [keys delivered from the defaults]}.
    void Values(const rapidjson::Value& values, const std::vector<std::string>& defaults);
    // Values read by key, for scripts: each as it is (a string without quotes), a list one
    // element a line.
    void Bare(const rapidjson::Value& values);
    // A whole object: {"identity": {...}, "version": "N", "classes": {"configuration": {...}}}.
    void Object(const rapidjson::Value& object);
    // Identities: [{"key", "group", "component", "instanceId"?}], one a line for people.
    void Identities(const rapidjson::Value& identities);
    // A document that is JSON already, as the store wrote it.
    void Document(const std::string& text);
    void InstanceId(const std::string& id);
    // A namespace whose files passed the full check: {"namespace": "...", "ok": true}.
    void Checked(const std::string& nameSpace);
    // Apply results: [{"component", "stage", "status", "code", "message", "exitValue"?, "at",
    // "version"?, "pending"?}]; "pending", the version whose modules are due still. Work due
    // without a result is {"component", "status": "pending", "pending"}, and a change waiting
    // for confirmation {"component": "configstore", "status": "unconfirmed", "id", "deadline",
    // "version"?, "overdue"?}.
    void Results(const rapidjson::Value& results);
    // Apply results beside the failure that follows: printed now for people, and part of the
    // failure's JSON error.
    void ResultsBeforeFailure(const rapidjson::Value& results);
    // Differences value by value, between the store and a document: [{identity..., "class",
    // "value", "stored"?, "document"?}], or between two versions ("before"?, "after"?); for
    // people, a "-" line for each value of the first side and a "+" line for each of the
    // second, as the arguments of a write.
    void Differences(const rapidjson::Value& differences, const char* first = "stored",
                     const char* second = "document");
    // Commits of the store's history, newest first: [{"version", "time", "uid", "pid",
    // "program", "context", "changes": [{identity..., "class"}]}]; for people, a line for each
    // commit and one for each identity and class it changed.
    void Commits(const rapidjson::Value& commits);
    // A change that watch saw: {identity..., "class", "values"} or {identity..., "class",
    // "deleted": true}, a JSON line each; for people, the name and the values or "deleted".
    void Change(const rapidjson::Value& change);
    // A command that changed the store: {"ok": true}, with "unconfirmed": {"id", "deadline"}
    // when Unconfirmed came first; nothing for people but that.
    void Done();
    // What the command committed rolls back at `deadline` unless confirmed as `id`.
    void Unconfirmed(const std::string& id, const std::string& deadline);
    void Error(const Failure& failure);

    // Writes what is buffered; false when standard output failed.
    bool Flush();

private:
    void Json(const rapidjson::Value& value);
    void Line(const std::string& text);
    void Write(const std::string& text);
    bool json_;
    rapidjson::Document failureResults_;  // null until ResultsBeforeFailure
    rapidjson::Document unconfirmed_;     // null until Unconfirmed
};

}  // namespace csctl
