// A namespace's store on disk: where its files go, and threads writing to the one store of a
// namespace at once. The integration tests hold transactions, the reliability tests the files the
// store refuses.
#include <gtest/gtest.h>
#include <kivconfigstore/ConfigStore.h>
#include <kivconfigstore/ErrorCodes.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "Files.h"
#include "Layout.h"
#include "StandinTest.h"

namespace {

namespace fs = std::filesystem;
using namespace KivConfigStore;
using namespace standin_test;

TEST(StoreFiles, NamespacesAreFileNamesInDirectoriesOfTheOwnerOnly) {
    const std::string refused[] = {"", ".x", "a/b", "a b", "\xc3\xa9", std::string(65, 'a')};
    for (const std::string& name : refused) {
        EXPECT_EQ(CodeOf([&] { standin::FilesOf(name); }), ERR_DB_OPEN_FAILED) << name;
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

// Two state directories that CONFIGSTORE_DIR names never share a runtime database; one directory
// keeps its own however it is written.
TEST(StoreFiles, EachNamedStateDirectoryHasARuntimeDirectoryOfItsOwn) {
    const std::string state = getenv("CONFIGSTORE_DIR"),
                      runtime = getenv("CONFIGSTORE_RUNTIME_DIR");
    unsetenv("CONFIGSTORE_RUNTIME_DIR");
    setenv("XDG_RUNTIME_DIR", (TestDirectory() / "xdg").c_str(), 1);
    std::string databases[3];
    for (int i = 0; i < 3; ++i) {
        setenv("CONFIGSTORE_DIR", ("/tmp/A" + std::string(i, '/') + (i == 2 ? "../B" : "")).c_str(),
               1);
        databases[i] = standin::FilesOf("global").runtimeDatabase;
    }
    setenv("CONFIGSTORE_DIR", state.c_str(), 1);
    setenv("CONFIGSTORE_RUNTIME_DIR", runtime.c_str(), 1);
    EXPECT_EQ(databases[0], databases[1]);
    EXPECT_NE(databases[0], databases[2]);
    EXPECT_NE(databases[0].find("/configstore/state-"), std::string::npos) << databases[0];
}

// A reader creates nothing: a namespace never written to is an error, but for the global one,
// which reads as empty; an existing one reads as usual; every write is refused.
TEST(StoreFiles, ReadOnlyStoresCreateNothingAndRefuseWrites) {
    const std::string state = getenv("CONFIGSTORE_DIR"), run = getenv("CONFIGSTORE_RUNTIME_DIR");
    const fs::path root = TestDirectory() / "read-only";
    setenv("CONFIGSTORE_DIR", (root / "state").c_str(), 1);
    setenv("CONFIGSTORE_RUNTIME_DIR", (root / "run").c_str(), 1);
    const ConfigStoreObjectId id{"key", "group", "component", ""};
    ConfigStore::GetStore("kept")->Set(CreateObject(id, R"({"mtu": 1500})"), INTERNAL);
    fs::remove_all(root / "run");
    const auto kept = [] { return ConfigStore::GetStore("kept"); };
    const auto global = [] { return ConfigStore::GetStore(sGlobalNamespace); };
    // clang-format off
    const struct { const char* readOnly; std::function<void()> action; int code; } cases[] = {
        {"1", [] { ConfigStore::GetStore("typo"); }, ERR_DB_OPEN_FAILED},
        {"yes", [&] { kept(); }, ERR_DB_OPEN_FAILED},
        {"1", [&] { EXPECT_EQ(global()->Get(id), nullptr); }, 0},
        {"1", [&] { EXPECT_TRUE(global()->GetInstances(Filter(id)).empty()); }, 0},
        {"1", [&] { EXPECT_NE(kept()->Get(id), nullptr); }, 0},
        {"1", [&] { kept()->Set(CreateObject(id, ""), INTERNAL); }, ERR_DB_WRITE_FAILED},
        {"1", [&] { kept()->SetCachedData(CreateObject(id, "")); }, ERR_DB_WRITE_FAILED},
        {"1", [&] { kept()->Delete(id); }, ERR_DB_WRITE_FAILED},
        {"1", [&] { global()->BeginTransaction(); }, ERR_DB_WRITE_FAILED},
        {"1", [&] { SetBootStatus(id, true); }, ERR_DB_WRITE_FAILED},
        {"0", [&] { kept()->Set(CreateObject(id, ""), INTERNAL); }, 0},  // a writer's store again
    };
    // clang-format on
    for (const auto& test : cases) {
        setenv("CONFIGSTORE_READ_ONLY", test.readOnly, 1);
        EXPECT_EQ(CodeOf(test.action), test.code) << &test - cases;
        unsetenv("CONFIGSTORE_READ_ONLY");
        if (test.readOnly[0] == '0') continue;
        EXPECT_FALSE(fs::exists(root / "run")) << &test - cases;
        EXPECT_EQ(std::distance(fs::directory_iterator(root / "state"), {}), 1) << &test - cases;
    }
    setenv("CONFIGSTORE_DIR", state.c_str(), 1);
    setenv("CONFIGSTORE_RUNTIME_DIR", run.c_str(), 1);
}

// Store files that earlier releases made (formats 1 and 2, objects of every durable class): a
// reader reads each as it is, and the first writer's open brings it up to date in place, every
// object and version reading back the same, whole by the full check.
TEST(StoreFiles, AWriterUpgradesAnEarlierFormatThatAReaderReadsAsItIs) {
    setenv("CONFIGSTORE_CHECK", "full", 1);
    for (const char earlier : {1, 2, 3}) {
        const std::string name = "upgraded" + std::to_string(earlier);
        const fs::path file = fs::path(getenv("CONFIGSTORE_DIR")) / (name + ".db");
        fs::create_directories(file.parent_path());
        fs::copy_file(STORE_DATA "/format" + std::to_string(earlier) + ".db", file);
        const auto bytes = [&] {
            std::ifstream stream(file, std::ios::binary);
            return std::string(std::istreambuf_iterator<char>(stream), {});
        };
        const std::string original = bytes();
        setenv("CONFIGSTORE_NAMESPACE", name.c_str(), 1);
        std::string first;
        for (const char* readOnly : {"1", "0", "1"}) {  // a reader, the first writer, a reader
            setenv("CONFIGSTORE_READ_ONLY", readOnly, 1);
            const auto object =
                ConfigStore::GetStore(sGlobalNamespace)->Get({"lan", "net", "router", "b"});
            const std::string read =
                Export({Filter({"", "net", "router", ""})}) + object->GetVersion();
            unsetenv("CONFIGSTORE_READ_ONLY");
            const char format = first.empty() ? earlier : 4;  // the user version (bytes 60-63)
            if (first.empty()) first = read;
            EXPECT_EQ(read, first);
            EXPECT_EQ(bytes().at(63), format) << readOnly;
            EXPECT_TRUE(format == 4 || bytes() == original) << "a reader changed the file";
        }
        EXPECT_NE(first.find(R"("addr":"10.0.0.2")"), std::string::npos) << first;
    }
    unsetenv("CONFIGSTORE_CHECK");
    unsetenv("CONFIGSTORE_NAMESPACE");
}

// Documents of 1 KiB and more are compressed with a dictionary that the store trains once it
// holds 32 rows. They read back as written by identity, in a transaction and after it, in a list
// whose value filter SQL cannot apply to them, and in an export; a cancelled transaction takes
// its dictionary along, and the writes after it do not use it (as another process, which knows
// no dictionary of that transaction, finds); damage names the object, and the full check finds it.
TEST(StoreFiles, LargeDocumentsAreCompressedAndReadAsWritten) {
    const std::string name = TestName();
    setenv("CONFIGSTORE_NAMESPACE", name.c_str(), 1);
    auto store = ConfigStore::GetStore(sGlobalNamespace);
    const auto id = [&](int i) { return ConfigStoreObjectId("k", "g", name, std::to_string(i)); };
    int round = 0;  // what the cancelled transaction writes differs from what stays
    const auto text = [&](int i) {
        return std::to_string(round) + std::string(1500, 'a' + i % 26);
    };
    const auto write = [&](int i) {
        auto object = CreateObject(id(i), "");
        object->SetValue("text", text(i).c_str());
        object->SetValue("n", i);
        store->Set(object, INTERNAL);
    };
    const auto readsBack = [&](int i) {
        std::string value;
        const auto object = store->Get(id(i));
        return object != nullptr && object->GetValue("text", &value) == 1 && value == text(i);
    };
    store->BeginTransaction();
    for (int i = 0; i < 40; ++i) write(i);
    EXPECT_TRUE(readsBack(39));
    store->CancelTransaction();
    round = 1;
    for (int i = 0; i < 40; ++i) write(i);
    store = nullptr;  // the last handle: the next opens the file afresh
    store = ConfigStore::GetStore(sGlobalNamespace);
    for (int i = 0; i < 40; ++i) EXPECT_TRUE(readsBack(i)) << i;
    EXPECT_EQ(Names(store->GetInstances(Filter({"", "g", name, ""}, R"({"n": 7})"))), "k/7");
    EXPECT_NE(Export({Filter({"k", "g", name, ""})}).find(R"("n":39)"), std::string::npos);

    EXPECT_EQ(Rows(name, "SELECT count(*) FROM objects WHERE typeof(document) = 'blob'"), "40");
    EXPECT_LT(std::stoi(Rows(name, "SELECT max(length(document)) FROM objects")), 500);
    Rows(name,
         "UPDATE objects SET document = CAST(substr(document, 1, 12) || x'00ff' AS BLOB)"
         " WHERE instance = '3'");
    EXPECT_EQ(CodeOf([&] { store->Get(id(3)); }), ERR_JSON_INVALID);
    EXPECT_TRUE(readsBack(4));
    standin::StoreFiles files = standin::FilesOf(name);
    files.fullCheck = true;
    standin::Database checked(files.database, files.database);
    EXPECT_EQ(CodeOf([&] { standin::OpenFiles(checked, files); }), ERR_DB_INTEGRITY_CHECK_FAILED);
    unsetenv("CONFIGSTORE_NAMESPACE");
}

// Writes of several threads at once, each on an object of its own: none is lost.
TEST(Store, ThreadsShareTheStoreAndKeepEveryWrite) {
    const auto shared = ConfigStore::GetStore(TestName());
    std::vector<std::thread> threads;
    for (const char* key : {"0", "1", "2", "3"}) {
        threads.emplace_back([&, key, nameSpace = TestName()] {
            const auto store = ConfigStore::GetStore(nameSpace);
            EXPECT_EQ(store, shared);
            auto object = CreateObject({key, "group", "component", ""}, "");
            for (int i = 0; i < 25; ++i) {
                object->AppendValue("writes", i);
                i % 2 == 0 ? store->Set(object, EXTERNAL) : store->Update(object, INTERNAL);
                object = store->Get(object->objectId);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    for (const char* key : {"0", "1", "2", "3"}) {
        std::vector<int> writes;
        EXPECT_EQ(shared->Get({key, "group", "component", ""})->GetValue("writes", &writes), 1);
        EXPECT_EQ(writes.size(), 25u) << "key " << key;
    }
}

}  // namespace
