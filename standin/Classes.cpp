#include "Classes.h"

#include "Values.h"

namespace standin {

namespace {

JsonValue CopyOf(const JsonValue& value) {
    JsonAllocator allocator;
    return JsonValue(value, allocator);
}

void Put(Json& document, const JsonValue& name, const JsonValue& value) {
    JsonAllocator allocator;
    const auto member = document.FindMember(name);
    if (member != document.MemberEnd()) {
        member->value = CopyOf(value);
    } else {
        document.AddMember(CopyOf(name), CopyOf(value), allocator);
    }
}

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
    if (object.values.ObjectEmpty() && object.otherClasses.empty()) {
        object.values.Swap(document);  // the usual case: one class, nothing to track per key
        object.loadedClass = dataClass;
        return;
    }
    for (auto& member : document.GetObject()) {
        Put(object.values, member.name, member.value);
        const std::string key(member.name.GetString(), member.name.GetStringLength());
        if (dataClass == object.loadedClass) {
            object.otherClasses.erase(key);
        } else {
            object.otherClasses[key] = dataClass;
        }
    }
}

ChangedClasses ApplyWrite(const ObjectValues& object, WriteKind kind, bool recordDesired,
                          StoredClasses& stored) {
    ChangedClasses changed{};
    const int target = static_cast<int>(kind.target);
    Json written(rapidjson::kObjectType);
    if (kind.merge && stored[target]) written.CopyFrom(*stored[target], written.GetAllocator());
    for (const auto& member : object.values.GetObject()) {
        const char* key = member.name.GetString();
        if ((!kind.merge && object.ClassOf(key) == kind.target) || object.changed.count(key) != 0) {
            Put(written, member.name, member.value);
        }
    }
    // Only a merge starts from the stored document, which may hold keys removed in memory.
    if (kind.merge) {
        for (const auto& key : object.changed) {
            if (object.Find(key.c_str()) == nullptr) {
                Erase(written, JsonValue(rapidjson::StringRef(key.data(), key.size())));
            }
        }
    }
    // Every key lives in one class: the others give up what the target now holds and what
    // was removed.
    for (int other = 0; other < kValueClasses; ++other) {
        if (other == target || !stored[other]) continue;
        for (auto member = stored[other]->MemberBegin(); member != stored[other]->MemberEnd();) {
            const bool moved = written.HasMember(member->name);
            const bool removed =
                object.changed.count(
                    std::string(member->name.GetString(), member->name.GetStringLength())) != 0 &&
                object.Find(member->name.GetString()) == nullptr;
            if (moved || removed) {
                member = stored[other]->EraseMember(member);
                changed[other] = true;
            } else {
                ++member;
            }
        }
    }
    if (recordDesired) {
        Json& desired = Ensure(stored[static_cast<int>(DataClass::Desired)]);
        for (const auto& member : written.GetObject()) Put(desired, member.name, member.value);
        for (const auto& key : object.changed) {
            if (object.Find(key.c_str()) == nullptr) {
                Erase(desired, JsonValue(rapidjson::StringRef(key.data(), key.size())));
            }
        }
        changed[static_cast<int>(DataClass::Desired)] = true;
    }
    stored[target].emplace(std::move(written));
    changed[target] = true;
    return changed;
}

void MarkWritten(ObjectValues& object, DataClass target, long long version) {
    for (const auto& key : object.changed) {
        if (target == object.loadedClass || object.Find(key.c_str()) == nullptr) {
            object.otherClasses.erase(key);
        } else {
            object.otherClasses[key] = target;
        }
    }
    object.changed.clear();
    if (version != 0) object.version = version;
}

}  // namespace standin
