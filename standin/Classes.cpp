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

}  // namespace

void Put(Json& document, const JsonValue& name, const JsonValue& value) {
    JsonAllocator allocator;
    const auto member = document.FindMember(name);
    if (member != document.MemberEnd()) {
        member->value = CopyOf(value);
    } else {
        document.AddMember(CopyOf(name), CopyOf(value), allocator);
    }
}

namespace {

// Erases `name` from `document`; true when it was there.
bool Erase(Json& document, const JsonValue& name) {
    const auto member = document.FindMember(name);
    if (member == document.MemberEnd()) return false;
    document.EraseMember(member);
    return true;
}

Json& Ensure(std::optional<Json>& document) {
    if (!document) document.emplace(rapidjson::kObjectType);
    return *document;
}

}  // namespace

const char* NameOf(DataClass dataClass) {
    switch (dataClass) {
        case DataClass::Configuration:
            return "configuration";
        case DataClass::UserData:
            return "userData";
        case DataClass::VitalData:
            return "vitalData";
        case DataClass::CachedData:
            return "cachedData";
        case DataClass::Desired:
            return "desired";
    }
    return "unknown";
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
    for (const auto& key : object.removed) {
        Erase(document, JsonValue(rapidjson::StringRef(key.data(), key.size())));
    }
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
        for (const auto& field : stored[target]->GetObject()) Erase(*desired, field.name);
    }
    if (!kind.merge && std::all_of(object.states.begin(), object.states.end(), isWritten)) {
        written[target] = &object.values;  // the usual Set: the whole object, as it is
    } else {
        Json& document = stored[target] && kind.merge
                             ? *stored[target]
                             : stored[target].emplace(rapidjson::kObjectType);
        EraseRemoved(object, document);  // only a merge starts from what is stored
        auto member = object.values.MemberBegin();
        for (const KeyState& state : object.states) {
            if (isWritten(state)) Put(document, member->name, member->value);
            ++member;
        }
        written[target] = &document;
    }
    const JsonValue& targetDocument = *written[target];
    // Every key lives in one class: the others give up what the target now holds and what
    // was removed.
    for (int other = 0; other < kValueClasses; ++other) {
        if (other == target || !stored[other]) continue;
        for (auto held = stored[other]->MemberBegin(); held != stored[other]->MemberEnd();) {
            if (targetDocument.HasMember(held->name) || IsRemoved(object, held->name)) {
                held = stored[other]->EraseMember(held);
                written[other] = &*stored[other];
            } else {
                ++held;
            }
        }
    }
    if (recordDesired) {
        Json& recorded = Ensure(desired);
        for (const auto& field : targetDocument.GetObject()) Put(recorded, field.name, field.value);
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
