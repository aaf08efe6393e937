// Shared by every engine build: identity records. A NULL string stands for an empty one.
#include <kivconfigstore/ObjectIds.h>

namespace KivConfigStore {

namespace {
std::string TextOf(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}
}  // namespace

ConfigStoreObjectId::ConfigStoreObjectId(const char* key, const char* group, const char* component)
    : key(TextOf(key)), group(TextOf(group)), component(TextOf(component)) {}

ConfigStoreObjectId::ConfigStoreObjectId(const char* key, const char* group, const char* component,
                                         const char* instanceId)
    : key(TextOf(key)),
      group(TextOf(group)),
      component(TextOf(component)),
      instanceId(TextOf(instanceId)) {}

ConfigStoreObjectId::ConfigStoreObjectId(const std::string& key, const std::string& group,
                                         const std::string& component,
                                         const std::string& instanceId)
    : key(key), group(group), component(component), instanceId(instanceId) {}

}  // namespace KivConfigStore
