// The library on the stand-in engine's store: what is written is read back by a new process
// (read_back), in every data class and context, through transactions and failures.
#include <stdlib.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "configstorec.h"

namespace {

namespace fs = std::filesystem;

// Each test process keeps its store files in directories of its own, made before the first
// store opens and removed at its end.
class StoreDirectories : public ::testing::Environment {
public:
    void SetUp() override {
        std::string path = (fs::temp_directory_path() / "configstorec-integration-XXXXXX");
        ASSERT_NE(mkdtemp(path.data()), nullptr);
        root = path;
        setenv("CONFIGSTORE_DIR", (root / "state").c_str(), 1);
        setenv("CONFIGSTORE_RUNTIME_DIR", (root / "run").c_str(), 1);
    }
    void TearDown() override { fs::remove_all(root); }
    fs::path root;
};
auto* const directories =
    static_cast<StoreDirectories*>(::testing::AddGlobalTestEnvironment(new StoreDirectories));

constexpr char kGroup[] = "tests";
constexpr char kComponent[] = "integration";

using Store = std::unique_ptr<ConfigStoreStruct, decltype(&DestroyStore)>;
using Object = std::unique_ptr<ConfigStoreObjectStruct, decltype(&DestroyConfigStoreObject)>;

Store Open(const std::string& nameSpace) {
    ConfigStoreStruct* store = nullptr;
    EXPECT_EQ(GetStore(nameSpace.c_str(), &store), CS_C_OK) << nameSpace;
    return Store(store, DestroyStore);
}

Object Create(const std::string& key, const char* document = "") {
    ConfigStoreObjectStruct* object = nullptr;
    EXPECT_EQ(CreateObject(key.c_str(), kGroup, kComponent, nullptr, document, &object), CS_C_OK);
    return Object(object, DestroyConfigStoreObject);
}

Object Fetch(ConfigStoreStruct* store, const std::string& key, int expected = CS_C_OK) {
    ConfigStoreObjectStruct* object = nullptr;
    EXPECT_EQ(Get(store, key.c_str(), kGroup, kComponent, nullptr, &object), expected) << key;
    return Object(object, DestroyConfigStoreObject);
}

std::string VersionOf(ConfigStoreObjectStruct* object) {
    char* text = nullptr;
    EXPECT_EQ(GetVersion(object, &text), CS_C_OK);
    const std::string version = text != nullptr ? text : "";
    std::free(text);
    return version;
}

std::string StderrOf(const std::function<void()>& work) {
    ::testing::internal::CaptureStderr();
    work();
    return ::testing::internal::GetCapturedStderr();
}

#define EXPECT_LOGGED(log, line) EXPECT_TRUE(Contains(log, line)) << (log)
bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Runs read_back (through the emulator when cross-compiled) as a new process with this one's
// environment, reading the "type:name" values of one object; its output, and "exit N" when its
// Get did not answer CS_C_OK.
std::string ReadBack(const std::string& nameSpace, const std::string& key,
                     const std::string& values = "") {
    const std::string command = std::string(READ_BACK_COMMAND) + " " + nameSpace + " " + key + " " +
                                kGroup + " " + kComponent + " " + values;
    FILE* child = popen(command.c_str(), "r");
    if (child == nullptr) return "cannot start " + command;
    std::string text;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, child)) > 0;) {
        text.append(buffer, n);
    }
    const int status = pclose(child);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return code == 0 ? text : text + "exit " + std::to_string(code) + "\n";
}

// The test's name, usable as a namespace or a key.
std::string TestName() {
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    return name.substr(0, 64);
}

class StoreTest : public ::testing::Test {
protected:
    const std::string key = TestName();
    const std::string nameSpace = TestName();
    Store store = Open(nameSpace);
};

// The store writes, in each context; `external` ones record the desired configuration and are
// refused during boot, `durable` ones outlive the runtime directory and count as versions.
struct StoreWrite {
    const char* call;
    ConfigStoreCStatus (*write)(ConfigStoreStruct*, ConfigStoreObjectStruct*);
    bool external;
    bool durable;
};
// clang-format off
#define WRITE(call, external, durable) \
    {#call, [](ConfigStoreStruct* s, ConfigStoreObjectStruct* o) { return call; }, \
     external, durable}
