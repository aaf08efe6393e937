// The double's stores and free functions. Unscripted, GetStore opens a new store and the
// operations answer as an empty store would.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "Recorder.h"

using namespace KivConfigStore;
using enginedouble::detail::AnswerFor;
using enginedouble::detail::Enter;
using enginedouble::detail::Scripted;

namespace {

using ObjectPtr = std::shared_ptr<ConfigStoreObject>;
using FilterPtr = std::shared_ptr<FilterSpecObject>;

class DoubleStore final : public ConfigStore {
public:
    DoubleStore() { enginedouble::detail::StoreCreated(); }
    ~DoubleStore() override { enginedouble::detail::StoreReleased(); }

    ObjectPtr Get(const ConfigStoreObjectId& id) override {
        Enter("ConfigStore::Get", this, id);
        return AnswerFor<ObjectPtr>("ConfigStore::Get", nullptr);
    }
    ObjectPtr GetDefaultConfig(const ConfigStoreObjectId& id) override {
        Enter("ConfigStore::GetDefaultConfig", this, id);
        return AnswerFor<ObjectPtr>("ConfigStore::GetDefaultConfig", nullptr);
    }
    ObjectList GetDefaultConfigInstances(const FilterPtr& filter) override {
        Enter("ConfigStore::GetDefaultConfigInstances", this, filter);
        return AnswerFor<ObjectList>("ConfigStore::GetDefaultConfigInstances", {});
    }
    void Set(ObjectPtr object, const USERDATA_CONTEXT& context) override {
        Enter("ConfigStore::Set", this, object, context);
    }
    void SetUserData(ObjectPtr object, const USERDATA_CONTEXT& context) override {
        Enter("ConfigStore::SetUserData", this, object, context);
    }
    void SetVitalData(ObjectPtr object) override {
        Enter("ConfigStore::SetVitalData", this, object);
    }
    void SetCachedData(ObjectPtr object) override {
        Enter("ConfigStore::SetCachedData", this, object);
    }
    void Update(ObjectPtr object, const USERDATA_CONTEXT& context) override {
        Enter("ConfigStore::Update", this, object, context);
    }
    void Delete(const ConfigStoreObjectId& id) override { Enter("ConfigStore::Delete", this, id); }
    void DeleteInstances(const FilterPtr& filter) override {
        Enter("ConfigStore::DeleteInstances", this, filter);
    }
    ObjectList GetInstances(const FilterPtr& filter) override {
        Enter("ConfigStore::GetInstances", this, filter);
        return AnswerFor<ObjectList>("ConfigStore::GetInstances", {});
    }
    void SetInstances(ObjectList objects, const USERDATA_CONTEXT& context) override {
        Enter("ConfigStore::SetInstances", this, objects, context);
    }
    void SetUserDataInstances(ObjectList objects, const USERDATA_CONTEXT& context) override {
        Enter("ConfigStore::SetUserDataInstances", this, objects, context);
    }
    void SetCachedDataInstances(ObjectList objects) override {
        Enter("ConfigStore::SetCachedDataInstances", this, objects);
    }
    void SetVitalDataInstances(ObjectList objects) override {
        Enter("ConfigStore::SetVitalDataInstances", this, objects);
    }
    void BeginTransaction() override { Enter("ConfigStore::BeginTransaction", this); }
    void CommitTransaction() override { Enter("ConfigStore::CommitTransaction", this); }
    void CancelTransaction() override { Enter("ConfigStore::CancelTransaction", this); }
};

int nextInstanceId = 0;

}  // namespace

