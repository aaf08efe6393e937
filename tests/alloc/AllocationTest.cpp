// Allocation on the engine test double: scalar values allocate nothing, strings and arrays are
// allocated once at their final size, and every exported function survives the failure of each
// allocation it makes.
#include <fstream>
#include <set>

#include "../unit/DoubleTest.h"
#include "Allocations.h"
#include "Sweep.h"

namespace {

using enginedouble::Answer;
using enginedouble::MakeObject;
using enginedouble::Read;
using KivConfigStore::ConfigStoreObjectId;
using KivConfigStore::ObjectList;

class Allocation : public HandleTest {
protected:
    void SetUp() override {
        HandleTest::SetUp();
        enginedouble::SetRecording(false);
    }

    // Runs `work` with counting on.
    static void Count(const std::function<void()>& work) {
        allocations::Start();
        work();
        allocations::Stop();
    }
};

// One call through each worker of scalar values; the engine copies strings it is given.
TEST_F(Allocation, ScalarValuesAllocateNothing) {
    Answer("GetValue(int*)", Read<int>{1, 5});
    int number = 0;
    Count([&] {
        GetValueInt(object_, "k", &number);
        SetValueFsoFloat(filter_, "k", 1);
        SetValueStr(object_, "k", "a string the engine copies");
        AppendValueFsoBool(filter_, "k", true);
        RemoveValue(object_, "k");
        SetValueFsoEmptyList(filter_, "k");
    });
    EXPECT_EQ(allocations::Mallocs(), 0);
    EXPECT_EQ(allocations::Callocs(), 0);
    EXPECT_EQ(number, 5);
}

TEST_F(Allocation, CopiesAreAllocatedOnceAtTheirFinalSize) {
    const std::string text = std::string(20, 'x') + '\0' + "tail";
    Answer("GetValue(string*)", Read<std::string>{1, text});
    char* value = nullptr;
    Count([&] { GetValueStr(object_, "k", &value); });
    ASSERT_EQ(allocations::Callocs(), 1);
    EXPECT_EQ(allocations::CallocBytes(0), text.size() + 1);  // a NUL inside cuts no bytes
    std::free(value);

    object_->engineObject->objectId = ConfigStoreObjectId("key", "group", "component", "");
    char* parts[4] = {};
    Count([&] { GetConfigStoreObjectId(object_, &parts[0], &parts[1], &parts[2], &parts[3]); });
    ASSERT_EQ(allocations::Callocs(), 3);  // key, component, group
    EXPECT_EQ(allocations::CallocBytes(0), 4u);
    EXPECT_EQ(allocations::CallocBytes(1), 10u);
    EXPECT_EQ(allocations::CallocBytes(2), 6u);
    for (char* part : parts) std::free(part);

    Answer("GetValue(vector<bool>*)", Read<std::vector<bool>>{1, {true, false}});
    Answer("GetValue(vector<string>*)", Read<std::vector<std::string>>{1, {"a", "bb", "ccc"}});
    bool* flags = nullptr;
    char** strings = nullptr;
    int count = 0;
    Count([&] { GetValueFsoBoolArray(filter_, "k", &flags, &count); });
    ASSERT_EQ(allocations::Callocs(), 1);
    EXPECT_EQ(allocations::CallocBytes(0), 2u);
    Count([&] { GetValueStringArray(object_, "k", &strings, &count); });
    ASSERT_EQ(allocations::Callocs(), 4);
    EXPECT_EQ(allocations::CallocBytes(0), 3 * sizeof(char*));
    EXPECT_EQ(allocations::CallocBytes(3), 4u);
    std::free(flags);
    DestroyStringArrayValue(&strings, count);
}

// The double answers every read with a value, every list with several entries and every import
// with an error list, so that each call goes its longest way.
class Double : public sweep::Engine {
public:
    const char* Name() const override { return "the double"; }
    bool StoreErrors() const override { return false; }

