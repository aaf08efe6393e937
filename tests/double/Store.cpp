// The double's stores and free functions. Unscripted, GetStore opens a new store and the
// operations answer as an empty store would.
#include <cstdarg>

#include "Recorder.h"

using namespace KivConfigStore;
using namespace enginedouble::detail;

namespace {

using ObjectPtr = std::shared_ptr<ConfigStoreObject>;
using FilterPtr = std::shared_ptr<FilterSpecObject>;
using Context = USERDATA_CONTEXT;
#define OP(name) "ConfigStore::" #name

class DoubleStore final : public ConfigStore {
public:
    DoubleStore() { ++TheState().liveStores; }
    ~DoubleStore() override { --TheState().liveStores; }

    ObjectPtr Get(const ConfigStoreObjectId& id) override {
        return Respond<ObjectPtr>(OP(Get), nullptr, id);
    }
    ObjectPtr GetDefaultConfig(const ConfigStoreObjectId& id) override {
        return Respond<ObjectPtr>(OP(GetDefaultConfig), nullptr, id);
    }
    ObjectList GetDefaultConfigInstances(const FilterPtr& filter) override {
        return Respond<ObjectList>(OP(GetDefaultConfigInstances), {}, filter);
    }
    ObjectList GetInstances(const FilterPtr& filter) override {
        return Respond<ObjectList>(OP(GetInstances), {}, filter);
    }
    void Set(ObjectPtr o, const Context& c) override { Enter(OP(Set), o, c); }
    void SetUserData(ObjectPtr o, const Context& c) override { Enter(OP(SetUserData), o, c); }
    void SetVitalData(ObjectPtr o) override { Enter(OP(SetVitalData), o); }
    void SetCachedData(ObjectPtr o) override { Enter(OP(SetCachedData), o); }
    void Update(ObjectPtr o, const Context& c) override { Enter(OP(Update), o, c); }
    void Delete(const ConfigStoreObjectId& id) override { Enter(OP(Delete), id); }
    void DeleteInstances(const FilterPtr& f) override { Enter(OP(DeleteInstances), f); }
    void SetInstances(ObjectList l, const Context& c) override { Enter(OP(SetInstances), l, c); }
    void SetUserDataInstances(ObjectList l, const Context& c) override {
        Enter(OP(SetUserDataInstances), l, c);
    }
    void SetCachedDataInstances(ObjectList l) override { Enter(OP(SetCachedDataInstances), l); }
    void SetVitalDataInstances(ObjectList l) override { Enter(OP(SetVitalDataInstances), l); }
    void BeginTransaction() override { Enter(OP(BeginTransaction)); }
    void CommitTransaction() override { Enter(OP(CommitTransaction)); }
    void CancelTransaction() override { Enter(OP(CancelTransaction)); }
};

}  // namespace

namespace KivConfigStore {

// Records whether the caller passed the engine's own sGlobalNamespace object.
std::shared_ptr<ConfigStore> ConfigStore::GetStore(const std::string& nameSpace) {
    return RespondOr<std::shared_ptr<ConfigStore>>(
        OP(GetStore), [] { return std::make_shared<DoubleStore>(); }, nameSpace,
        &nameSpace == &sGlobalNamespace ? "sGlobalNamespace" : "another string");
}

ObjectPtr CreateObject(const ConfigStoreObjectId& id, const std::string& value) {
    return RespondOr<ObjectPtr>(
        "CreateObject", [&] { return std::make_shared<ConfigStoreObject>(id); }, id, value);
}

ObjectPtr GetDesiredUserConfig(const ConfigStoreObjectId& id) {
    return Respond<ObjectPtr>("GetDesiredUserConfig", nullptr, id);
}

ObjectList GetDesiredUserConfigInstances(const ConfigStoreObjectId& id) {
    return Respond<ObjectList>("GetDesiredUserConfigInstances", {}, id);
}

std::string GetSchemaVersion(const ConfigStoreObjectId& id) {
    return Respond<std::string>("GetSchemaVersion", "1.0", id);
}

void SetBootStatus(const ConfigStoreObjectId& id, bool status) {
    Enter("SetBootStatus", id, status);
}

std::string GenerateInstanceId() {
    return Respond<std::string>("GenerateInstanceId", "instance");
}

// Unscripted, the filter selects every object it is given.
ObjectList FilterConfigStoreObjects(ObjectList& objects, const FilterPtr& filter) {
    return Respond("FilterConfigStoreObjects", objects, objects, filter);
}

bool Import(const std::string& document, std::vector<ErrorInfo>& errors) {
    const auto answer = Respond("Import", enginedouble::ImportAnswer{true, {}}, document);
    errors = answer.errors;
    return answer.accepted;
}

std::string Export(std::vector<FilterPtr> filters) {
    return Respond<std::string>("Export", "{}", filters);
}

}  // namespace KivConfigStore

namespace enginedouble {

std::shared_ptr<ConfigStoreObject> MakeObject(const std::string& key,
                                              const std::string& instanceId) {
    return std::make_shared<ConfigStoreObject>(
        ConfigStoreObjectId(key, "group", "component", instanceId));
}

}  // namespace enginedouble

// Log lines are recorded while recording is on.
void CSLogger::Log(log_priority priority, const char* format, ...) {
    enginedouble::LogLine line;
    line.priority = priority;
    line.format = format;
    va_list args;
    va_start(args, format);
    for (const char* at = format; *at != '\0'; ++at) {
        if (*at != '%' || at[1] == '\0') continue;
        const char conversion = *++at;
        if (conversion == 's') line.args.push_back(Text(va_arg(args, const char*)));
        if (conversion == 'd') line.args.push_back(std::to_string(va_arg(args, int)));
    }
    va_end(args);
    if (TheState().recording) TheState().log.push_back(std::move(line));
}
