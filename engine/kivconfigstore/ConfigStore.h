// The configuration store: the engine's interface as its clients compile against it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "CSLogger.h"
#include "Exceptions.h"
#include "ObjectIds.h"
#include "Objects.h"

namespace KivConfigStore {

// Who is writing: a caller outside the platform, or the platform itself.
enum USERDATA_CONTEXT : int32_t {
    EXTERNAL = 0,
    INTERNAL = 1,
};
static_assert(sizeof(USERDATA_CONTEXT) == 4, "the context crosses the interface as 32 bits");

using ObjectList = std::vector<std::shared_ptr<ConfigStoreObject>>;

// One store per namespace. Clients call the virtual operations only, in this table order;
// write operations take their object or list by value.
class ConfigStore {
public:
    static std::shared_ptr<ConfigStore> GetStore(const std::string& nameSpace);

    virtual std::shared_ptr<ConfigStoreObject> Get(const ConfigStoreObjectId& id) = 0;
    virtual std::shared_ptr<ConfigStoreObject> GetDefaultConfig(const ConfigStoreObjectId& id) = 0;
    virtual ObjectList GetDefaultConfigInstances(
        const std::shared_ptr<FilterSpecObject>& filter) = 0;
    virtual void Set(std::shared_ptr<ConfigStoreObject> object,
                     const USERDATA_CONTEXT& context) = 0;
    virtual void SetUserData(std::shared_ptr<ConfigStoreObject> object,
                             const USERDATA_CONTEXT& context) = 0;
    virtual void SetVitalData(std::shared_ptr<ConfigStoreObject> object) = 0;
    virtual void SetCachedData(std::shared_ptr<ConfigStoreObject> object) = 0;
    virtual void Update(std::shared_ptr<ConfigStoreObject> object,
                        const USERDATA_CONTEXT& context) = 0;
    virtual void Delete(const ConfigStoreObjectId& id) = 0;
    virtual void DeleteInstances(const std::shared_ptr<FilterSpecObject>& filter) = 0;
    virtual ObjectList GetInstances(const std::shared_ptr<FilterSpecObject>& filter) = 0;
    virtual void SetInstances(ObjectList objects, const USERDATA_CONTEXT& context) = 0;
    virtual void SetUserDataInstances(ObjectList objects, const USERDATA_CONTEXT& context) = 0;
    virtual void SetCachedDataInstances(ObjectList objects) = 0;
    virtual void SetVitalDataInstances(ObjectList objects) = 0;
    virtual void BeginTransaction() = 0;
    virtual void CommitTransaction() = 0;
    virtual void CancelTransaction() = 0;
    virtual ~ConfigStore();

    ConfigStore(const ConfigStore&) = delete;
    ConfigStore& operator=(const ConfigStore&) = delete;

protected:
    ConfigStore();
};

// The namespace of the default store, and the empty string.
extern const std::string sGlobalNamespace;
extern const std::string kEmptyString;

// `value` is the object's document text.
std::shared_ptr<ConfigStoreObject> CreateObject(const ConfigStoreObjectId& id,
                                                const std::string& value);
std::shared_ptr<ConfigStoreObject> GetDesiredUserConfig(const ConfigStoreObjectId& id);
ObjectList GetDesiredUserConfigInstances(const ConfigStoreObjectId& id);
std::string GetSchemaVersion(const ConfigStoreObjectId& id);
void SetBootStatus(const ConfigStoreObjectId& id, bool status);
std::string GenerateInstanceId();
// The subset of `objects` that `filter` selects; each element is one of the given references.
ObjectList FilterConfigStoreObjects(ObjectList& objects,
                                    const std::shared_ptr<FilterSpecObject>& filter);
// False when the document was refused, with the problems in `errors`.
bool Import(const std::string& document, std::vector<ErrorInfo>& errors);
std::string Export(std::vector<std::shared_ptr<FilterSpecObject>> filters);

}  // namespace KivConfigStore