    void Open(sweep::Handles& h) override {
        enginedouble::Reset();
        enginedouble::SetRecording(false);
        const std::string text = "a text long enough for the heap";
        Answer("GetValue(int*)", Read<int>{1, 5});
        Answer("GetValue(unsigned short*)", Read<unsigned short>{1, 5});
        Answer("GetValue(unsigned int*)", Read<unsigned int>{1, 5});
        Answer("GetValue(long*)", Read<long>{1, 5});
        Answer("GetValue(long long*)", Read<long long>{1, 5});
        Answer("GetValue(bool*)", Read<bool>{1, true});
        Answer("GetValue(double*)", Read<double>{1, 5});
        Answer("GetValue(string*)", Read<std::string>{1, text});
        Answer("GetValueBinary", Read<std::string>{1, text});
        Answer("GetValue(vector<int>*)", Read<std::vector<int>>{1, {1, 2}});
        Answer("GetValue(vector<long long>*)", Read<std::vector<long long>>{1, {1, 2}});
        Answer("GetValue(vector<double>*)", Read<std::vector<double>>{1, {1, 2}});
        Answer("GetValue(vector<bool>*)", Read<std::vector<bool>>{1, {true, false}});
        Answer("GetValue(vector<string>*)", Read<std::vector<std::string>>{1, {"a", text, "c"}});
        Answer("GetVersion", text);
        Answer("GetSchemaVersion", text);
        Answer("GenerateInstanceId", text);
        Answer("Export", text);
        for (const char* get :
             {"ConfigStore::Get", "ConfigStore::GetDefaultConfig", "GetDesiredUserConfig"}) {
            Answer(get, MakeObject("fan"));
        }
        for (const char* list :
             {"ConfigStore::GetInstances", "ConfigStore::GetDefaultConfigInstances",
              "GetDesiredUserConfigInstances"}) {
            Answer(list, ObjectList{MakeObject("fan", "1"), MakeObject("fan", "2")});
        }
        Answer("GetSubObject", MakeObject("blade", "2"));
        Answer("GetSubObjectInstances",
               ObjectList{MakeObject("blade", "1"), MakeObject("blade", "2")});
        Answer("GetSubObjectFilter", std::make_shared<KivConfigStore::FilterSpecObject>(
                                         ConfigStoreObjectId("blade", "", "", "")));
        Answer("Import", enginedouble::ImportAnswer{false, {{"fan", text}, {"pump", text}}});
        GetStore(nullptr, &h.store);
        h.object = NewHandle<ConfigStoreObjectStruct>(MakeObject("fan"), true);
        h.other = NewHandle<ConfigStoreObjectStruct>(MakeObject("pump"), true);
        CreateFilterSpecObject("fan", "g", "c", nullptr, &h.filter);
        for (int i = 0; i < 2; ++i) {
            h.instances[i] = NewHandle<ConfigStoreObjectStruct>(
                MakeObject("interface", i == 0 ? "eth0" : "eth1"), true);
        }
        CreateFilterSpecObject("interface", "interfaces", "network", nullptr, &h.interfaces);
        CreateFilterSpecObject("blade", "g", "c", nullptr, &h.blades);
    }

    void Close(sweep::Handles& h) override {
        sweep::Engine::Close(h);
        enginedouble::Reset();  // scripted answers hold references too
        EXPECT_EQ(enginedouble::LiveObjects(), 0) << "an engine reference was left behind";
    }

    // The keys and handle counts of both child caches.
    std::string Caches(const sweep::Handles& h) override {
        std::string text;
        for (const auto& [key, children] : h.object->children) {
            text += key + ":" + std::to_string(children.size()) + " ";
        }
        for (const auto& [key, children] : h.filter->children) {
            text += key + ":" + std::to_string(children.size()) + " ";
        }
        return text;
    }
};

TEST(AllocationSweep, TheTableNamesEveryExportedFunction) {
    std::set<std::string> exported;
    std::ifstream list(EXPORTS_FILE);
    for (std::string name; std::getline(list, name);) {
        if (!name.empty()) exported.insert(name);
    }
    int count = 0;
    const sweep::Row* rows = sweep::Rows(&count);
    std::set<std::string> named;
    for (int i = 0; i < count; ++i) EXPECT_TRUE(named.insert(rows[i].function).second);
    EXPECT_EQ(named, exported);
}

TEST(AllocationSweep, EveryFunctionOnTheDouble) {
    Double engine;
    sweep::Run(engine);
}

}  // namespace
