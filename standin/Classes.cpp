#include "Classes.h"

#include <algorithm>

#include "Values.h"

namespace standin {

namespace {

JsonValue CopyOf(const JsonValue& value) {
    JsonValue copy;
    Assign(copy, value);
    return copy;
}

std::string_view NameView(const JsonValue& name) {
    return {name.GetString(), name.GetStringLength()};
}

// Sets member `name` of `document`, which `index` finds, to a copy of `value`.
void Put(Json& document, MemberIndex& index, const JsonValue& name, const JsonValue& value) {
    const auto member = index.Find(document, NameView(name));
    if (member != document.MemberEnd()) {
        member->value = CopyOf(value);
        return;
    }
    JsonAllocator allocator;
    document.AddMember(CopyOf(name), CopyOf(value), allocator);
    index.Added(document);
}

// Whether `document` holds a member named `name`; through an index when it is large, so that
// asking for every member of another document takes linear time.
class Holds {
public:
    explicit Holds(const JsonValue& document) : document_(document) { index_.Rebuild(document); }
    bool operator()(const JsonValue& name) const {
        return index_.Find(document_, NameView(name)) != document_.MemberEnd();
    }

private:
    const JsonValue& document_;
    MemberIndex index_;
};

// Erases the members of `document` whose names `erased` picks, keeping the others' order, in
// one pass; true when it erased any.
template <class Picks>
bool EraseIf(Json& document, const Picks& erased) {
    auto kept = document.MemberBegin();
    for (auto member = document.MemberBegin(); member != document.MemberEnd(); ++member) {
        if (erased(member->name)) continue;
        if (kept != member) {
            kept->name.Swap(member->name);
            kept->value.Swap(member->value);
        }
        ++kept;
    }
    if (kept == document.MemberEnd()) return false;
    document.EraseMember(kept, document.MemberEnd());
    return true;
}

Json& Ensure(std::optional<Json>& document) {
    if (!document) document.emplace(rapidjson::kObjectType);
    return *document;
}

}  // namespace

void Merge(Json& document, const JsonValue& from) {
    if (document.ObjectEmpty()) {  // a new document: one copy of the whole
        Assign(document, from);
        return;
    }
    MemberIndex index;
    index.Rebuild(document);
    for (const auto& member : from.GetObject()) Put(document, index, member.name, member.value);
}

void AddLoaded(ObjectValues& object, DataClass dataClass, Json& document) {
    if (object.values.ObjectEmpty()) {
        object.values.Swap(document);  // the usual case: the first class loaded
        object.states.assign(object.values.MemberCount(), {dataClass, false});
        object.index.Rebuild(object.values);
        return;
    }
    for (auto& member : document.GetObject()) {
        const auto present = object.index.Find(
            object.values, {member.name.GetString(), member.name.GetStringLength()});
        if (present != object.values.MemberEnd()) {
            present->value = std::move(member.value);
            object.states[static_cast<std::size_t>(present - object.values.MemberBegin())] = {
                dataClass, false};
        } else {
            object.AddLast(std::move(member.name), std::move(member.value), {dataClass, false});
        }
    }
}

namespace {

bool IsRemoved(const ObjectValues& object, const JsonValue& name) {
    return !object.removed.empty() &&
           object.removed.count(std::string_view(name.GetString(), name.GetStringLength())) != 0;
}

void EraseRemoved(const ObjectValues& object, Json& document) {
    if (object.removed.empty()) return;
    EraseIf(document, [&](const JsonValue& name) { return IsRemoved(object, name); });
}

}  // namespace

WrittenClasses ApplyWrite(const ObjectValues& object, WriteKind kind, bool recordDesired,
                          StoredClasses& stored) {
    WrittenClasses written{};
    const int target = static_cast<int>(kind.target);
    const auto isWritten = [&](const KeyState& state) {
        return state.changed || (!kind.merge && state.dataClass == kind.target);
    };
    auto& desired = stored[static_cast<int>(DataClass::Desired)];
    if (recordDesired && !kind.merge && stored[target] && desired) {
        // The desired configuration loses what the replaced document held; what the write
        // stores goes back in below.
        EraseIf(*desired, Holds(*stored[target]));
    }
    if (!kind.merge && std::all_of(object.states.begin(), object.states.end(), isWritten)) {
        written[target] = &object.values;  // the usual Set: the whole object, as it is
    } else {
        Json& document = stored[target] && kind.merge
                             ? *stored[target]
                             : stored[target].emplace(rapidjson::kObjectType);
        EraseRemoved(object, document);  // only a merge starts from what is stored
        MemberIndex index;
        index.Rebuild(document);
        auto member = object.values.MemberBegin();
        for (const KeyState& state : object.states) {
            if (isWritten(state)) Put(document, index, member->name, member->value);
            ++member;
        }
        written[target] = &document;
    }
    const JsonValue& targetDocument = *written[target];
    // Every key lives in one class: the others give up what the target now holds and what
    // was removed.
    std::optional<Holds> inTarget;  // made for the first other class stored
    for (int other = 0; other < kValueClasses; ++other) {
        if (other == target || !stored[other]) continue;
        if (!inTarget) inTarget.emplace(targetDocument);
        const auto givenUp = [&](const JsonValue& name) {
            return (*inTarget)(name) || IsRemoved(object, name);
        };
        if (EraseIf(*stored[other], givenUp)) written[other] = &*stored[other];
    }
    if (recordDesired) {
        Json& recorded = Ensure(desired);
        Merge(recorded, targetDocument);
        EraseRemoved(object, recorded);
        written[static_cast<int>(DataClass::Desired)] = &recorded;
    }
    return written;
}

void MarkWritten(ObjectValues& object, DataClass target, long long version) {
    for (KeyState& state : object.states) {
        if (state.changed) state = {target, false};
    }
    object.removed.clear();
    if (version != 0) object.version = version;
}

}  // namespace standin
