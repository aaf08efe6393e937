// Object identities built from the caller's strings.
#pragma once

#include <kivconfigstore/ObjectIds.h>

namespace binding {

// Key, group and component in that order; a NULL instance id and "" name the same identity.
inline KivConfigStore::ConfigStoreObjectId IdentityOf(const char* key, const char* group,
                                                      const char* component,
                                                      const char* instanceId) {
    KivConfigStore::ConfigStoreObjectId id(key, group, component);
    if (instanceId != nullptr) id.instanceId = instanceId;
    return id;
}

// A sub-object within its parent; a NULL instance id and "" name the singleton.
inline KivConfigStore::SubObjectId SubObjectIdOf(const char* key, const char* instanceId) {
    return KivConfigStore::SubObjectId{key, instanceId == nullptr ? "" : instanceId};
}

}  // namespace binding
