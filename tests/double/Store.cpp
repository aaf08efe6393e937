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

    ObjectPtr Get(const ConfigStoreObjectId&) override { return Respond<ObjectPtr>(OP(Get), {}); }
    ObjectPtr GetDefaultConfig(const ConfigStoreObjectId&) override {
        return Respond<ObjectPtr>(OP(GetDefaultConfig), {});
    }
    ObjectList GetDefaultConfigInstances(const FilterPtr&) override {
        return Respond<ObjectList>(OP(GetDefaultConfigInstances), {});
    }
    ObjectList GetInstances(const FilterPtr&) override {
        return Respond<ObjectList>(OP(GetInstances), {});
    }
    void Set(ObjectPtr, const Context&) override { Enter(OP(Set)); }
    void SetUserData(ObjectPtr, const Context&) override { Enter(OP(SetUserData)); }
    void SetVitalData(ObjectPtr) override { Enter(OP(SetVitalData)); }
    void SetCachedData(ObjectPtr) override { Enter(OP(SetCachedData)); }
    void Update(ObjectPtr, const Context&) override { Enter(OP(Update)); }
    void Delete(const ConfigStoreObjectId&) override { Enter(OP(Delete)); }
    void DeleteInstances(const FilterPtr&) override { Enter(OP(DeleteInstances)); }
    void SetInstances(ObjectList, const Context&) override { Enter(OP(SetInstances)); }
    void SetUserDataInstances(ObjectList, const Context&) override {
        Enter(OP(SetUserDataInstances));
    }
    void SetCachedDataInstances(ObjectList) override { Enter(OP(SetCachedDataInstances)); }
    void SetVitalDataInstances(ObjectList) override { Enter(OP(SetVitalDataInstances)); }
    void BeginTransaction() override { Enter(OP(BeginTransaction)); }
    void CommitTransaction() override { Enter(OP(CommitTransaction)); }
    void CancelTransaction() override { Enter(OP(CancelTransaction)); }
};

}  // namespace

namespace KivConfigStore {

// Counts the calls given the engine's own sGlobalNamespace object.
std::shared_ptr<ConfigStore> ConfigStore::GetStore(const std::string& nameSpace) {
    if (&nameSpace == &sGlobalNamespace && TheState().recording) ++TheState().globalNamespaceStores;
    return RespondOr<std::shared_ptr<ConfigStore>>(OP(GetStore),
                                                   [] { return std::make_shared<DoubleStore>(); });
}

ObjectPtr CreateObject(const ConfigStoreObjectId& id, const std::string&) {
    return RespondOr<ObjectPtr>("CreateObject",
                                [&] { return std::make_shared<ConfigStoreObject>(id); });
}

ObjectPtr GetDesiredUserConfig(const ConfigStoreObjectId&) {
    return Respond<ObjectPtr>("GetDesiredUserConfig", {});
}

ObjectList GetDesiredUserConfigInstances(const ConfigStoreObjectId&) {
    return Respond<ObjectList>("GetDesiredUserConfigInstances", {});
}

std::string GetSchemaVersion(const ConfigStoreObjectId&) {
    return Respond<std::string>("GetSchemaVersion", "1.0");
}

void SetBootStatus(const ConfigStoreObjectId&, bool) {
    Enter("SetBootStatus");
}

std::string GenerateInstanceId() {
    return Respond<std::string>("GenerateInstanceId", "instance");
}

// Unscripted, the filter selects every object it is given.
ObjectList FilterConfigStoreObjects(ObjectList& objects, const FilterPtr&) {
    return Respond("FilterConfigStoreObjects", objects);
}

bool Import(const std::string&, std::vector<ErrorInfo>& errors) {
    const auto answer = Respond("Import", enginedouble::ImportAnswer{true, {}});
    errors = answer.errors;
    return answer.accepted;
}

std::string Export(std::vector<FilterPtr>) {
    return Respond<std::string>("Export", "{}");
}

}  // namespace KivConfigStore

namespace enginedouble {

std::shared_ptr<ConfigStoreObject> MakeObject(const std::string& key) {
    return std::make_shared<ConfigStoreObject>(ConfigStoreObjectId(key, "group", "component", ""));
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
