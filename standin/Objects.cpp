// The object classes of the engine interface, on the values of Values.h. Sub-objects and
// sub-object filters come with the next part of the engine.
#include <kivconfigstore/Objects.h>

#include <cstring>

#include "Errors.h"
#include "ObjectState.h"

namespace KivConfigStore {

struct BaseObject::State : standin::EngineObject {};

standin::EngineObject& EngineState::Of(const BaseObject& object) {
    return *object.state_;
}

BaseObject::BaseObject(const ConfigStoreObjectId& id) : objectId(id), state_(new State) {}
BaseObject::~BaseObject() {
    delete state_;
}

const void* BaseObject::GetJsonDocPtr() const {
    return &state_->values;
}
const void* BaseObject::GetValuePtr(const char* key) const {
    return state_->Find(key);
}
const void* BaseObject::GetValuePtrDefault(const char* key, bool& isDefault) const {
    const standin::JsonValue* value = state_->Find(key);
    isDefault = value == nullptr && (value = state_->FindDefault(key)) != nullptr;
    return value;
}

#define STANDIN_READ(Type)                                             \
    int ReadOnlyObject::GetValue(const char* key, Type* value) const { \
        return EngineState::Of(*this).Read(key, value);                \
    }
STANDIN_READ(int)
STANDIN_READ(unsigned int)
STANDIN_READ(unsigned short)
STANDIN_READ(long)
STANDIN_READ(long long)
STANDIN_READ(bool)
STANDIN_READ(double)
STANDIN_READ(std::string)
STANDIN_READ(std::vector<int>)
STANDIN_READ(std::vector<long long>)
STANDIN_READ(std::vector<double>)
STANDIN_READ(std::vector<bool>)
STANDIN_READ(std::vector<std::string>)
#undef STANDIN_READ

int ReadOnlyObject::GetValueBinary(const char* key, unsigned char** data,
                                   unsigned long* size) const {
    return EngineState::Of(*this).ReadBinary(key, data, size);
}

void WritableObject::SetValue(const char* key, int value) {
    EngineState::Of(*this).Write(key, standin::JsonValue(value));
}
void WritableObject::SetValue(const char* key, unsigned int value) {
    EngineState::Of(*this).Write(key, standin::JsonValue(value));
}
void WritableObject::SetValue(const char* key, unsigned short value) {
    EngineState::Of(*this).Write(key, standin::JsonValue(static_cast<unsigned>(value)));
}
void WritableObject::SetValue(const char* key, long value) {
    EngineState::Of(*this).Write(key, standin::JsonValue(static_cast<int64_t>(value)));
}
void WritableObject::SetValue(const char* key, long long value) {
    EngineState::Of(*this).Write(key, standin::JsonValue(static_cast<int64_t>(value)));
}
void WritableObject::SetValue(const char* key, bool value) {
    EngineState::Of(*this).Write(key, standin::JsonValue(value));
}
void WritableObject::SetValue(const char* key, double value) {
    EngineState::Of(*this).Write(key, standin::NumberValue(key, value));
}
// The float's own value, not the nearest decimal: 0.1f reads back as 0.10000000149011612.
void WritableObject::SetValue(const char* key, float value) {
    EngineState::Of(*this).Write(key, standin::NumberValue(key, static_cast<double>(value)));
}
void WritableObject::SetValue(const char* key, const char* value) {
    EngineState::Of(*this).Write(
        key, standin::TextValue(key, value, value == nullptr ? 0 : std::strlen(value)));
}

void WritableObject::AppendValue(const char* key, int value) {
    EngineState::Of(*this).Append(key, value);
}
void WritableObject::AppendValue(const char* key, long long value) {
    EngineState::Of(*this).Append(key, value);
}
void WritableObject::AppendValue(const char* key, double value) {
    EngineState::Of(*this).Append(key, value);
}
void WritableObject::AppendValue(const char* key, bool value) {
    EngineState::Of(*this).Append(key, value);
}
void WritableObject::AppendValue(const char* key, const std::string& value) {
    EngineState::Of(*this).Append<const std::string&>(key, value);
}
void WritableObject::SetValueBinary(const char* key, const unsigned char* data,
                                    unsigned long size) {
    EngineState::Of(*this).WriteBinary(key, data, size);
}
void WritableObject::SetValueEmptyList(const char* key) {
    EngineState::Of(*this).Write(key, standin::JsonValue(rapidjson::kArrayType));
}
void WritableObject::Remove(const char* key) {
    EngineState::Of(*this).Remove(key);
}

std::string ConfigStoreObject::GetVersion() const {
    return std::to_string(EngineState::Of(*this).version);
}

// Sub-objects and sub-object filters are not stored yet.
namespace {
[[noreturn]] void NotYet(const char* operation) {
    standin::Fail(ERR_INTERNAL_ERROR, std::string(operation) + " is not supported yet");
}
}  // namespace

std::shared_ptr<ConfigStoreObject> ConfigStoreObject::CreateSubObject(const SubObjectId&) {
    NotYet("CreateSubObject");
}
std::shared_ptr<ConfigStoreObject> ConfigStoreObject::GetSubObject(const SubObjectId&) const {
    NotYet("GetSubObject");
}
std::vector<std::shared_ptr<ConfigStoreObject>> ConfigStoreObject::GetSubObjectInstances(
    const std::shared_ptr<FilterSpecObject>&) const {
    NotYet("GetSubObjectInstances");
}
void ConfigStoreObject::DeleteSubObject(const SubObjectId&) {
    NotYet("DeleteSubObject");
}
void ConfigStoreObject::DeleteSubObjectInstances(const std::shared_ptr<FilterSpecObject>&) {
    NotYet("DeleteSubObjectInstances");
}
std::shared_ptr<FilterSpecObject> FilterSpecObject::CreateSubObjectFilter(const SubObjectId&) {
    NotYet("CreateSubObjectFilter");
}
std::shared_ptr<FilterSpecObject> FilterSpecObject::GetSubObjectFilter(const SubObjectId&) const {
    NotYet("GetSubObjectFilter");
}
void FilterSpecObject::DeleteSubObjectFilter(const SubObjectId&) {
    NotYet("DeleteSubObjectFilter");
}

}  // namespace KivConfigStore
