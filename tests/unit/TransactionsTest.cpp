// Transactions: each call reaches the store once; only store failures are translated.
#include <functional>
#include <stdexcept>

#include "StoreFixture.h"

namespace {

using namespace KivConfigStore;

struct Transaction {
    const char* name;
    const char* operation;
    const char* storeTag;  // the tag of its missing-store line
    int (*call)(ConfigStoreStruct*);
};

const Transaction kTransactions[] = {
    {"BeginTransaction", "ConfigStore::BeginTransaction", "BeginTransaction", BeginTransaction},
    {"CommitTransaction", "ConfigStore::CommitTransaction", "TransactionInternal",
     CommitTransaction},
    {"CancelTransaction", "ConfigStore::CancelTransaction", "TransactionInternal",
     CancelTransaction},
};

void PrintTo(const Transaction& transaction, std::ostream* out) {
    *out << transaction.name;
}

class Transactions : public StoreFixture, public ::testing::WithParamInterface<Transaction> {};

TEST_P(Transactions, ReachTheStoreOncePerCall) {
    const Transaction& transaction = GetParam();
    EXPECT_EQ(transaction.call(store_), CS_C_OK);
    EXPECT_EQ(transaction.call(store_), CS_C_OK);
    ASSERT_EQ(enginedouble::Calls().size(), 2u);
    for (const auto& call : enginedouble::Calls()) {
        EXPECT_EQ(call.operation, transaction.operation);
        EXPECT_EQ(call.target, store_->engineStore.get());
    }
    EXPECT_EQ(transaction.call(nullptr), CS_C_INVALID_ARGUMENT);
    ExpectLog({{"%s: ConfigStoreCPtr not provided", {transaction.storeTag}}});
}

TEST_P(Transactions, TranslateStoreFailuresUnderTheirOwnName) {
    const Transaction& transaction = GetParam();
    enginedouble::Throw(transaction.operation, ValidationException("locked"));
    EXPECT_EQ(transaction.call(store_), CS_C_STORE_ERROR);
    enginedouble::Throw(transaction.operation, std::runtime_error("lost"));
    EXPECT_EQ(transaction.call(store_), CS_C_INTERNAL_ERROR);
    ExpectLog({{"%s: %s", {transaction.name, "locked"}}, {"%s: %s", {transaction.name, "lost"}}});
}

INSTANTIATE_TEST_SUITE_P(All, Transactions, ::testing::ValuesIn(kTransactions),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
