#include "Recorder.h"

#include <utility>

namespace enginedouble {

namespace detail {

State& TheState() {
    static State* state = new State;  // never destroyed: engine objects may outlive main()
    return *state;
}

std::string Label(const KivConfigStore::BaseObject& object) {
    const auto& id = object.objectId;
    return id.instanceId.empty() ? id.key : id.key + "/" + id.instanceId;
}

std::string Text(const char* text) {
    return text == nullptr ? "(null)" : text;
}
std::string Text(const KivConfigStore::ConfigStoreObjectId& id) {
    return id.key + "|" + id.group + "|" + id.component + "|" + id.instanceId;
}

}  // namespace detail

using detail::TheState;

// Live counts carry over: engine objects outlive a reset, and the old scripts release theirs.
void Reset() {
    {
        detail::State old;
        std::swap(old, TheState());
        std::swap(old.liveObjects, TheState().liveObjects);
        std::swap(old.liveStores, TheState().liveStores);
    }
}

void SetRecording(bool on) {
    TheState().recording = on;
}

const Recording& Recorded() {
    return TheState();
}

std::vector<Call> CallsTo(const std::string& operation) {
    std::vector<Call> matching;
    for (const Call& call : TheState().calls) {
        if (call.operation == operation) matching.push_back(call);
    }
    return matching;
}

void Throw(const std::string& operation, std::exception_ptr error) {
    TheState().errors[operation] = std::move(error);
}

void Answer(const std::string& operation, std::any answer) {
    TheState().answers[operation] = std::move(answer);
}

}  // namespace enginedouble
