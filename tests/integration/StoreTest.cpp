// The library on the stand-in engine's store: what is written is read back by a new process
// (store_child read), in every data class and context, through transactions and failures.
#include <kivconfigstore/ConfigStore.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "Integration.h"

namespace {

using namespace integration;
using Engine = KivConfigStore::ConfigStore;
namespace fs = std::filesystem;

fs::path gRoot;  // this process's store directories

// Each test process keeps its store files in directories of its own, made before the first
// store opens and removed at its end.
class StoreDirectories : public ::testing::Environment {
    void SetUp() override {
        std::string path = (fs::temp_directory_path() / "configstorec-integration-XXXXXX");
        ASSERT_NE(mkdtemp(path.data()), nullptr);
        gRoot = path;
        setenv("CONFIGSTORE_DIR", (gRoot / "state").c_str(), 1);
        setenv("CONFIGSTORE_RUNTIME_DIR", (gRoot / "run").c_str(), 1);
        setenv("CONFIGSTORE_LOG", "stderr", 1);
        setenv("CONFIGSTORE_COMPONENTS_DIR", COMPONENTS_DIR, 1);  // the repository's examples
    }
    void TearDown() override { fs::remove_all(gRoot); }
};
const auto* const kDirectories = ::testing::AddGlobalTestEnvironment(new StoreDirectories);

Object Fetch(ConfigStoreStruct* store, const std::string& key, int expected = CS_C_OK) {
    ConfigStoreObjectStruct* object = nullptr;
    EXPECT_EQ(Get(store, key.c_str(), kGroup, kComponent, nullptr, &object), expected) << key;
    return Object(object, DestroyConfigStoreObject);
}

// Each test has a namespace of its own, named as the test, and an object key of the same name.
class StoreTest : public ::testing::Test {
protected:
    const std::string key = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    const std::string& nameSpace = key;
    Store store = Open(nameSpace);
};

// The store writes of single objects and of lists, in each context; `external` ones record the
// desired configuration, `durable` ones count as versions. Update
// merges what changed, Set and SetInstances replace the configuration. The library's list
// workers are called directly too, named as themselves in the log.
TEST_F(StoreTest, EachWriteStoresItsClassAndContext) {
    struct StoreWrite {
        const char* call;
        ConfigStoreCStatus (*write)(ConfigStoreStruct*, ConfigStoreObjectStruct*);
        bool external, durable;
    };
    // clang-format off
#define WRITE(call, external, durable) \
    {#call, [](ConfigStoreStruct* s, ConfigStoreObjectStruct* o) { return call; }, \
     external, durable}
    const StoreWrite writes[] = {
        WRITE(Set(s, o, "EXTERNAL"), true, true),
        WRITE(Set(s, o, "INTERNAL"), false, true),
        WRITE(Update(s, o, "EXTERNAL"), true, true),
        WRITE(SetUserData(s, o, "EXTERNAL"), true, true),
        WRITE(SetVitalData(s, o), false, true),
        WRITE(SetCachedData(s, o), false, false),
        WRITE(SetInstances(s, &o, 1, "EXTERNAL"), true, true),
        WRITE(SetUserDataInstances(s, &o, 1, nullptr), true, true),
        WRITE(SetVitalDataInstances(s, &o, 1), false, true),
        WRITE(SetCachedDataInstances(s, &o, 1), false, false),
        WRITE(SetInstancesCInternalContext(s, &o, 1, &Engine::SetUserDataInstances, "EXTERNAL",
                                           "SetInstancesCInternalContext"), true, true),
        WRITE(SetInstancesCInternal(s, &o, 1, &Engine::SetVitalDataInstances,
                                    "SetInstancesCInternal"), false, true)};
    // clang-format on
#undef WRITE

    const Store global = Open("global");  // where boot status and desired configuration live
    const char* const instance = "i";     // lists hold instances only
    // The boot status of an identity refuses its EXTERNAL writes, not others, until it is
    // cleared (the reliability tests pin the refusal's line).
    const Object booting = Make(key, instance, "{}");
    ASSERT_EQ(SetBootStatus(key.c_str(), kGroup, kComponent, instance, true), CS_C_OK);
    EXPECT_EQ(Set(global.get(), booting.get(), "INTERNAL"), CS_C_OK);
    EXPECT_EQ(Set(global.get(), booting.get(), "EXTERNAL"), CS_C_STORE_ERROR);
    ASSERT_EQ(SetBootStatus(key.c_str(), kGroup, kComponent, instance, false), CS_C_OK);
    EXPECT_EQ(Set(global.get(), booting.get(), "EXTERNAL"), CS_C_OK);
    for (std::size_t row = 0; row < std::size(writes); ++row) {
        const StoreWrite& write = writes[row];
        SCOPED_TRACE(write.call);
        const std::string function(write.call, std::strchr(write.call, '('));
        const std::string rowKey = key + std::to_string(row), n = std::to_string(row);
        const char* const k = rowKey.c_str();
        // Stored before: Set and SetInstances replace it, the other writes leave it.
        ASSERT_EQ(Set(global.get(), Make(k, instance, "{\"old\": 1}").get(), "INTERNAL"), CS_C_OK);
        const bool replaces = function == "Set" || function == "SetInstances";
        const Object object = Make(k, instance, ("{\"n\": " + n + "}").c_str());
        ASSERT_EQ(write.write(global.get(), object.get()), CS_C_OK);
        char* version = nullptr;
        ASSERT_EQ(GetVersion(object.get(), &version), CS_C_OK);
        EXPECT_EQ(std::strcmp(version, "0") != 0, write.durable) << version;
        std::free(version);
        EXPECT_EQ(ReadBack("global", rowKey + "/i", "n old"),
                  "n=" + n + (replaces ? "\nold absent\n" : "\nold=1\n"));

        ConfigStoreObjectStruct* desired = nullptr;
        ASSERT_EQ(GetDesiredUserConfig(k, kGroup, kComponent, instance, &desired),
                  write.external ? CS_C_OK : CS_C_NOT_FOUND);
        EXPECT_EQ(desired ? IntOf(Object(desired, DestroyConfigStoreObject).get(), "n") : n, n);
        ConfigStoreObjectStruct** list = nullptr;
        int count = 0;
        EXPECT_EQ(GetDesiredUserConfigInstances(k, kGroup, kComponent, &list, &count),
                  write.external ? CS_C_OK : CS_C_NOT_FOUND);
        EXPECT_EQ(Listed(list, count, "n"), write.external ? rowKey + "/i:" + n : "");
    }
}

TEST_F(StoreTest, ClassesEndWithTheRuntimeDirectoryOrDelete) {
    const Object object = Make(key, nullptr, "{\"a\": 1}");
    ASSERT_EQ(Set(store.get(), object.get(), "INTERNAL"), CS_C_OK);
    ASSERT_EQ(SetValueInt(object.get(), "cached", 2), CS_C_OK);
    ASSERT_EQ(SetCachedData(store.get(), object.get()), CS_C_OK);
    ASSERT_EQ(SetVitalData(store.get(), Make(key, nullptr, "{\"vital\": 3}").get()), CS_C_OK);
    const std::string values = "a cached vital";
    EXPECT_EQ(ReadBack(nameSpace, key, values), "a=1\ncached=2\nvital=3\n");

    store.reset();
    for (const auto& file : fs::directory_iterator(gRoot / "run")) fs::remove_all(file);
    EXPECT_EQ(ReadBack(nameSpace, key, values), "a=1\ncached absent\nvital=3\n");

    store = Open(nameSpace);
    ASSERT_EQ(SetCachedData(store.get(), object.get()), CS_C_OK);
    for (int twice = 0; twice < 2; ++twice) {
        EXPECT_EQ(Delete(store.get(), key.c_str(), kGroup, kComponent, nullptr), CS_C_OK);
    }
    Fetch(store.get(), key, CS_C_NOT_FOUND);
    EXPECT_EQ(ReadBack(nameSpace, key), "exit 6\n");
}

TEST_F(StoreTest, InstanceIdsAreFreshUuidsThatNameTheirObject) {
    char *id = nullptr, *other = nullptr;
    ASSERT_EQ(GenerateInstanceId(&id), CS_C_OK);
    ASSERT_EQ(GenerateInstanceId(&other), CS_C_OK);
    EXPECT_STRNE(id, other);  // csctl's tests check the form
    const Object object = Make(key, id, R"({"a":1})");
    char *k = nullptr, *component = nullptr, *group = nullptr, *instance = nullptr;
    ASSERT_EQ(GetConfigStoreObjectId(object.get(), &k, &component, &group, &instance), CS_C_OK);
    EXPECT_EQ(std::string(k) + component + group + instance, key + kComponent + kGroup + id);
    for (char* text : {id, other, k, component, group, instance}) std::free(text);
}

TEST_F(StoreTest, TransactionsCommitTogetherOrLeaveNothing) {
    const std::string other = key + "-other";
    ASSERT_EQ(Set(store.get(), Make(key, nullptr, "{\"a\": 0}").get(), nullptr), CS_C_OK);
    for (const std::string end : {"cancel", "release the store", "commit"}) {
        SCOPED_TRACE(end);
        ASSERT_EQ(BeginTransaction(store.get()), CS_C_OK);
        ASSERT_EQ(Set(store.get(), Make(key, nullptr, "{\"a\": 1}").get(), nullptr), CS_C_OK);
        ASSERT_EQ(SetCachedData(store.get(), Make(other, nullptr, "{\"b\": 2}").get()), CS_C_OK);
        EXPECT_EQ(ReadBack(nameSpace, key, "a"), "a=0\n");  // not yet, but here it is
        EXPECT_EQ(IntOf(Fetch(store.get(), key).get(), "a"), "1");
        if (end == "release the store") {
            ExpectLogged([&] { return store.reset(), 0; }, CS_C_OK,
                         "store released with a transaction open, rolled back");
            store = Open(nameSpace);
        } else {
            ASSERT_EQ((end == "commit" ? CommitTransaction : CancelTransaction)(store.get()),
                      CS_C_OK);
        }
        EXPECT_EQ(ReadBack(nameSpace, key, "a"), end == "commit" ? "a=1\n" : "a=0\n");
        EXPECT_EQ(ReadBack(nameSpace, other, "b"), end == "commit" ? "b=2\n" : "exit 6\n");
    }
}

// A transaction belongs to the thread that began it, whichever of its handles of the namespace
// it uses: another thread, with its own store handle, reads only what was committed, and its
// write waits for the transaction's end, not joining it.
TEST_F(StoreTest, ATransactionBelongsToTheThreadThatBeganIt) {
    const std::string other = key + "-other";
    ASSERT_EQ(BeginTransaction(store.get()), CS_C_OK);
    ASSERT_EQ(Set(store.get(), Make(key, nullptr, "{\"a\": 1}").get(), nullptr), CS_C_OK);
    Fetch(Open(nameSpace).get(), key);
    std::atomic<bool> written{false};
    std::thread writer([&] {
        const Store own = Open(nameSpace);
        Fetch(own.get(), key, CS_C_NOT_FOUND);
        EXPECT_EQ(Set(own.get(), Make(other, nullptr, "{\"b\": 2}").get(), nullptr), CS_C_OK);
        written = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(written);
    ASSERT_EQ(CancelTransaction(store.get()), CS_C_OK);
    writer.join();
    Fetch(store.get(), key, CS_C_NOT_FOUND);
    EXPECT_EQ(ReadBack(nameSpace, other, "b"), "b=2\n");
}

// CONFIGSTORE_NAMESPACE names the store of GetStore(NULL), of the name "global" and of the
// functions without a store; a store asked for by another name stays that store.
TEST_F(StoreTest, TheEnvironmentNamesTheDefaultNamespace) {
    setenv("CONFIGSTORE_NAMESPACE", nameSpace.c_str(), 1);
    ConfigStoreStruct* unnamed = nullptr;
    ASSERT_EQ(GetStore(nullptr, &unnamed), CS_C_OK);
    const Store chosen(unnamed, DestroyStore);
    ASSERT_EQ(Set(chosen.get(), Make(key, nullptr, "{\"a\": 1}").get(), nullptr), CS_C_OK);
    Fetch(store.get(), key);
    Fetch(Open("global").get(), key);
    // csctl's tests export the namespace the environment names; one no namespace may have is
    // refused.
    const Filter filter = MakeFilter(key.c_str(), "", "");
    FilterSpecObjectStruct* filters[] = {filter.get()};
    setenv("CONFIGSTORE_NAMESPACE", ".hidden", 1);
    char* refused = nullptr;
    ExpectLogged([&] { return Export(filters, 1, &refused); }, CS_C_STORE_ERROR, "'.hidden'");
    unsetenv("CONFIGSTORE_NAMESPACE");
}

// A failure is a result code with one log line under the caller's name (the unit tests translate
// each engine failure): a caller's control characters are escaped, and a worker logs under the
// name it is given.
TEST_F(StoreTest, EngineFailuresAreResultCodesWithALogLine) {
    ConfigStoreStruct* opened = nullptr;
    ExpectLogged([&] { return GetStore("a\nb", &opened); }, CS_C_STORE_ERROR,
                 "configstore: GetStore: Failed to open database 'a\\nb'");
    ASSERT_EQ(BeginTransaction(store.get()), CS_C_OK);
    ExpectLogged(
        [&] { return TransactionInternal(store.get(), &Engine::BeginTransaction, "Worker"); },
        CS_C_STORE_ERROR,
        "configstore: Worker: Failed to start transaction: a transaction is already open");
    EXPECT_EQ(CancelTransaction(store.get()), CS_C_OK);
    EXPECT_EQ(CancelTransaction(store.get()), CS_C_STORE_ERROR);  // none is open
}

// ConfigStoreCLastError is the calling thread's own: another thread's failure neither shows nor
// erases it, and a failure that logs nothing empties it (ExpectLogged checks it after each call).
// ConfigStoreCStatusName names each code as the header does, and any other value one way.
TEST_F(StoreTest, TheLastErrorIsTheThreadsOwnAndStatusesHaveNames) {
    ConfigStoreObjectStruct* made = nullptr;
    const auto refused = [&] { return Get(nullptr, "k", kGroup, kComponent, nullptr, &made); };
    ExpectLogged(refused, CS_C_INVALID_ARGUMENT, "configstore: Get: ConfigStoreCPtr not provided");
    std::thread([&] {
        EXPECT_STREQ(ConfigStoreCLastError(), "");
        ExpectLogged([&] { return CommitTransaction(store.get()); }, CS_C_STORE_ERROR,
                     "no transaction");
    }).join();
    EXPECT_STREQ(ConfigStoreCLastError(), "Get: ConfigStoreCPtr not provided");
    ExpectLogged([&] { return Get(store.get(), "absent", kGroup, kComponent, nullptr, &made); },
                 CS_C_NOT_FOUND, "");

    std::string names;
    for (int status : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 1102})
        names += ConfigStoreCStatusName(status) + std::string(" ");
    EXPECT_EQ(names,
              "CS_C_UNKNOWN_STATUS CS_C_OK CS_C_STORE_ERROR CS_C_INVALID_ARGUMENT "
              "CS_C_VALIDATION_ERROR CS_C_INVALID_TYPE CS_C_INTERNAL_ERROR CS_C_NOT_FOUND "
              "CS_C_VALUE_IS_DEFAULT CS_C_UNKNOWN_STATUS CS_C_UNKNOWN_STATUS ");
}

}  // namespace
