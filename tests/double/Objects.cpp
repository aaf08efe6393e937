// The double's configuration objects and filter specs: every operation is recorded and
// answers as scripted. Reads deliver a value only with a non-zero status.
#include <cstdlib>
#include <cstring>
#include <new>

#include "Recorder.h"

using namespace KivConfigStore;
using enginedouble::Read;
using namespace enginedouble::detail;

namespace KivConfigStore {

struct BaseObject::State {};

BaseObject::BaseObject(const ConfigStoreObjectId& id) : objectId(id), state_(new State) {
    ++TheState().liveObjects;
}

BaseObject::~BaseObject() {
    --TheState().liveObjects;
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

namespace {

template <class T>
int ScriptedRead(const char* operation, T* value) {
    const auto answer = Respond(operation, Read<T>{0, T{}});
    if (answer.status != 0) *value = answer.value;
    return answer.status;
}

}  // namespace

// Each typed read, write and append is recorded under its own operation name.
#define READ(Type, name)                                           \
    int ReadOnlyObject::GetValue(const char*, Type* value) const { \
        return ScriptedRead("GetValue(" name "*)", value);         \
    }
#define WRITE(Verb, Type)                          \
    void WritableObject::Verb(const char*, Type) { \
        Enter(#Verb "(" #Type ")");                \
    }

READ(int, "int")
READ(unsigned int, "unsigned int")
READ(unsigned short, "unsigned short")
READ(long, "long")
READ(long long, "long long")
READ(bool, "bool")
READ(double, "double")
READ(std::string, "string")
READ(std::vector<int>, "vector<int>")
READ(std::vector<long long>, "vector<long long>")
READ(std::vector<double>, "vector<double>")
READ(std::vector<bool>, "vector<bool>")
READ(std::vector<std::string>, "vector<string>")
WRITE(SetValue, int)
WRITE(SetValue, unsigned int)
WRITE(SetValue, unsigned short)
WRITE(SetValue, long)
WRITE(SetValue, long long)
WRITE(SetValue, bool)
WRITE(SetValue, double)
WRITE(SetValue, float)
WRITE(SetValue, const char*)
WRITE(AppendValue, int)
WRITE(AppendValue, long long)
WRITE(AppendValue, double)
WRITE(AppendValue, bool)

void WritableObject::AppendValue(const char*, const std::string&) {
    Enter("AppendValue(string)");
}

// The scripted bytes are handed out in a malloc() buffer, as the engine does.
int ReadOnlyObject::GetValueBinary(const char*, unsigned char** data, unsigned long* size) const {
    std::string bytes;
    const int status = ScriptedRead("GetValueBinary", &bytes);
    if (status != 0) {
        auto* buffer = static_cast<unsigned char*>(std::malloc(bytes.size() + 1));
        if (buffer == nullptr) throw std::bad_alloc();
        std::memcpy(buffer, bytes.data(), bytes.size());
        *data = buffer;
        *size = bytes.size();
    }
    return status;
}

void WritableObject::SetValueBinary(const char*, const unsigned char*, unsigned long) {
    Enter("SetValueBinary");
}
void WritableObject::SetValueEmptyList(const char*) {
    Enter("SetValueEmptyList");
}
void WritableObject::Remove(const char*) {
    Enter("Remove");
}

std::string ConfigStoreObject::GetVersion() const {
    return Respond<std::string>("GetVersion", "1.0");
}

// The binding's cache of sub-objects is tested on the stand-in.
std::shared_ptr<ConfigStoreObject> ConfigStoreObject::CreateSubObject(const SubObjectId&) {
    return Respond<std::shared_ptr<ConfigStoreObject>>("CreateSubObject", nullptr);
}

std::shared_ptr<ConfigStoreObject> ConfigStoreObject::GetSubObject(const SubObjectId&) const {
    return Respond<std::shared_ptr<ConfigStoreObject>>("GetSubObject", nullptr);
}

ObjectList ConfigStoreObject::GetSubObjectInstances(
    const std::shared_ptr<FilterSpecObject>&) const {
    return Respond<ObjectList>("GetSubObjectInstances", {});
}

void ConfigStoreObject::DeleteSubObject(const SubObjectId&) {
    Enter("DeleteSubObject");
}

void ConfigStoreObject::DeleteSubObjectInstances(const std::shared_ptr<FilterSpecObject>&) {
    Enter("DeleteSubObjectInstances");
}

std::shared_ptr<FilterSpecObject> FilterSpecObject::CreateSubObjectFilter(const SubObjectId&) {
    return Respond<std::shared_ptr<FilterSpecObject>>("CreateSubObjectFilter", nullptr);
}

std::shared_ptr<FilterSpecObject> FilterSpecObject::GetSubObjectFilter(const SubObjectId&) const {
    return Respond<std::shared_ptr<FilterSpecObject>>("GetSubObjectFilter", nullptr);
}

void FilterSpecObject::DeleteSubObjectFilter(const SubObjectId&) {
    Enter("DeleteSubObjectFilter");
}

}  // namespace KivConfigStore
