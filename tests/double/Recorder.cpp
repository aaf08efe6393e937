#include "Recorder.h"

#include <utility>

namespace enginedouble {

namespace detail {

State& TheState() {
    static State* state = new State;  // never destroyed: engine objects may outlive main()
    return *state;
}

std::string Text(const char* text) {
    return text == nullptr ? "(null)" : text;
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

void Throw(const std::string& operation, std::exception_ptr error) {
    TheState().errors[operation] = std::move(error);
}

void Answer(const std::string& operation, std::any answer) {
    TheState().answers[operation] = std::move(answer);
}

}  // namespace enginedouble
