// A namespace's store: one SQLite connection to its database, with the runtime database of its
// cached data attached, shared by every user of the namespace in the process.
#pragma once

#include <kivconfigstore/ConfigStore.h>

#include <memory>
#include <mutex>
#include <string>

#include "Classes.h"
#include "Files.h"
#include "Sql.h"
#include "Values.h"

namespace standin {

using KivConfigStore::ConfigStoreObject;
using KivConfigStore::ConfigStoreObjectId;
using KivConfigStore::FilterSpecObject;
using KivConfigStore::ObjectList;
using KivConfigStore::USERDATA_CONTEXT;

class Store final : public KivConfigStore::ConfigStore {
public:
    // The process's store of `nameSpace`, opened on first use.
    static std::shared_ptr<Store> Shared(const std::string& nameSpace);

    explicit Store(const StoreFiles& files);
    ~Store() override;

    std::shared_ptr<ConfigStoreObject> Get(const ConfigStoreObjectId& id) override;
    std::shared_ptr<ConfigStoreObject> GetDefaultConfig(const ConfigStoreObjectId& id) override;
    ObjectList GetDefaultConfigInstances(const std::shared_ptr<FilterSpecObject>& filter) override;
    void Set(std::shared_ptr<ConfigStoreObject> object, const USERDATA_CONTEXT& context) override;
    void SetUserData(std::shared_ptr<ConfigStoreObject> object,
                     const USERDATA_CONTEXT& context) override;
    void SetVitalData(std::shared_ptr<ConfigStoreObject> object) override;
    void SetCachedData(std::shared_ptr<ConfigStoreObject> object) override;
    void Update(std::shared_ptr<ConfigStoreObject> object,
                const USERDATA_CONTEXT& context) override;
    void Delete(const ConfigStoreObjectId& id) override;
    void DeleteInstances(const std::shared_ptr<FilterSpecObject>& filter) override;
    ObjectList GetInstances(const std::shared_ptr<FilterSpecObject>& filter) override;
    void SetInstances(ObjectList objects, const USERDATA_CONTEXT& context) override;
    void SetUserDataInstances(ObjectList objects, const USERDATA_CONTEXT& context) override;
    void SetCachedDataInstances(ObjectList objects) override;
    void SetVitalDataInstances(ObjectList objects) override;
    void BeginTransaction() override;
    void CommitTransaction() override;
    void CancelTransaction() override;

    // The desired user configuration recorded for `id`, or empty.
    std::shared_ptr<ConfigStoreObject> GetDesired(const ConfigStoreObjectId& id);
    // While set, EXTERNAL writes to `id` are refused.
    void SetBootStatus(const ConfigStoreObjectId& id, bool status);

private:
    class WriteScope;

    void Write(ConfigStoreObject* object, WriteKind kind, const USERDATA_CONTEXT* context);
    // The identity's stored documents; `version` rises to the latest of its durable classes.
    StoredClasses LoadStored(const ConfigStoreObjectId& id, long long* version);
    long long NextVersion();
    // The open transaction has counted its change already: its writes carry that version.
    bool VersionKnown() const { return inTransaction_ && transactionVersion_ != 0; }

    std::mutex mutex_;
    StoreFiles files_;
    Database db_;
    bool inTransaction_ = false;
    long long transactionVersion_ = 0;  // the version the open transaction's writes carry
};

// Throws InvalidArgumentException unless key, group and component are given and every field
// is valid UTF-8.
void CheckIdentity(const ConfigStoreObjectId& id);

[[noreturn]] void NotSupportedYet(const char* operation);

}  // namespace standin
