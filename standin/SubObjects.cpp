// The sub-object operations of configuration objects and the sub-object filters of filter specs.
//
// A sub-object's engine object holds a copy of its values, keeps its parent alive and publishes
// every change into the parent's document. The parent remembers, weakly, the sub-objects it
// handed out, so that each instance has one engine object and two views never diverge.
#include "SubObjects.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "Errors.h"
#include "Filters.h"

namespace standin {

using KivConfigStore::BaseObject;
using KivConfigStore::ConfigStoreObject;
using KivConfigStore::EngineState;
using KivConfigStore::InvalidArgumentException;
using KivConfigStore::SubObjectId;

namespace {

using SubObjectList = std::vector<std::shared_ptr<ConfigStoreObject>>;

JsonValue NameRef(const std::string& text) {
    return JsonValue(
        rapidjson::StringRef(text.data(), static_cast<rapidjson::SizeType>(text.size())));
}

// How messages name a sub-object: "key" or "key/instance".
std::string SubObjectName(const SubObjectId& id) {
    return id.instanceId.empty() ? id.key : id.key + "/" + id.instanceId;
}

void CheckSubObjectId(const SubObjectId& id) {
    if (id.key.empty()) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT,
                                       "empty sub-object key");
    }
    for (const std::string* text : {&id.key, &id.instanceId}) {
        if (!IsValidUtf8(text->data(), text->size()) || text->find('\0') != std::string::npos) {
            Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT,
                                           "sub-object key or instance id is not valid text");
        }
    }
}

// The member `name` of `object` (null allowed), or null.
JsonValue* MemberOf(JsonValue* object, const std::string& name) {
    if (object == nullptr) return nullptr;
    const auto member = object->FindMember(NameRef(name));
    return member == object->MemberEnd() ? nullptr : &member->value;
}

// The member `name` of `object`, added as an empty object when absent.
JsonValue& ObjectMember(JsonValue& object, const std::string& name) {
    if (JsonValue* member = MemberOf(&object, name)) return *member;
    JsonAllocator allocator;
    object.AddMember(
        JsonValue(name.data(), static_cast<rapidjson::SizeType>(name.size()), allocator),
        JsonValue(rapidjson::kObjectType), allocator);
    return (object.MemberEnd() - 1)->value;
}

// The instances of one sub-object key in the parent's document, or null.
JsonValue* InstancesOf(const BaseObject& parent, const std::string& key) {
    return MemberOf(EngineState::Of(parent).SubObjects(false), key);
}

// The live engine object of one instance, made from its values in the parent's document when
// none is alive.
std::shared_ptr<ConfigStoreObject> HandOut(const ConfigStoreObject& parent, const SubObjectId& id,
                                           const JsonValue& values) {
    EngineObject& state = EngineState::Of(parent);
    const auto known = state.handedOut.find({id.key, id.instanceId});
    if (known != state.handedOut.end()) {
        if (auto live = known->second.lock()) return live;
    }
    std::shared_ptr<const BaseObject> self = parent.weak_from_this().lock();
    if (self == nullptr) {
        Fail(KivConfigStore::ERR_INTERNAL_ERROR, "a parent object must be held by a shared_ptr");
    }
    auto subObject = std::make_shared<ConfigStoreObject>(KivConfigStore::ConfigStoreObjectId(
        id.key, parent.objectId.group, parent.objectId.component, id.instanceId));
    EngineObject& sub = EngineState::Of(*subObject);
    Assign(sub.values, values);
    sub.states.assign(sub.values.MemberCount(), KeyState{});
    sub.index.Rebuild(sub.values);
    sub.parent = std::move(self);
    sub.place = id;
    for (auto entry = state.handedOut.begin(); entry != state.handedOut.end();) {
        entry = entry->second.expired() ? state.handedOut.erase(entry) : std::next(entry);
    }
    state.handedOut[{id.key, id.instanceId}] = subObject;
    return subObject;
}

// Visits every instance in the parent's document that `filter` selects, in document order. An
// empty key in the filter selects every key, as everywhere else.
template <class Visit>
void ForEachSelected(const ConfigStoreObject& parent,
                     const KivConfigStore::FilterSpecObject* filter, Visit visit) {
    GivenFilter(filter);
    const JsonValue* subObjects = EngineState::Of(parent).SubObjects(false);
    if (subObjects == nullptr) return;
    const std::string& wanted = filter->objectId.key;
    for (const auto& key : subObjects->GetObject()) {
        if (!wanted.empty() && NameRef(wanted) != key.name) continue;
        for (const auto& instance : key.value.GetObject()) {
            const SubObjectId id{Text(key.name), Text(instance.name)};
            const KivConfigStore::ConfigStoreObjectId objectId(
                id.key, parent.objectId.group, parent.objectId.component, id.instanceId);
            if (Selects(*filter, objectId, instance.value, nullptr)) visit(id, instance.value);
        }
    }
}

int LevelOf(const EngineObject& object) {
    int level = 0;
    for (const BaseObject* above = object.parent.get(); above != nullptr;
         above = EngineState::Of(*above).parent.get()) {
        ++level;
    }
    return level;
}

}  // namespace