const StoreWrite kWrites[] = {
    WRITE(Set(s, o, "EXTERNAL"), true, true),
    WRITE(Set(s, o, nullptr), true, true),
    WRITE(Set(s, o, "INTERNAL"), false, true),
    WRITE(Update(s, o, "EXTERNAL"), true, true),
    WRITE(Update(s, o, "INTERNAL"), false, true),
    WRITE(SetUserData(s, o, "EXTERNAL"), true, true),
    WRITE(SetUserData(s, o, "INTERNAL"), false, true),
    WRITE(SetVitalData(s, o), false, true),
    WRITE(SetCachedData(s, o), false, false)};
// clang-format on
#undef WRITE

TEST_F(StoreTest, EachWriteStoresItsClassAndContext) {
    const Store global = Open("global");  // where boot status and desired configuration live
    for (std::size_t row = 0; row < std::size(kWrites); ++row) {
        const StoreWrite& write = kWrites[row];
        SCOPED_TRACE(write.call);
        const std::string rowKey = key + std::to_string(row), n = std::to_string(row);
        const Object object = Create(rowKey, ("{\"n\": " + n + "}").c_str());
        ASSERT_EQ(SetBootStatus(rowKey.c_str(), kGroup, kComponent, nullptr, true), CS_C_OK);
        int status = -1;
        const std::string log = StderrOf([&] { status = write.write(global.get(), object.get()); });
        EXPECT_EQ(status, write.external ? CS_C_STORE_ERROR : CS_C_OK);
        if (write.external) {  // refused during boot, and stored once it is over
            const std::string function(write.call, std::strchr(write.call, '('));
            EXPECT_LOGGED(log, "configstore: " + function +
                                   ": API cannot be invoked with EXTERNAL context during boot");
            EXPECT_EQ(ReadBack("global", rowKey), "exit 6\n");
            ASSERT_EQ(SetBootStatus(rowKey.c_str(), kGroup, kComponent, nullptr, false), CS_C_OK);
            ASSERT_EQ(write.write(global.get(), object.get()), CS_C_OK);
        }
        EXPECT_EQ(VersionOf(object.get()) != "0", write.durable);
        EXPECT_EQ(ReadBack("global", rowKey, "int:n"), "n=" + n + "\n");

        ConfigStoreObjectStruct* desired = nullptr;
        ASSERT_EQ(GetDesiredUserConfig(rowKey.c_str(), kGroup, kComponent, nullptr, &desired),
                  write.external ? CS_C_OK : CS_C_NOT_FOUND);
        int desiredN = -1;
        if (desired != nullptr) GetValueInt(desired, "n", &desiredN);
        EXPECT_EQ(desiredN, write.external ? static_cast<int>(row) : -1);
        if (desired != nullptr) DestroyConfigStoreObject(desired);
    }
}

