#include "Commands.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Rollback.h"

namespace csctl {
namespace {

using Allocator = rapidjson::Document::AllocatorType;

const char* InstanceOrNull(const Identity& identity) {
    return identity.instance.empty() ? nullptr : identity.instance.c_str();
}

}  // namespace

Text ExportText(std::vector<FilterSpecObjectStruct*> filters) {
    char* raw = nullptr;
    const ConfigStoreCStatus status =
        Logged([&] { return Export(filters.data(), static_cast<int>(filters.size()), &raw); });
    Text text(raw);
    Check(status, "cannot export");
    return text;
}

std::string Name(const Identity& identity) {
    std::string name =
        CommandWords(identity.key, identity.group, identity.component, identity.instance);
    if (!identity.sub.empty()) name += " --sub " + SubPath(identity.sub);
    return name;
}

rapidjson::Value IdentityJson(const Identity& identity,
                              rapidjson::Document::AllocatorType& allocator) {
    rapidjson::Value json(rapidjson::kObjectType);
    json.AddMember("key", rapidjson::Value(identity.key.c_str(), allocator), allocator);
    json.AddMember("group", rapidjson::Value(identity.group.c_str(), allocator), allocator);
    json.AddMember("component", rapidjson::Value(identity.component.c_str(), allocator), allocator);
    if (!identity.instance.empty()) {
        json.AddMember("instanceId", rapidjson::Value(identity.instance.c_str(), allocator),
                       allocator);
    }
    if (!identity.sub.empty()) {
        json.AddMember("sub", rapidjson::Value(SubPath(identity.sub).c_str(), allocator),
                       allocator);
    }
    return json;
}

Filter MakeFilter(const Identity& pattern) {
    FilterSpecObjectStruct* raw = nullptr;
    const ConfigStoreCStatus status = Logged([&] {
        return CreateFilterSpecObject(pattern.key.c_str(), pattern.group.c_str(),
                                      pattern.component.c_str(), pattern.instance.c_str(), &raw);
    });
    Filter filter(raw);
    Check(status, "cannot make a filter for " + Name(pattern));
    return filter;
}

// The exchange document of what the filters select, parsed.
rapidjson::Document ExportedBy(std::vector<FilterSpecObjectStruct*> filters) {
    rapidjson::Document exported;
    exported.Parse(ExportText(std::move(filters)).get());
    if (exported.HasParseError() || !exported.IsObject() || !exported.HasMember("objects")) {
        throw Failure{CS_C_INTERNAL_ERROR, "the store's export is not an exchange document", {}};
    }
    return exported;
}

Identity IdentityOf(const rapidjson::Value& entry) {
    auto field = [&](const char* name) {
        return entry.HasMember(name) ? std::string(entry[name].GetString()) : std::string();
    };
    return {field("key"), field("group"), field("component"), field("instanceId"), {}};
}

// The name of a class in the exchange document.
const char* ClassOf(const rapidjson::Value& entry) {
    return entry.HasMember("class") ? entry["class"].GetString() : "configuration";
}

const char* ClassName(DataClass dataClass) {
    // In the order of DataClass.
    static const char* const kNames[] = {"configuration", "userData", "vitalData", "cachedData"};
    return kNames[static_cast<int>(dataClass)];
}

// An instance id that the object's schema wants or forbids is one mistake whatever the command
// (the store's reads and deletes would answer CS_C_STORE_ERROR): CS_C_INVALID_ARGUMENT, saying
// what to change.
void CheckIdentity(const Identity& identity) {
    const auto make = [&](const char* instance) {
        ConfigStoreObjectStruct* raw = nullptr;
        const ConfigStoreCStatus status =
            CreateObject(identity.key.c_str(), identity.group.c_str(), identity.component.c_str(),
                         instance, "", &raw);
        Object made(raw);
        return status;
    };
    if (Logged([&] { return make(InstanceOrNull(identity)); }) != CS_C_INVALID_ARGUMENT) return;
    const std::string line = LastLogLine();
    if (!identity.instance.empty() && make(nullptr) == CS_C_OK) {
        throw Failure{CS_C_INVALID_ARGUMENT, identity.key + " is a singleton: drop --instance", {}};
    }
    if (identity.instance.empty() && make("instance") == CS_C_OK) {
        throw Failure{CS_C_INVALID_ARGUMENT, identity.key + " has instances: give --instance", {}};
    }
    throw Failure{CS_C_INVALID_ARGUMENT, line, {}};
}

namespace {

// The stored object of an identity; none when the store holds nothing for it.
Object Fetch(ConfigStoreStruct* store, const Identity& identity) {
    ConfigStoreObjectStruct* raw = nullptr;
    const ConfigStoreCStatus status = Logged([&] {
        return Get(store, identity.key.c_str(), identity.group.c_str(), identity.component.c_str(),
                   InstanceOrNull(identity), &raw);
    });
    Object object(raw);
    if (status != CS_C_NOT_FOUND) Check(status, "cannot read " + Name(identity));
    return object;
}

Object FetchExisting(ConfigStoreStruct* store, const Identity& identity) {
    Object object = Fetch(store, identity);
    if (!object) throw Failure{CS_C_NOT_FOUND, "not found: " + Name(identity), {}};
    return object;
}

Object Create(const Identity& identity, const std::string& document = "") {
    ConfigStoreObjectStruct* raw = nullptr;
    const ConfigStoreCStatus status = Logged([&] {
        return CreateObject(identity.key.c_str(), identity.group.c_str(),
                            identity.component.c_str(), InstanceOrNull(identity), document.c_str(),
                            &raw);
    });
    Object object(raw);
    Check(status, "cannot create " + Name(identity));
    return object;
}

ConfigStoreCStatus StoreWith(ConfigStoreStruct* store, ConfigStoreObjectStruct* object,
                             const Write& write) {
    const char* context = write.context ? write.context->c_str() : nullptr;
    switch (write.dataClass) {
        case DataClass::Configuration:
            return write.kind == WriteKind::Update ? Update(store, object, context)
                                                   : Set(store, object, context);
        case DataClass::User:
            return SetUserData(store, object, context);
        case DataClass::Vital:
            return SetVitalData(store, object);
        case DataClass::Cached:
            return SetCachedData(store, object);
    }
    return CS_C_INTERNAL_ERROR;
}

bool SameIdentity(const rapidjson::Value& entry, const Identity& identity) {
    const Identity other = IdentityOf(entry);
    return other.key == identity.key && other.group == identity.group &&
           other.component == identity.component && other.instance == identity.instance;
}

// The object a write starts from: the stored one, or a new one when it replaces. Object values
// have no setter: a write holding one starts from the stored document of its class with them in.
Object StartOf(ConfigStoreStruct* store, const Write& write) {
    const auto isObject = [](const Assignment& assignment) {
        return !assignment.value.object.empty();
    };
    if (std::none_of(write.values.begin(), write.values.end(), isObject)) {
        Object object = write.replace ? Object() : Fetch(store, write.identity);
        return object ? std::move(object) : Create(write.identity);
    }
    rapidjson::Document document = write.replace ? rapidjson::Document(rapidjson::kObjectType)
                                                 : StoredClass(write.identity, write.dataClass);
    for (const Assignment& assignment : write.values) {
        if (!isObject(assignment)) continue;
        rapidjson::Document value(&document.GetAllocator());
        value.Parse(assignment.value.object.c_str());
        document.RemoveMember(assignment.key.c_str());
        document.AddMember(rapidjson::Value(assignment.key.c_str(), document.GetAllocator()), value,
                           document.GetAllocator());
    }
    return Create(write.identity, JsonText(document));
}

// The sub-object that the first `depth` names of the identity's path lead to from `object`,
// borrowed from it; with `create`, the missing ones are made.
ConfigStoreObjectStruct* Descend(ConfigStoreObjectStruct* object, const Identity& identity,
                                 std::size_t depth, bool create) {
    for (std::size_t i = 0; i < depth; ++i) {
        const SubName& name = identity.sub[i];
        const char* instance = name.instance.empty() ? nullptr : name.instance.c_str();
        ConfigStoreObjectStruct* child = nullptr;
        ConfigStoreCStatus status =
            Logged([&] { return GetSubObject(object, name.key.c_str(), instance, &child); });
        if (status == CS_C_NOT_FOUND && create) {
            status =
                Logged([&] { return CreateSubObject(object, name.key.c_str(), instance, &child); });
        }
        if (status == CS_C_NOT_FOUND) {
            throw Failure{CS_C_NOT_FOUND, "not found: " + Name(identity), {}};
        }
        Check(status, "cannot reach the sub-objects of " + Name(identity));
        object = child;
    }
    return object;
}

// A write to a sub-object changes it in its parent, which the write then stores.
void RunSubWrite(ConfigStoreStruct* store, const Write& write) {
    const Identity& id = write.identity;
    for (const Assignment& assignment : write.values) {
        if (!assignment.value.object.empty()) {
            throw Failure{
                kUsage, "a sub-object's values are written one by one, not as objects", {}};
        }
    }
    const bool removes = write.kind == WriteKind::Delete || write.replace;
    Object parent = Fetch(store, id);
    if (!parent && write.kind == WriteKind::Delete) {
        throw Failure{CS_C_NOT_FOUND, "not found: " + Name(id), {}};
    }
    if (!parent) parent = Create(id);
    const std::size_t last = id.sub.size() - 1;
    ConfigStoreObjectStruct* holder = Descend(parent.get(), id, last, !removes);
    if (removes) {
        const SubName& name = id.sub[last];
        Check(Logged([&] {
                  return DeleteSubObject(holder, name.key.c_str(),
                                         name.instance.empty() ? nullptr : name.instance.c_str());
              }),
              "cannot delete " + Name(id));
    }
    if (write.kind != WriteKind::Delete) {
        ConfigStoreObjectStruct* target = Descend(parent.get(), id, id.sub.size(), true);
        for (const Assignment& assignment : write.values) WriteValue(target, assignment);
        for (const std::string& key : write.removals) {
            Check(Logged([&] { return RemoveValue(target, key.c_str()); }),
                  "cannot remove '" + key + "'");
        }
    }
    Write storing = write;  // a delete stores the parent's change, and only that
    if (write.kind == WriteKind::Delete) storing.kind = WriteKind::Update;
    Check(Logged([&] { return StoreWith(store, parent.get(), storing); }),
          "cannot store " + Name(id));
}

void RunWrite(ConfigStoreStruct* store, const Write& write) {
    const Identity& id = write.identity;
    CheckIdentity(id);
    if (!id.sub.empty()) return RunSubWrite(store, write);
    if (write.kind == WriteKind::Delete) {
        const ConfigStoreCStatus status = Logged([&] {
            return Delete(store, id.key.c_str(), id.group.c_str(), id.component.c_str(),
                          InstanceOrNull(id));
        });
        return Check(status, "cannot delete " + Name(id));
    }
    // Writes change the values they name, starting from what is stored unless they replace it.
    Object object = StartOf(store, write);
    for (const Assignment& assignment : write.values) {
        if (assignment.value.object.empty()) WriteValue(object.get(), assignment);
    }
    for (const std::string& key : write.removals) {
        Check(Logged([&] { return RemoveValue(object.get(), key.c_str()); }),
              "cannot remove '" + key + "'");
    }
    Check(Logged([&] { return StoreWith(store, object.get(), write); }),
          "cannot store " + Name(id));
}

// What one stored class of an object holds: its name in the exchange document and its values.
struct ClassValues {
    const char* name;
    const rapidjson::Value* values;
};

// The classes of an identity's exchange entries, each with the values of the identity's
// sub-object (the object's own values when it names none); a class without it is left out.
std::vector<ClassValues> ClassesOf(const rapidjson::Value& exported, const Identity& identity) {
    std::vector<ClassValues> classes;
    for (const auto& entry : exported["objects"].GetArray()) {
        if (!SameIdentity(entry, identity)) continue;
        const rapidjson::Value* values = &entry["values"];
        for (const SubName& name : identity.sub) {
            const auto subObjects = values->FindMember("$subObjects");
            if (subObjects == values->MemberEnd()) {
                values = nullptr;
                break;
            }
            const auto key = subObjects->value.FindMember(name.key.c_str());
            const auto instance = key == subObjects->value.MemberEnd()
                                      ? key
                                      : key->value.FindMember(name.instance.c_str());
            if (key == subObjects->value.MemberEnd() || instance == key->value.MemberEnd()) {
                values = nullptr;
                break;
            }
            values = &instance->value;
        }
        if (values != nullptr) classes.push_back({ClassOf(entry), values});
    }
    return classes;
}

// The values that the stored classes hold for `key`; the desired configuration is no class a
// read answers from.
std::vector<const rapidjson::Value*> StoredValues(const std::vector<ClassValues>& classes,
                                                  const std::string& key) {
    std::vector<const rapidjson::Value*> values;
    for (const ClassValues& stored : classes) {
        const bool desired = std::strcmp(stored.name, "desired") == 0;
        if (!desired && stored.values->HasMember(key.c_str())) {
            values.push_back(&(*stored.values)[key.c_str()]);
        }
    }
    return values;
}

}  // namespace

std::vector<SubName> ParseSubPath(const std::string& path) {
    std::vector<SubName> names;
    std::size_t start = 0;
    for (std::size_t end; start <= path.size(); start = end + 1) {
        end = std::min(path.find('/', start), path.size());
        const std::string step = path.substr(start, end - start);
        const std::size_t colon = std::min(step.find(':'), step.size());
        names.push_back({step.substr(0, colon), step.substr(std::min(colon + 1, step.size()))});
        if (names.back().key.empty()) {
            throw Failure{
                kUsage, "'" + path + "': a sub-object path is KEY[:ID][/KEY[:ID]...]", {}};
        }
    }
    return names;
}

std::string SubPath(const std::vector<SubName>& names) {
    std::string path;
    for (const SubName& name : names) {
        if (!path.empty()) path += "/";
        path += name.key + (name.instance.empty() ? "" : ":" + name.instance);
    }
    return path;
}

rapidjson::Document Exported(const Identity& pattern) {
    const Filter filter = MakeFilter(pattern);
    return ExportedBy({filter.get()});
}

rapidjson::Document StoredClass(const Identity& identity, DataClass dataClass) {
    const rapidjson::Document exported = Exported(identity);
    rapidjson::Document values(rapidjson::kObjectType);
    for (const auto& entry : exported["objects"].GetArray()) {
        if (SameIdentity(entry, identity) &&
            std::strcmp(ClassOf(entry), ClassName(dataClass)) == 0) {
            values.CopyFrom(entry["values"], values.GetAllocator());
        }
    }
    return values;
}

ConfigStoreStruct* Session::store() {
    if (store_) return store_.get();
    ConfigStoreStruct* raw = nullptr;
    const char* name = nameSpace_.empty() ? nullptr : nameSpace_.c_str();
    const ConfigStoreCStatus status = Logged([&] { return GetStore(name, &raw); });
    store_.reset(raw);
    Check(status, "no store for namespace " + (nameSpace_.empty() ? "(default)" : nameSpace_));
    return store_.get();
}

void Session::Begin() {
    Check(Logged([&] { return BeginTransaction(store()); }), "cannot begin a transaction");
}

void Session::Commit() {
    const std::string waiting =
        confirmSeconds_ > 0 ? RecordConfirmation(*this, confirmSeconds_) : std::string();
    Check(Logged([&] { return CommitTransaction(store()); }), "cannot commit");
    if (!waiting.empty()) waiter_->Watch(waiting);
}

void Session::Cancel() {
    Check(Logged([&] { return CancelTransaction(store()); }), "cannot cancel");
}

void RunWrites(Session& session, const std::vector<Write>& writes) {
    ConfigStoreStruct* store = session.store();
    session.Transaction(true, [&] {
        for (std::size_t i = 0; i < writes.size(); ++i) {
            try {
                RunWrite(store, writes[i]);
            } catch (Failure& failure) {
                // In a chain, say which write failed.
                if (writes.size() > 1) {
                    const WriteKind kind = writes[i].kind;
                    failure.message = "write " + std::to_string(i + 1) + " of " +
                                      std::to_string(writes.size()) + " (" +
                                      (kind == WriteKind::Set      ? "set "
                                       : kind == WriteKind::Update ? "update "
                                                                   : "delete ") +
                                      Name(writes[i].identity) + "): " + failure.message;
                }
                throw;
            }
        }
    });
    session.output().Done();
}

void RunGet(Session& session, const Identity& identity, const std::vector<std::string>& keys,
            bool bare) {
    CheckIdentity(identity);
    Object object = FetchExisting(session.store(), identity);
    ConfigStoreObjectStruct* target = Descend(object.get(), identity, identity.sub.size(), false);
    // A filter with an empty instance id selects every instance: keep this identity's entries.
    const rapidjson::Document exported = Exported(identity);
    const std::vector<ClassValues> classes = ClassesOf(exported, identity);
    // The store answers an identity with nothing stored with its defaults: an instance that
    // holds nothing does not exist, as list shows.
    if (!identity.instance.empty() && classes.empty()) {
        throw Failure{CS_C_NOT_FOUND, "not found: " + Name(identity), {}};
    }
    rapidjson::Document answer(rapidjson::kObjectType);
    Allocator& allocator = answer.GetAllocator();
    if (!keys.empty()) {
        std::vector<std::string> defaults;
        for (const std::string& key : keys) {
            rapidjson::Value value;
            if (ReadValue(target, key, Name(identity), StoredValues(classes, key), value,
                          allocator) == CS_C_VALUE_IS_DEFAULT) {
                defaults.push_back(key);
            }
            answer.AddMember(rapidjson::Value(key.c_str(), allocator), value, allocator);
        }
        if (bare) return session.output().Bare(answer);
        return session.output().Values(answer, defaults);
    }
    char* rawVersion = nullptr;
    const ConfigStoreCStatus status = Logged([&] { return GetVersion(object.get(), &rawVersion); });
    const Text version(rawVersion);
    Check(status, "cannot read the version of " + Name(identity));

    rapidjson::Value values(rapidjson::kObjectType);
    for (const ClassValues& stored : classes) {
        values.AddMember(rapidjson::Value(stored.name, allocator),
                         rapidjson::Value(*stored.values, allocator), allocator);
    }
    answer.AddMember("identity", IdentityJson(identity, allocator), allocator);
    answer.AddMember("version", rapidjson::Value(version.get(), allocator), allocator);
    answer.AddMember("classes", values, allocator);
    session.output().Object(answer);
}

void RunList(Session& session, const Identity& pattern, const std::vector<Assignment>& conditions) {
    if (!pattern.instance.empty()) CheckIdentity(pattern);
    const Filter filter = MakeFilter(pattern);
    for (const Assignment& condition : conditions) WriteValue(filter.get(), condition);
    session.store();  // the namespace must exist
    // The export of the filter names every object it selects, singletons included, which
    // GetInstances refuses; an object comes once per stored class, one after the other.
    const rapidjson::Document exported = ExportedBy({filter.get()});
    rapidjson::Document identities(rapidjson::kArrayType);
    auto& allocator = identities.GetAllocator();
    Identity last;
    for (const auto& entry : exported["objects"].GetArray()) {
        if (!identities.Empty() && SameIdentity(entry, last)) continue;
        last = IdentityOf(entry);
        identities.PushBack(IdentityJson(last, allocator), allocator);
    }
    session.output().Identities(identities);
}

void RunInstanceId(Session& session) {
    char* raw = nullptr;
    const ConfigStoreCStatus status = Logged([&] { return GenerateInstanceId(&raw); });
    const Text id(raw);
    Check(status, "cannot make an instance id");
    session.output().InstanceId(id.get());
}

}  // namespace csctl
