// Transactions: each call reaches the store once; only store failures are translated.
#include "DoubleTest.h"

namespace {

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

class Transactions : public HandleTest, public ::testing::WithParamInterface<Transaction> {};

TEST_P(Transactions, ReachTheStoreOncePerCallAndTranslateStoreFailuresUnderTheirOwnName) {
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
    ExpectTranslations(
        transaction.operation, transaction.name, [&] { return transaction.call(store_); },
        kStoreFailures);
}

INSTANTIATE_TEST_SUITE_P(All, Transactions, ::testing::ValuesIn(kTransactions),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
