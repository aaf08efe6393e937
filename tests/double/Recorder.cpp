#include "Recorder.h"

#include <map>

namespace enginedouble {

namespace {

struct State {
    std::vector<Call> calls;
    std::vector<LogLine> log;
    std::map<std::string, std::exception_ptr, std::less<>> errors;
    std::map<std::string, std::any, std::less<>> answers;
    bool recording = true;
    std::vector<std::string> released;
    int liveObjects = 0;
    int liveStores = 0;
};

State& TheState() {
    static State* state = new State;  // never destroyed: engine objects may outlive main()
    return *state;
}

}  // namespace

std::string LogLine::Text() const {
    std::string text;
    size_t next = 0;
    for (size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%' || i + 1 == format.size()) {
            text += format[i];
        } else if (format[++i] == '%') {
            text += '%';
        } else {
            text += next < args.size() ? args[next++] : "?";
        }
    }
    return text;
}

void Reset() {
    State& state = TheState();
    state.calls.clear();
    state.log.clear();
    state.errors.clear();
    state.answers.clear();
    state.released.clear();
    state.recording = true;
}

void SetRecording(bool on) {
    TheState().recording = on;
}

const std::vector<Call>& Calls() {
    return TheState().calls;
}

std::vector<Call> CallsTo(const std::string& operation) {
    std::vector<Call> matching;
    for (const Call& call : TheState().calls) {
        if (call.operation == operation) matching.push_back(call);
    }
    return matching;
}

const std::vector<LogLine>& LogLines() {
    return TheState().log;
}

void Throw(const std::string& operation, std::exception_ptr error) {
    TheState().errors[operation] = std::move(error);
}

void Answer(const std::string& operation, std::any answer) {
    TheState().answers[operation] = std::move(answer);
}

int LiveObjects() {
    return TheState().liveObjects;
}
int LiveStores() {
    return TheState().liveStores;
}
const std::vector<std::string>& ReleasedObjects() {
    return TheState().released;
}

namespace detail {

std::string Text(const char* text) {
    return text == nullptr ? "(null)" : text;
}
std::string Text(const std::string& text) {
    return text;
}
std::string Text(bool value) {
    return value ? "true" : "false";
}

std::string Text(const KivConfigStore::ConfigStoreObjectId& id) {
    return id.key + "|" + id.group + "|" + id.component + "|" + id.instanceId;
}

std::string Text(const KivConfigStore::SubObjectId& id) {
    return id.key + "|" + id.instanceId;
}

std::string Text(const KivConfigStore::USERDATA_CONTEXT& context) {
    return context == KivConfigStore::INTERNAL ? "INTERNAL" : "EXTERNAL";
}

std::string Text(const std::shared_ptr<KivConfigStore::ConfigStoreObject>& object) {
    return object ? Label(*object) : "(none)";
}

std::string Text(const std::shared_ptr<KivConfigStore::FilterSpecObject>& filter) {
    return filter ? Label(*filter) : "(none)";
}

bool Recording() {
    return TheState().recording;
}

void Record(const char* operation, const void* target, std::vector<std::string> args) {
    TheState().calls.push_back(Call{operation, target, std::move(args)});
}

void RaiseScripted(const char* operation) {
    State& state = TheState();
    auto error = state.errors.find(operation);
    if (error != state.errors.end()) std::rethrow_exception(error->second);
}

const std::any* ScriptedAnswer(const char* operation) {
    State& state = TheState();
    auto answer = state.answers.find(operation);
    return answer == state.answers.end() ? nullptr : &answer->second;
}

std::string Label(const KivConfigStore::BaseObject& object) {
    const auto& id = object.objectId;
    return id.instanceId.empty() ? id.key : id.key + "/" + id.instanceId;
}

void ObjectCreated() {
    ++TheState().liveObjects;
}

// Runs in destructors: with recording off it must not allocate.
void ObjectReleased(const KivConfigStore::BaseObject& object) {
    --TheState().liveObjects;
    if (Recording()) TheState().released.push_back(Label(object));
}

void StoreCreated() {
    ++TheState().liveStores;
}
void StoreReleased() {
    --TheState().liveStores;
}
void RecordLogLine(LogLine line) {
    TheState().log.push_back(std::move(line));
}

}  // namespace detail
}  // namespace enginedouble
