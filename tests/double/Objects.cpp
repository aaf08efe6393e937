// The double's configuration objects and filter specs: every operation is recorded and
// answers as scripted. Reads deliver a value only with a non-zero status.
#include <cstdlib>
#include <cstring>

#include "Recorder.h"

using namespace KivConfigStore;
using enginedouble::Read;
using enginedouble::detail::AnswerFor;
using enginedouble::detail::Enter;
using enginedouble::detail::Scripted;

namespace KivConfigStore {

struct BaseObject::State {};

BaseObject::BaseObject(const ConfigStoreObjectId& id) : objectId(id), state_(new State) {
    enginedouble::detail::ObjectCreated();
}

BaseObject::~BaseObject() {
    enginedouble::detail::ObjectReleased(*this);
    delete state_;
}

const void* BaseObject::GetJsonDocPtr() const {
    return nullptr;
}
const void* BaseObject::GetValuePtr(const char*) const {
    return nullptr;
}
const void* BaseObject::GetValuePtrDefault(const char*, bool& isDefault) const {
    isDefault = false;
    return nullptr;
}

ReadOnlyObject::ReadOnlyObject(const ConfigStoreObjectId& id) : BaseObject(id) {}
ReadOnlyObject::~ReadOnlyObject() = default;
WritableObject::WritableObject(const ConfigStoreObjectId& id) : ReadOnlyObject(id) {}
WritableObject::~WritableObject() = default;
ConfigStoreObject::ConfigStoreObject(const ConfigStoreObjectId& id) : WritableObject(id) {}
ConfigStoreObject::~ConfigStoreObject() = default;
FilterSpecObject::FilterSpecObject(const ConfigStoreObjectId& id) : WritableObject(id) {}
FilterSpecObject::~FilterSpecObject() = default;

namespace {

template <class T>
int ScriptedRead(const char* operation, const void* target, const char* key, T* value) {
    Enter(operation, target, key);
    const auto answer = AnswerFor<Read<T>>(operation, Read<T>{0, T{}});
    if (answer.status != 0) *value = answer.value;
    return answer.status;
}

}  // namespace

int ReadOnlyObject::GetValue(const char* key, int* value) const {
    return ScriptedRead("GetValue(int*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, unsigned int* value) const {
    return ScriptedRead("GetValue(unsigned int*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, unsigned short* value) const {
    return ScriptedRead("GetValue(unsigned short*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, long* value) const {
    return ScriptedRead("GetValue(long*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, long long* value) const {
    return ScriptedRead("GetValue(long long*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, bool* value) const {
    return ScriptedRead("GetValue(bool*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, double* value) const {
    return ScriptedRead("GetValue(double*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, std::string* value) const {
    return ScriptedRead("GetValue(string*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, std::vector<int>* value) const {
    return ScriptedRead("GetValue(vector<int>*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, std::vector<long long>* value) const {
    return ScriptedRead("GetValue(vector<long long>*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, std::vector<double>* value) const {
    return ScriptedRead("GetValue(vector<double>*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, std::vector<bool>* value) const {
    return ScriptedRead("GetValue(vector<bool>*)", this, key, value);
}
int ReadOnlyObject::GetValue(const char* key, std::vector<std::string>* value) const {
    return ScriptedRead("GetValue(vector<string>*)", this, key, value);
}

// The scripted bytes are handed out in a malloc() buffer, as the engine does.
int ReadOnlyObject::GetValueBinary(const char* key, unsigned char** data,
                                   unsigned long* size) const {
    std::string bytes;
    const int status = ScriptedRead("GetValueBinary", this, key, &bytes);
    if (status != 0) {
        *data = static_cast<unsigned char*>(std::malloc(bytes.size() + 1));
        std::memcpy(*data, bytes.data(), bytes.size());
        *size = bytes.size();
    }
    return status;
}

void WritableObject::SetValue(const char* key, int value) {
    Enter("SetValue(int)", this, key, value);
}
void WritableObject::SetValue(const char* key, unsigned int value) {
    Enter("SetValue(unsigned int)", this, key, value);
}
void WritableObject::SetValue(const char* key, unsigned short value) {
    Enter("SetValue(unsigned short)", this, key, value);
}
void WritableObject::SetValue(const char* key, long value) {
    Enter("SetValue(long)", this, key, value);
}
void WritableObject::SetValue(const char* key, long long value) {
    Enter("SetValue(long long)", this, key, value);
}
void WritableObject::SetValue(const char* key, bool value) {
    Enter("SetValue(bool)", this, key, value);
}
void WritableObject::SetValue(const char* key, double value) {
    Enter("SetValue(double)", this, key, value);
}
void WritableObject::SetValue(const char* key, float value) {
    Enter("SetValue(float)", this, key, value);
}
void WritableObject::SetValue(const char* key, const char* value) {
    Enter("SetValue(const char*)", this, key, value);
}
void WritableObject::AppendValue(const char* key, int value) {
    Enter("AppendValue(int)", this, key, value);
}
void WritableObject::AppendValue(const char* key, long long value) {
    Enter("AppendValue(long long)", this, key, value);
}
void WritableObject::AppendValue(const char* key, double value) {
    Enter("AppendValue(double)", this, key, value);
}
void WritableObject::AppendValue(const char* key, bool value) {
    Enter("AppendValue(bool)", this, key, value);
}
void WritableObject::AppendValue(const char* key, const std::string& value) {
    Enter("AppendValue(string)", this, key, value);
}
void WritableObject::SetValueBinary(const char* key, const unsigned char* data,
                                    unsigned long size) {
    const std::string bytes =
        data == nullptr ? "(null)" : std::string(reinterpret_cast<const char*>(data), size);
    Enter("SetValueBinary", this, key, bytes, size);
}
void WritableObject::SetValueEmptyList(const char* key) {
    Enter("SetValueEmptyList", this, key);
}
void WritableObject::Remove(const char* key) {
    Enter("Remove", this, key);
}

std::string ConfigStoreObject::GetVersion() const {
    Enter("GetVersion", this);
    return AnswerFor<std::string>("GetVersion", "1.0");
}

// Unscripted, a created sub-object is a new object with the sub-object's key and instance id.
std::shared_ptr<ConfigStoreObject> ConfigStoreObject::CreateSubObject(const SubObjectId& id) {
    Enter("CreateSubObject", this, id);
    const auto* answer = Scripted<std::shared_ptr<ConfigStoreObject>>("CreateSubObject");
    return answer != nullptr ? *answer : enginedouble::MakeObject(id.key, id.instanceId);
}

std::shared_ptr<ConfigStoreObject> ConfigStoreObject::GetSubObject(const SubObjectId& id) const {
    Enter("GetSubObject", this, id);
    return AnswerFor<std::shared_ptr<ConfigStoreObject>>("GetSubObject", nullptr);
}

ObjectList ConfigStoreObject::GetSubObjectInstances(
    const std::shared_ptr<FilterSpecObject>& filter) const {
    Enter("GetSubObjectInstances", this, filter);
    return AnswerFor<ObjectList>("GetSubObjectInstances", {});
}

void ConfigStoreObject::DeleteSubObject(const SubObjectId& id) {
    Enter("DeleteSubObject", this, id);
}

void ConfigStoreObject::DeleteSubObjectInstances(const std::shared_ptr<FilterSpecObject>& filter) {
    Enter("DeleteSubObjectInstances", this, filter);
}

std::shared_ptr<FilterSpecObject> FilterSpecObject::CreateSubObjectFilter(const SubObjectId& id) {
    Enter("CreateSubObjectFilter", this, id);
    const auto* answer = Scripted<std::shared_ptr<FilterSpecObject>>("CreateSubObjectFilter");
    if (answer != nullptr) return *answer;
    return std::make_shared<FilterSpecObject>(
        ConfigStoreObjectId(id.key, kEmptyString, kEmptyString, id.instanceId));
}

std::shared_ptr<FilterSpecObject> FilterSpecObject::GetSubObjectFilter(
    const SubObjectId& id) const {
    Enter("GetSubObjectFilter", this, id);
    return AnswerFor<std::shared_ptr<FilterSpecObject>>("GetSubObjectFilter", nullptr);
}

void FilterSpecObject::DeleteSubObjectFilter(const SubObjectId& id) {
    Enter("DeleteSubObjectFilter", this, id);
}

}  // namespace KivConfigStore
