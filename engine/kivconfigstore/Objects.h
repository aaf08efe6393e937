// Configuration objects and filter specs.
//
// The engine defines every constructor and destructor out of line and keeps its own data behind
// one private pointer, so the layout below is the whole of what a client compiles against.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "ObjectIds.h"

namespace KivConfigStore {

class BaseObject : public std::enable_shared_from_this<BaseObject> {
public:
    // The engine's raw views of the object's document; opaque to clients.
    virtual const void* GetJsonDocPtr() const;
    virtual const void* GetValuePtr(const char* key) const;
    virtual const void* GetValuePtrDefault(const char* key, bool& isDefault) const;

    BaseObject(const BaseObject&) = delete;
    BaseObject& operator=(const BaseObject&) = delete;

    ConfigStoreObjectId objectId;

protected:
    explicit BaseObject(const ConfigStoreObjectId& id);
    // Not virtual: objects are destroyed only by the shared_ptr that owns them.
    ~BaseObject();

private:
    friend struct EngineState;  // the engine's door to its own data
    struct State;
    State* state_;
};

// Typed reads. Each returns 0 when the key holds no value, 1 when the stored value was
// delivered, and another value when the engine delivered its default.
class ReadOnlyObject : public BaseObject {
public:
    int GetValue(const char* key, int* value) const;
    int GetValue(const char* key, unsigned int* value) const;
    int GetValue(const char* key, unsigned short* value) const;
    int GetValue(const char* key, long* value) const;
    int GetValue(const char* key, long long* value) const;
    int GetValue(const char* key, bool* value) const;
    int GetValue(const char* key, double* value) const;
    int GetValue(const char* key, std::string* value) const;
    int GetValue(const char* key, std::vector<int>* value) const;
    int GetValue(const char* key, std::vector<long long>* value) const;
    int GetValue(const char* key, std::vector<double>* value) const;
    int GetValue(const char* key, std::vector<bool>* value) const;
    int GetValue(const char* key, std::vector<std::string>* value) const;
    // The engine sets *data to a buffer of *size bytes that the caller releases with free().
    int GetValueBinary(const char* key, unsigned char** data, unsigned long* size) const;

protected:
    explicit ReadOnlyObject(const ConfigStoreObjectId& id);
    ~ReadOnlyObject();
};

// Writes, appends and removals; they change the object in memory only.
class WritableObject : public ReadOnlyObject {
public:
    explicit WritableObject(const ConfigStoreObjectId& id);

    void SetValue(const char* key, int value);
    void SetValue(const char* key, unsigned int value);
    void SetValue(const char* key, unsigned short value);
    void SetValue(const char* key, long value);
    void SetValue(const char* key, long long value);
    void SetValue(const char* key, bool value);
    void SetValue(const char* key, double value);
    void SetValue(const char* key, float value);
    void SetValue(const char* key, const char* value);
    void AppendValue(const char* key, int value);
    void AppendValue(const char* key, long long value);
    void AppendValue(const char* key, double value);
    void AppendValue(const char* key, bool value);
    void AppendValue(const char* key, const std::string& value);
    void SetValueBinary(const char* key, const unsigned char* data, unsigned long size);
    void SetValueEmptyList(const char* key);
    void Remove(const char* key);

protected:
    ~WritableObject();
};

class FilterSpecObject;

// A configuration object held by the store. The two object classes are leaves: objects are
// destroyed only as what they are, by the shared_ptr that owns them.
class ConfigStoreObject final : public WritableObject {
public:
    explicit ConfigStoreObject(const ConfigStoreObjectId& id);
    ~ConfigStoreObject();

    std::string GetVersion() const;
    std::shared_ptr<ConfigStoreObject> CreateSubObject(const SubObjectId& id);
    std::shared_ptr<ConfigStoreObject> GetSubObject(const SubObjectId& id) const;
    std::vector<std::shared_ptr<ConfigStoreObject>> GetSubObjectInstances(
        const std::shared_ptr<FilterSpecObject>& filter) const;
    void DeleteSubObject(const SubObjectId& id);
    void DeleteSubObjectInstances(const std::shared_ptr<FilterSpecObject>& filter);
};

// An object whose values describe which configuration objects to select.
class FilterSpecObject final : public WritableObject {
public:
    explicit FilterSpecObject(const ConfigStoreObjectId& id);
    ~FilterSpecObject();

    std::shared_ptr<FilterSpecObject> CreateSubObjectFilter(const SubObjectId& id);
    std::shared_ptr<FilterSpecObject> GetSubObjectFilter(const SubObjectId& id) const;
    void DeleteSubObjectFilter(const SubObjectId& id);
};

#if defined(__LP64__)
// Clients allocate filter specs themselves, so the layout is part of the contract.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(BaseObject, objectId) == 24, "objectId follows the vptr and weak self");
#pragma GCC diagnostic pop
static_assert(sizeof(ConfigStoreObjectId) == 128, "four std::string fields");
static_assert(sizeof(BaseObject) == 160, "objectId and one engine pointer");
static_assert(sizeof(FilterSpecObject) == 160, "filter specs add no data");
static_assert(sizeof(ConfigStoreObject) == 160, "configuration objects add no data");
#endif

}  // namespace KivConfigStore