TEST_F(StoreTest, EveryValueTypeReachesANewProcess) {
    const Object object = Create(key, "{\"fromText\": \"document\", \"none\": []}");
    ConfigStoreObjectStruct* o = object.get();
    const unsigned char bytes[] = {0, 0xff, 0x10};
    for (const int written :
         {SetValueInt(o, "int", INT_MIN), SetValueUint16(o, "uint16", 65535),
          SetValueUint32(o, "uint32", UINT_MAX), SetValueLong(o, "long", LONG_MAX),
          SetValueLonglong(o, "longlong", LLONG_MIN), SetValueBool(o, "bool", true),
          SetValueDouble(o, "double", 0.1), SetValueFloat(o, "float", 0.1f),
          SetValueStr(o, "str", "gr\u00fc\u00dfe"), SetValueBinary(o, "bin", bytes, sizeof bytes),
          AppendValueString(o, "strs", "a"), AppendValueString(o, "strs", "b"),
          AppendValueInt(o, "ints", -1), AppendValueLonglong(o, "longlongs", 1LL << 40),
          AppendValueDouble(o, "doubles", 2.5), AppendValueBool(o, "bools", false),
          AppendValueBool(o, "bools", true)}) {
        ASSERT_EQ(written, CS_C_OK);
    }
    ASSERT_EQ(Set(store.get(), o, "INTERNAL"), CS_C_OK);
    EXPECT_EQ(ReadBack(nameSpace, key,
                       "int:int uint16:uint16 uint32:uint32 long:long longlong:longlong bool:bool "
                       "double:double double:float str:str str:fromText bin:bin strs:strs "
                       "ints:ints longlongs:longlongs doubles:doubles bools:bools ints:none "
                       "int:missing"),
              "int=-2147483648\nuint16=65535\nuint32=4294967295\nlong=9223372036854775807\n"
              "longlong=-9223372036854775808\nbool=1\ndouble=0.10000000000000001\n"
              "float=0.10000000149011612\nstr=gr\u00fc\u00dfe\nfromText=document\nbin=00ff10\n"
              "strs=[a,b]\nints=[-1]\nlonglongs=[1099511627776]\ndoubles=[2.5]\nbools=[0,1]\n"
              "none=[]\nmissing absent\n");
}

TEST_F(StoreTest, UpdateMergesOnlyChangedKeysWhereSetReplaces) {
    ASSERT_EQ(Set(store.get(), Create(key, "{\"a\": 1, \"b\": 2}").get(), "INTERNAL"), CS_C_OK);
    const Object first = Fetch(store.get(), key);
    const Object second = Fetch(store.get(), key);
    ASSERT_EQ(SetValueInt(first.get(), "a", 10), CS_C_OK);
    ASSERT_EQ(Update(store.get(), first.get(), "INTERNAL"), CS_C_OK);
    ASSERT_EQ(SetValueInt(second.get(), "b", 20), CS_C_OK);
    ASSERT_EQ(Update(store.get(), second.get(), "INTERNAL"), CS_C_OK);
    EXPECT_EQ(ReadBack(nameSpace, key, "int:a int:b"), "a=10\nb=20\n");

    ASSERT_EQ(Set(store.get(), Create(key, "{\"c\": 3}").get(), "INTERNAL"), CS_C_OK);
    EXPECT_EQ(ReadBack(nameSpace, key, "int:a int:b int:c"), "a absent\nb absent\nc=3\n");
}

TEST_F(StoreTest, VersionsRiseWithDurableWritesAndDeleteRemovesEveryClass) {
    const Object object = Create(key, "{\"a\": 1}");
    EXPECT_EQ(VersionOf(object.get()), "0");
    ASSERT_EQ(Set(store.get(), object.get(), "INTERNAL"), CS_C_OK);
    const std::string first = VersionOf(object.get());
    ASSERT_EQ(SetValueInt(object.get(), "cached", 2), CS_C_OK);
    ASSERT_EQ(SetCachedData(store.get(), object.get()), CS_C_OK);
    EXPECT_EQ(VersionOf(object.get()), first);
    ASSERT_EQ(SetVitalData(store.get(), Create(key, "{\"vital\": 3}").get()), CS_C_OK);
    const std::string second = VersionOf(Fetch(store.get(), key).get());
    EXPECT_GT(std::stoll(second), std::stoll(first));
    EXPECT_EQ(ReadBack(nameSpace, key, "int:a int:cached int:vital"), "a=1\ncached=2\nvital=3\n");

    ASSERT_EQ(Delete(store.get(), key.c_str(), kGroup, kComponent, nullptr), CS_C_OK);
    Fetch(store.get(), key, CS_C_NOT_FOUND);
    EXPECT_EQ(ReadBack(nameSpace, key), "exit 6\n");
    EXPECT_EQ(Delete(store.get(), key.c_str(), kGroup, kComponent, nullptr), CS_C_OK);
}

