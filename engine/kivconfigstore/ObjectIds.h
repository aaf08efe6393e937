// Identity records that name configuration objects, sub-objects and import problems.
#pragma once

#include <string>

namespace KivConfigStore {

// The identity of a configuration object or filter spec.
struct ConfigStoreObjectId {
    ConfigStoreObjectId(const char* key, const char* group, const char* component);
    ConfigStoreObjectId(const char* key, const char* group, const char* component,
                        const char* instanceId);
    ConfigStoreObjectId(const std::string& key, const std::string& group,
                        const std::string& component, const std::string& instanceId);

    std::string key;
    std::string group;
    std::string component;
    std::string instanceId;  // empty for a singleton
};

// The identity of a sub-object within its parent.
struct SubObjectId {
    std::string key;
    std::string instanceId;  // empty for a singleton sub-object
};

// One problem that an import found.
struct ErrorInfo {
    std::string key;
    std::string message;
};

}  // namespace KivConfigStore
