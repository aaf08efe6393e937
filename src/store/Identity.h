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

}  // namespace binding