TEST_F(StoreTest, InstanceIdsAreFreshUuidsThatNameTheirObject) {
    char* ids[2] = {nullptr, nullptr};
    for (char*& id : ids) ASSERT_EQ(GenerateInstanceId(&id), CS_C_OK);
    const std::regex uuid("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    EXPECT_TRUE(std::regex_match(ids[0], uuid)) << ids[0];
    EXPECT_STRNE(ids[0], ids[1]);

    ConfigStoreObjectStruct* created = nullptr;
    ASSERT_EQ(CreateObject(key.c_str(), kGroup, kComponent, ids[0], "{}", &created), CS_C_OK);
    ASSERT_EQ(Set(store.get(), Object(created, DestroyConfigStoreObject).get(), nullptr), CS_C_OK);
    Fetch(store.get(), key, CS_C_NOT_FOUND);  // the identity without the instance id
    ConfigStoreObjectStruct* fetched = nullptr;
    ASSERT_EQ(Get(store.get(), key.c_str(), kGroup, kComponent, ids[0], &fetched), CS_C_OK);
    char *fetchedKey = nullptr, *component = nullptr, *group = nullptr, *instanceId = nullptr;
    ASSERT_EQ(GetConfigStoreObjectId(fetched, &fetchedKey, &component, &group, &instanceId),
              CS_C_OK);
    EXPECT_EQ(std::vector<std::string>({fetchedKey, component, group, instanceId}),
              std::vector<std::string>({key, kComponent, kGroup, ids[0]}));
    for (char* text : {fetchedKey, component, group, instanceId, ids[0], ids[1]}) std::free(text);
    DestroyConfigStoreObject(fetched);
}

TEST_F(StoreTest, CreateObjectRefusesDocumentsItCannotStore) {
    const std::pair<const char*, const char*> rows[] = {
        {"{\"a\": 1,}", "Failed to parse JSON String: offset 8"},
        {"{\"a\": ", "Failed to parse JSON String: offset 6"},
        {"{\"s\": \"\xc3\"}", "Failed to parse JSON String: offset 7"},
        {"[1]", "Invalid JSON: the document is not a JSON object"},
        {"{\"a\": 1, \"a\": 2}", "Invalid JSON: value key 'a' is not unique"},
        {"{\"IS_BOOT\": true}", "Invalid Argument: 'IS_BOOT' is a reserved name"}};
    for (const auto& [document, reason] : rows) {
        ConfigStoreObjectStruct* object = nullptr;
        int status = -1;
        const std::string log = StderrOf([&] {
            status = CreateObject(key.c_str(), kGroup, kComponent, nullptr, document, &object);
        });
        EXPECT_EQ(status, CS_C_INVALID_ARGUMENT) << document;
        EXPECT_EQ(object, nullptr);
        EXPECT_LOGGED(log, std::string("configstore: CreateObject: ") + reason);
    }
}

TEST_F(StoreTest, TransactionsCommitTogetherOrLeaveNothing) {
    const std::string other = key + "-other";
    ASSERT_EQ(Set(store.get(), Create(key, "{\"a\": 0}").get(), nullptr), CS_C_OK);
    for (const bool commit : {false, true}) {
        SCOPED_TRACE(commit ? "committed" : "cancelled");
        ASSERT_EQ(BeginTransaction(store.get()), CS_C_OK);
        ASSERT_EQ(Set(store.get(), Create(key, "{\"a\": 1}").get(), nullptr), CS_C_OK);
        ASSERT_EQ(SetCachedData(store.get(), Create(other, "{\"b\": 2}").get()), CS_C_OK);
        EXPECT_EQ(ReadBack(nameSpace, key, "int:a"), "a=0\n");  // not yet
        ASSERT_EQ((commit ? CommitTransaction : CancelTransaction)(store.get()), CS_C_OK);
        EXPECT_EQ(ReadBack(nameSpace, key, "int:a"), commit ? "a=1\n" : "a=0\n");
        EXPECT_EQ(ReadBack(nameSpace, other, "int:b"), commit ? "b=2\n" : "exit 6\n");
    }
}

TEST_F(StoreTest, TransactionMisuseIsAStoreError) {
    const std::pair<ConfigStoreCStatus (*)(ConfigStoreStruct*), const char*> rows[] = {
        {CommitTransaction, "CommitTransaction: Failed to commit transaction: no transaction"},
        {CancelTransaction, "CancelTransaction: Failed to cancel transaction: no transaction"},
        {BeginTransaction, nullptr},
        {BeginTransaction, "BeginTransaction: Failed to start transaction: a transaction is"},
        {CommitTransaction, nullptr}};
    for (const auto& [call, failure] : rows) {
        int status = -1;
        const std::string log = StderrOf([&, call = call] { status = call(store.get()); });
        EXPECT_EQ(status, failure != nullptr ? CS_C_STORE_ERROR : CS_C_OK) << log;
        if (failure != nullptr) {
            EXPECT_LOGGED(log, std::string("configstore: ") + failure);
        }
    }
}

TEST_F(StoreTest, StoreReleasedWithATransactionOpenRollsBack) {
    ASSERT_EQ(BeginTransaction(store.get()), CS_C_OK);
    ASSERT_EQ(Set(store.get(), Create(key, "{\"a\": 1}").get(), nullptr), CS_C_OK);
    const std::string log = StderrOf([&] { store.reset(); });
    EXPECT_LOGGED(log, "store released with a transaction open, rolled back");
    EXPECT_EQ(ReadBack(nameSpace, key), "exit 6\n");
}

TEST_F(StoreTest, CachedDataIsGoneWhenTheRuntimeDirectoryIsEmptied) {
    const Object object = Create(key, "{\"durable\": 1}");
    ASSERT_EQ(Set(store.get(), object.get(), nullptr), CS_C_OK);
    ASSERT_EQ(SetValueInt(object.get(), "cached", 2), CS_C_OK);
    ASSERT_EQ(SetCachedData(store.get(), object.get()), CS_C_OK);
    const std::string values = "int:durable int:cached";
    EXPECT_EQ(ReadBack(nameSpace, key, values), "durable=1\ncached=2\n");
    store.reset();
    for (const auto& file : fs::directory_iterator(directories->root / "run")) fs::remove_all(file);
    EXPECT_EQ(ReadBack(nameSpace, key, values), "durable=1\ncached absent\n");
}

TEST(OpeningStores, RefusesBadNamespacesAndUnusableDirectories) {
    const fs::path root = directories->root;
    fs::create_directories(root / "state");
    const fs::path blocker = root / "a-file";
    std::ofstream(blocker).put('x');
    fs::create_directories(root / "run" / "runtime-db-is-a-directory.db");
    struct Row {
        std::string nameSpace;
        const char* variable;  // changed for this row only
        std::string directory;
        std::string reason;
    } rows[] = {
        {"../x", nullptr, "", "Failed to open database '../x'"},
        {"", nullptr, "", "Failed to open database ''"},
        {std::string(65, 'n'), nullptr, "", "Failed to open database 'nnnn"},
        {".hidden", nullptr, "", "Failed to open database '.hidden'"},
        {"state-under-a-file", "CONFIGSTORE_DIR", blocker / "state",
         "Failed to open database " + (blocker / "state").string()},
        {"runtime-under-a-file", "CONFIGSTORE_RUNTIME_DIR", blocker / "run",
         "Failed to open database " + (blocker / "run").string()},
        {"runtime-db-is-a-directory", nullptr, "",
         "Failed to open database " + (root / "run" / "runtime-db-is-a-directory.db").string()}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.nameSpace);
        const auto filesBefore = std::distance(fs::recursive_directory_iterator(root), {});
        const std::string saved = row.variable != nullptr ? std::getenv(row.variable) : "";
        if (row.variable != nullptr) setenv(row.variable, row.directory.c_str(), 1);
        ConfigStoreStruct* store = nullptr;
        int status = -1;
        const std::string log = StderrOf([&] { status = GetStore(row.nameSpace.c_str(), &store); });
        if (row.variable != nullptr) setenv(row.variable, saved.c_str(), 1);
        EXPECT_EQ(status, CS_C_STORE_ERROR);
        EXPECT_EQ(store, nullptr);
        EXPECT_LOGGED(log, "configstore: GetStore: " + row.reason);
        EXPECT_EQ(std::distance(fs::recursive_directory_iterator(root), {}), filesBefore);
    }
}

