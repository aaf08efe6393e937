// Transactions of the engine store; the library keeps no transaction state of its own.
#include "configstorec.h"
#include "core/Families.h"
#include "core/Handles.h"

namespace engine = KivConfigStore;
using binding::Guard;
using binding::RejectArgument;
namespace message = binding::message;

ConfigStoreCStatus BeginTransaction(ConfigStoreStruct* store) {
    constexpr const char* kCaller = "BeginTransaction";
    return Guard<binding::StoreLevel>(kCaller, [&]() -> int {
        if (store == nullptr) return RejectArgument(message::kStoreMissing, kCaller);
        store->engineStore->BeginTransaction();
        return CS_C_OK;
    });
}

// The missing-store line carries this worker's own name; engine failures the caller's.
ConfigStoreCStatus TransactionInternal(ConfigStoreStruct* store,
                                       void (engine::ConfigStore::*operation)(), const char* name) {
    return Guard<binding::StoreLevel>(name, [&]() -> int {
        if (store == nullptr) return RejectArgument(message::kStoreMissing, "TransactionInternal");
        ((*store->engineStore).*operation)();
        return CS_C_OK;
    });
}

ConfigStoreCStatus CommitTransaction(ConfigStoreStruct* store) {
    return TransactionInternal(store, &engine::ConfigStore::CommitTransaction, "CommitTransaction");
}

ConfigStoreCStatus CancelTransaction(ConfigStoreStruct* store) {
    return TransactionInternal(store, &engine::ConfigStore::CancelTransaction, "CancelTransaction");
}