namespace KivConfigStore {

const std::string sGlobalNamespace = "global";
const std::string kEmptyString;

ConfigStore::ConfigStore() = default;
ConfigStore::~ConfigStore() = default;

// Records whether the caller passed the engine's own sGlobalNamespace object.
std::shared_ptr<ConfigStore> ConfigStore::GetStore(const std::string& nameSpace) {
    Enter("ConfigStore::GetStore", nullptr, nameSpace,
          &nameSpace == &sGlobalNamespace ? "sGlobalNamespace" : "another string");
    const auto* answer = Scripted<std::shared_ptr<ConfigStore>>("ConfigStore::GetStore");
    return answer != nullptr ? *answer : enginedouble::MakeStore(nameSpace);
}

ObjectPtr CreateObject(const ConfigStoreObjectId& id, const std::string& value) {
    Enter("CreateObject", nullptr, id, value);
    const auto* answer = Scripted<ObjectPtr>("CreateObject");
    return answer != nullptr ? *answer : std::make_shared<ConfigStoreObject>(id);
}

ObjectPtr GetDesiredUserConfig(const ConfigStoreObjectId& id) {
    Enter("GetDesiredUserConfig", nullptr, id);
    return AnswerFor<ObjectPtr>("GetDesiredUserConfig", nullptr);
}

ObjectList GetDesiredUserConfigInstances(const ConfigStoreObjectId& id) {
    Enter("GetDesiredUserConfigInstances", nullptr, id);
    return AnswerFor<ObjectList>("GetDesiredUserConfigInstances", {});
}

std::string GetSchemaVersion(const ConfigStoreObjectId& id) {
    Enter("GetSchemaVersion", nullptr, id);
    return AnswerFor<std::string>("GetSchemaVersion", "1.0");
}

void SetBootStatus(const ConfigStoreObjectId& id, bool status) {
    Enter("SetBootStatus", nullptr, id, status);
}

std::string GenerateInstanceId() {
    Enter("GenerateInstanceId", nullptr);
    return AnswerFor<std::string>("GenerateInstanceId",
                                  "instance-" + std::to_string(++nextInstanceId));
}

// Unscripted, the filter selects every object it is given.
ObjectList FilterConfigStoreObjects(ObjectList& objects, const FilterPtr& filter) {
    Enter("FilterConfigStoreObjects", nullptr, objects, filter);
    return AnswerFor<ObjectList>("FilterConfigStoreObjects", objects);
}

bool Import(const std::string& document, std::vector<ErrorInfo>& errors) {
    Enter("Import", nullptr, document);
    const auto answer =
        AnswerFor<enginedouble::ImportAnswer>("Import", enginedouble::ImportAnswer{true, {}});
    errors = answer.errors;
    return answer.accepted;
}

std::string Export(std::vector<FilterPtr> filters) {
    Enter("Export", nullptr, filters);
    return AnswerFor<std::string>("Export", "{}");
}

}  // namespace KivConfigStore

namespace enginedouble {

std::shared_ptr<ConfigStoreObject> MakeObject(const std::string& key,
                                              const std::string& instanceId) {
    return std::make_shared<ConfigStoreObject>(
        ConfigStoreObjectId(key, "group", "component", instanceId));
}

std::shared_ptr<ConfigStore> MakeStore(const std::string&) {
    return std::make_shared<DoubleStore>();
}

}  // namespace enginedouble

// Log lines are recorded (while recording is on), and echoed to standard error when
// ENGINE_DOUBLE_LOG=stderr.
void CSLogger::Log(log_priority priority, const char* format, ...) {
    enginedouble::LogLine line;
    line.priority = priority;
    line.format = format;
    va_list args;
    va_start(args, format);
    for (const char* at = format; *at != '\0'; ++at) {
        if (*at != '%' || at[1] == '\0') continue;
        const char conversion = *++at;
        if (conversion == 's')
            line.args.push_back(enginedouble::detail::Text(va_arg(args, const char*)));
        if (conversion == 'd') line.args.push_back(std::to_string(va_arg(args, int)));
    }
    va_end(args);
    const char* echo = std::getenv("ENGINE_DOUBLE_LOG");
    if (echo != nullptr && std::string(echo) == "stderr") {
        std::fprintf(stderr, "configstore: %s\n", line.Text().c_str());
    }
    if (enginedouble::detail::Recording()) enginedouble::detail::RecordLogLine(std::move(line));
}