TEST_F(StoreTest, OperationsNotSupportedYetFailNamingThemselves) {
    ConfigStoreStruct* s = store.get();
    const Object object = Create(key);
    ConfigStoreObjectStruct* o = object.get();
    ConfigStoreObjectStruct* objects[] = {o};
    FilterSpecObjectStruct* f = nullptr;
    ASSERT_EQ(CreateFilterSpecObject(key.c_str(), kGroup, kComponent, nullptr, &f), CS_C_OK);
    const std::unique_ptr<FilterSpecObjectStruct, decltype(&DestroyFilterSpecObject)> filter(
        f, DestroyFilterSpecObject);
    ConfigStoreObjectStruct* object2 = nullptr;
    ConfigStoreObjectStruct** list = nullptr;
    FilterSpecObjectStruct* subFilter = nullptr;
    ErrorInfoStruct** errors = nullptr;
    char* text = nullptr;
    int count = 0;
    const char* const k = key.c_str();
    // The engine names the operation as the library names the function.
    // clang-format off
#define ROW(call, status) {#call, [&] { return call; }, status}
    // clang-format on
    const std::tuple<const char*, std::function<int()>, int> rows[] = {
        ROW(GetDefaultConfig(s, k, kGroup, kComponent, nullptr, &object2), CS_C_STORE_ERROR),
        ROW(GetInstances(s, f, &list, &count), CS_C_STORE_ERROR),
        ROW(GetDefaultConfigInstances(s, f, &list, &count), CS_C_STORE_ERROR),
        ROW(DeleteInstances(s, f), CS_C_STORE_ERROR),
        ROW(SetInstances(s, objects, 1, nullptr), CS_C_STORE_ERROR),
        ROW(SetUserDataInstances(s, objects, 1, nullptr), CS_C_STORE_ERROR),
        ROW(SetVitalDataInstances(s, objects, 1), CS_C_STORE_ERROR),
        ROW(SetCachedDataInstances(s, objects, 1), CS_C_STORE_ERROR),
        ROW(GetDesiredUserConfigInstances(k, kGroup, kComponent, &list, &count), CS_C_STORE_ERROR),
        ROW(GetSchemaVersion(k, kGroup, kComponent, &text), CS_C_STORE_ERROR),
        ROW(Import("{}", &errors, &count), CS_C_STORE_ERROR),
        ROW(Export(&f, 1, &text), CS_C_STORE_ERROR),
        ROW(CreateSubObject(o, "sub", nullptr, &object2), CS_C_STORE_ERROR),
        ROW(GetSubObject(o, "sub", nullptr, &object2), CS_C_STORE_ERROR),
        ROW(GetSubObjectInstances(o, f, &list, &count), CS_C_STORE_ERROR),
        ROW(CreateSubObjectFilter(f, "sub", nullptr, &subFilter), CS_C_STORE_ERROR),
        ROW(GetSubObjectFilter(f, "sub", nullptr, &subFilter), CS_C_STORE_ERROR),
        // The deletes translate no engine exception: anything they meet is an internal error.
        ROW(DeleteSubObject(o, "sub", nullptr), CS_C_INTERNAL_ERROR),
        ROW(DeleteSubObjectInstances(o, f), CS_C_INTERNAL_ERROR),
        ROW(DeleteSubObjectFilter(f, "sub", nullptr), CS_C_INTERNAL_ERROR)};
#undef ROW
    for (const auto& [operation, call, expected] : rows) {
        int status = -1;
        const std::string log = StderrOf([&, &call = call] { status = call(); });
        const std::string function(operation, std::strchr(operation, '('));
        EXPECT_EQ(status, expected) << function;
        EXPECT_LOGGED(log, function + " is not supported yet");
    }
}

}  // namespace
