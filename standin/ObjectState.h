// The engine's state behind an object's private pointer, and the engine's door to it.
#pragma once

#include <kivconfigstore/Objects.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Values.h"

namespace standin {

struct EngineObject : ObjectValues {
    // A filter spec's sub-object filters, in the order they were made.
    std::vector<std::shared_ptr<KivConfigStore::FilterSpecObject>> subFilters;

    // A sub-object's parent, which holds its values under `place` and which it keeps alive;
    // null for top-level objects and deleted sub-objects.
    std::shared_ptr<const KivConfigStore::BaseObject> parent;
    KivConfigStore::SubObjectId place;
    // The sub-objects this object handed out, by key and instance id, so that each instance has
    // one engine object; weak, so that a parent never owns its sub-objects.
    std::map<std::pair<std::string, std::string>, std::weak_ptr<KivConfigStore::ConfigStoreObject>>
        handedOut;
};

}  // namespace standin

namespace KivConfigStore {

struct EngineState {
    static standin::EngineObject& Of(const BaseObject& object);
};

}  // namespace KivConfigStore
