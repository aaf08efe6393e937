// Shared by every engine build: the constructor chain of the object classes below the root,
// the store's base class, and the engine's two string constants. Each engine defines the root
// object's constructor and destructor, which set up its own state.
#include <kivconfigstore/ConfigStore.h>

namespace KivConfigStore {

const std::string sGlobalNamespace = "global";
const std::string kEmptyString;

ConfigStore::ConfigStore() = default;
ConfigStore::~ConfigStore() = default;

ReadOnlyObject::ReadOnlyObject(const ConfigStoreObjectId& id) : BaseObject(id) {}
ReadOnlyObject::~ReadOnlyObject() = default;
WritableObject::WritableObject(const ConfigStoreObjectId& id) : ReadOnlyObject(id) {}
WritableObject::~WritableObject() = default;
ConfigStoreObject::ConfigStoreObject(const ConfigStoreObjectId& id) : WritableObject(id) {}
ConfigStoreObject::~ConfigStoreObject() = default;
FilterSpecObject::FilterSpecObject(const ConfigStoreObjectId& id) : WritableObject(id) {}
FilterSpecObject::~FilterSpecObject() = default;

}  // namespace KivConfigStore
