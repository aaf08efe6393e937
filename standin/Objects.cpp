// The object classes of the engine interface, on the values of Values.h. Their sub-object
// operations are in SubObjects.cpp; a sub-object publishes every change made here to its parent.
#include <kivconfigstore/Objects.h>

#include <cstring>

#include "Errors.h"
#include "ObjectState.h"
#include "SubObjects.h"

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
    auto& state = EngineState::Of(*this);
    state.Write(key, standin::JsonValue(value));
    standin::Publish(state);
}
void WritableObject::SetValue(const char* key, unsigned int value) {
    auto& state = EngineState::Of(*this);
    state.Write(key, standin::JsonValue(value));
    standin::Publish(state);
}
void WritableObject::SetValue(const char* key, unsigned short value) {
    auto& state = EngineState::Of(*this);
    state.Write(key, standin::JsonValue(static_cast<unsigned>(value)));
    standin::Publish(state);
}
void WritableObject::SetValue(const char* key, long value) {
    auto& state = EngineState::Of(*this);
    state.Write(key, standin::JsonValue(static_cast<int64_t>(value)));
    standin::Publish(state);
}
void WritableObject::SetValue(const char* key, long long value) {
    auto& state = EngineState::Of(*this);
    state.Write(key, standin::JsonValue(static_cast<int64_t>(value)));
    standin::Publish(state);
}
void WritableObject::SetValue(const char* key, bool value) {
    auto& state = EngineState::Of(*this);
    state.Write(key, standin::JsonValue(value));
    standin::Publish(state);
}
void WritableObject::SetValue(const char* key, double value) {
    auto& state = EngineState::Of(*this);
    state.Write(key, standin::NumberValue(key, value));
    standin::Publish(state);
}
// The float's own value, not the nearest decimal: 0.1f reads back as 0.10000000149011612.
void WritableObject::SetValue(const char* key, float value) {
    auto& state = EngineState::Of(*this);
    state.Write(key, standin::NumberValue(key, static_cast<double>(value)));
    standin::Publish(state);
}
void WritableObject::SetValue(const char* key, const char* value) {
    auto& state = EngineState::Of(*this);
    state.Write(key, standin::TextValue(key, value, value == nullptr ? 0 : std::strlen(value)));
    standin::Publish(state);
}

void WritableObject::AppendValue(const char* key, int value) {
    auto& state = EngineState::Of(*this);
    state.Append(key, value);
    standin::Publish(state);
}
void WritableObject::AppendValue(const char* key, long long value) {
    auto& state = EngineState::Of(*this);
    state.Append(key, value);
    standin::Publish(state);
}
void WritableObject::AppendValue(const char* key, double value) {
    auto& state = EngineState::Of(*this);
    state.Append(key, value);
    standin::Publish(state);
}
void WritableObject::AppendValue(const char* key, bool value) {
    auto& state = EngineState::Of(*this);
    state.Append(key, value);
    standin::Publish(state);
}
void WritableObject::AppendValue(const char* key, const std::string& value) {
    auto& state = EngineState::Of(*this);
    state.Append<const std::string&>(key, value);
    standin::Publish(state);
}
void WritableObject::SetValueBinary(const char* key, const unsigned char* data,
                                    unsigned long size) {
    auto& state = EngineState::Of(*this);
    state.WriteBinary(key, data, size);
    standin::Publish(state);
}
void WritableObject::SetValueEmptyList(const char* key) {
    auto& state = EngineState::Of(*this);
    state.Write(key, standin::JsonValue(rapidjson::kArrayType));
    standin::Publish(state);
}
void WritableObject::Remove(const char* key) {
    auto& state = EngineState::Of(*this);
    state.Remove(key);
    standin::Publish(state);
}

std::string ConfigStoreObject::GetVersion() const {
    return std::to_string(EngineState::Of(*this).version);
}

}  // namespace KivConfigStore
