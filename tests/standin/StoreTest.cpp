// A namespace's store on disk: where its files go, transactions and threads on the one store of
// a namespace. The reliability tests hold the files it refuses.
#include <gtest/gtest.h>
#include <kivconfigstore/ConfigStore.h>
#include <kivconfigstore/ErrorCodes.h>
#include <sys/stat.h>

#include <filesystem>
#include <numeric>
#include <thread>

#include "Files.h"
#include "ObjectState.h"
#include "StandinTest.h"

namespace {

namespace fs = std::filesystem;
using namespace KivConfigStore;
using namespace standin_test;

TEST(StoreFiles, NamespacesAreFileNamesInDirectoriesOfTheOwnerOnly) {
    const std::string refused[] = {"", ".x", "a/b", "a b", "\xc3\xa9", std::string(65, 'a')};
    for (const std::string& name : refused) {
        SCOPED_TRACE(name);
        EXPECT_EQ(CodeOf([&] { standin::FilesOf(name); }), ERR_DB_OPEN_FAILED);
    }
    const standin::StoreFiles files = standin::FilesOf(std::string(64, 'a'));
    standin::MakeDirectoryOf(files.runtimeDatabase);  // the store makes it as it opens
    const fs::path& root = TestDirectory();
    for (const fs::path& directory : {root / "state", root / "state" / "nested", root / "run"}) {
        struct stat status {};
        ASSERT_EQ(stat(directory.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0700u) << directory;
    }
}

class Store : public ::testing::Test {
protected:
    std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore(TestName());
};

// Two objects fetched at once: each Update stores only what its own object changed. (The
// integration tests refuse a commit or second begin without their transaction.)
TEST_F(Store, UpdatesStoreOnlyWhatChangedSinceTheFetch) {
    EXPECT_EQ(CodeOf([&] { store_->CancelTransaction(); }), ERR_TRANSACTION_CANCEL_FAILED);
    const ConfigStoreObjectId id("key", "group", "component");
    store_->Set(CreateObject(id, R"({"a":1,"b":2})"), INTERNAL);
    const auto first = store_->Get(id), second = store_->Get(id);
    first->SetValue("a", 10);
    store_->Update(first, INTERNAL);
    second->SetValue("b", 20);
    store_->Update(second, INTERNAL);
    EXPECT_EQ(standin::ToText(EngineState::Of(*store_->Get(id)).values), R"({"a":10,"b":20})");
}

TEST_F(Store, ThreadsShareTheStoreAndKeepEveryWrite) {
    std::vector<int> expected(25);
    std::iota(expected.begin(), expected.end(), 0);
    const std::string keys[] = {"0", "1", "2", "3"};
    std::vector<std::thread> threads;
    for (const std::string& key : keys) {
        threads.emplace_back([&, nameSpace = TestName()] {
            const auto store = ConfigStore::GetStore(nameSpace);
            EXPECT_EQ(store, store_);
            auto object = CreateObject({key, "group", "component", ""}, "");
            for (const int i : expected) {
                object->AppendValue("writes", i);
                i % 2 == 0 ? store->Set(object, EXTERNAL) : store->Update(object, INTERNAL);
                object = store->Get(object->objectId);
            }
        });
    }
    for (std::size_t i = 0; i < threads.size(); ++i) {
        threads[i].join();
        std::vector<int> writes;
        EXPECT_EQ(store_->Get({keys[i], "group", "component", ""})->GetValue("writes", &writes), 1);
        EXPECT_EQ(writes, expected) << "key " << keys[i];
    }
}

}  // namespace