void PublishToParent(EngineObject& subObject) {
    for (EngineObject* child = &subObject; child->parent != nullptr;) {
        EngineObject& parent = EngineState::Of(*child->parent);
        JsonValue& subObjects = *parent.SubObjects(true);
        JsonValue& instance =
            ObjectMember(ObjectMember(subObjects, child->place.key), child->place.instanceId);
        Assign(instance, child->values);
        parent.MarkChanged(subObjects);
        child = &parent;
    }
}

}  // namespace standin

namespace KivConfigStore {

using standin::EngineObject;
using standin::Fail;
using standin::JsonValue;

std::shared_ptr<ConfigStoreObject> ConfigStoreObject::CreateSubObject(const SubObjectId& id) {
    standin::CheckSubObjectId(id);
    EngineObject& state = EngineState::Of(*this);
    if (standin::LevelOf(state) + 1 > standin::kMaxSubObjectLevels) {
        Fail<InvalidArgumentException>(
            ERR_INVALID_ARGUMENT,
            "sub-objects nest at most " + std::to_string(standin::kMaxSubObjectLevels) + " levels");
    }
    if (const JsonValue* instances = standin::InstancesOf(*this, id.key)) {
        if (instances->HasMember(standin::NameRef(id.instanceId))) {
            Fail(ERR_OBJECT_EXISTS, {}, standin::SubObjectName(id));
        }
        // A key holds either its singleton or instances with ids.
        if (id.instanceId.empty() && !instances->ObjectEmpty()) {
            Fail(ERR_NOT_SINGLETON, {}, standin::SubObjectName(id));
        }
        if (!id.instanceId.empty() && instances->HasMember("")) {
            Fail(ERR_NOT_NON_SINGLETON, {}, standin::SubObjectName(id));
        }
    }
    JsonValue& subObjects = *state.SubObjects(true);
    JsonValue& values =
        standin::ObjectMember(standin::ObjectMember(subObjects, id.key), id.instanceId);
    state.MarkChanged(subObjects);
    standin::Publish(state);
    return standin::HandOut(*this, id, values);
}

std::shared_ptr<ConfigStoreObject> ConfigStoreObject::GetSubObject(const SubObjectId& id) const {
    const JsonValue* values = standin::MemberOf(standin::InstancesOf(*this, id.key), id.instanceId);
    return values != nullptr ? standin::HandOut(*this, id, *values) : nullptr;
}

std::vector<std::shared_ptr<ConfigStoreObject>> ConfigStoreObject::GetSubObjectInstances(
    const std::shared_ptr<FilterSpecObject>& filter) const {
    standin::SubObjectList selected;
    standin::ForEachSelected(*this, filter.get(),
                             [&](const SubObjectId& id, const JsonValue& values) {
                                 selected.push_back(standin::HandOut(*this, id, values));
                             });
    return selected;
}

void ConfigStoreObject::DeleteSubObject(const SubObjectId& id) {
    EngineObject& state = EngineState::Of(*this);
    JsonValue* subObjects = state.SubObjects(false);
    JsonValue* instances = standin::MemberOf(subObjects, id.key);
    if (instances == nullptr || !instances->EraseMember(standin::NameRef(id.instanceId))) return;
    if (instances->ObjectEmpty()) subObjects->EraseMember(standin::NameRef(id.key));
    state.MarkChanged(*subObjects);
    standin::Publish(state);
    // A deleted sub-object keeps its values, but publishes them nowhere.
    const auto known = state.handedOut.find({id.key, id.instanceId});
    if (known == state.handedOut.end()) return;
    const std::shared_ptr<ConfigStoreObject> live = known->second.lock();
    state.handedOut.erase(known);
    if (live != nullptr) EngineState::Of(*live).parent.reset();
}

void ConfigStoreObject::DeleteSubObjectInstances(const std::shared_ptr<FilterSpecObject>& filter) {
    std::vector<SubObjectId> selected;
    standin::ForEachSelected(*this, filter.get(), [&](const SubObjectId& id, const JsonValue&) {
        selected.push_back(id);
    });
    for (const SubObjectId& id : selected) DeleteSubObject(id);
}

namespace {

auto FilterOf(std::vector<std::shared_ptr<FilterSpecObject>>& filters, const SubObjectId& id) {
    return std::find_if(filters.begin(), filters.end(), [&](const auto& filter) {
        return filter->objectId.key == id.key && filter->objectId.instanceId == id.instanceId;
    });
}

}  // namespace

std::shared_ptr<FilterSpecObject> FilterSpecObject::CreateSubObjectFilter(const SubObjectId& id) {
    standin::CheckSubObjectId(id);
    auto& filters = EngineState::Of(*this).subFilters;
    if (FilterOf(filters, id) != filters.end()) {
        Fail(ERR_FILTER_SPEC_EXISTS, {}, standin::SubObjectName(id));
    }
    auto filter = std::make_shared<FilterSpecObject>(
        ConfigStoreObjectId(id.key, objectId.group, objectId.component, id.instanceId));
    filters.push_back(filter);
    return filter;
}

std::shared_ptr<FilterSpecObject> FilterSpecObject::GetSubObjectFilter(
    const SubObjectId& id) const {
    auto& filters = EngineState::Of(*this).subFilters;
    const auto found = FilterOf(filters, id);
    return found != filters.end() ? *found : nullptr;
}

void FilterSpecObject::DeleteSubObjectFilter(const SubObjectId& id) {
    auto& filters = EngineState::Of(*this).subFilters;
    const auto found = FilterOf(filters, id);
    if (found != filters.end()) filters.erase(found);
}

}  // namespace KivConfigStore
