// What calls hand out on each outcome: stores, fetches and lists when nothing is found, value
// reads (the engine's read status 0 is CS_C_NOT_FOUND, 1 CS_C_OK and any other
// CS_C_VALUE_IS_DEFAULT; -1 here stands for an InvalidTypeException), import's error-info list
// and export's document.
#include "DoubleTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::ImportAnswer;
using enginedouble::Read;

using Store = HandleTest;
using ValueOutputs = HandleTest;

void Script(const char* operation, int status, std::any answer) {
    if (status < 0) enginedouble::Throw(operation, InvalidTypeException("a number"));
    if (status >= 0) enginedouble::Answer(operation, std::move(answer));
}

// A string is handed out on every outcome but not found: the text up to its first NUL,
// zero-filled to the engine string's length + 1 (an empty one when refused).
TEST_F(ValueOutputs, StringReadHandsOutAStringUnlessNotFound) {
    const struct {
        const char* key;  // NULL: refused before the read
        int status;
        std::string stored;
        int result;
        std::string handed;  // with its terminator; empty: NULL
    } cases[] = {
        {"k", 1, std::string("ab\0cd", 5), CS_C_OK, std::string("ab\0\0\0\0", 6)},
        {"k", 3, "default", CS_C_VALUE_IS_DEFAULT, std::string("default\0", 8)},
        {"k", 0, "", CS_C_NOT_FOUND, ""},
        {nullptr, 1, "blue", CS_C_INVALID_ARGUMENT, std::string(1, '\0')},
        {"k", -1, "", CS_C_INVALID_TYPE, std::string(1, '\0')},
    };
    for (const auto& c : cases) {
        enginedouble::Reset();
        Script("GetValue(string*)", c.status, Read<std::string>{c.status, c.stored});
        char sentinel = 0;
        char* value = &sentinel;
        EXPECT_EQ(GetValueStr(object_, c.key, &value), c.result);
        if (c.handed.empty()) {
            EXPECT_EQ(value, nullptr);
            continue;
        }
        ASSERT_NE(value, &sentinel);
        EXPECT_EQ(std::string(value, c.handed.size()), c.handed);
        std::free(value);
    }
}

// Every list read delivers through one mechanism: without elements the array is left alone with
// a count of 0; not found gives NULL and 0; a refused type leaves both alone. A binary value, an
// object or a list of objects not found is NULL (and 0), with a binary value's size untouched,
// and logs nothing. Elements and objects found are read on the stand-in engine.
TEST_F(ValueOutputs, ListBinaryAndObjectReadsHandOutNullWhenNotFound) {
    int sentinel = 0;
    const int results[] = {CS_C_INVALID_TYPE, CS_C_NOT_FOUND, CS_C_OK, CS_C_VALUE_IS_DEFAULT};
    for (int status = -1; status < 3; ++status) {
        SCOPED_TRACE(status);
        enginedouble::Reset();
        int* values = &sentinel;
        int count = -1;
        Script("GetValue(vector<int>*)", status, Read<std::vector<int>>{status, {}});
        EXPECT_EQ(GetValueIntArray(object_, "k", &values, &count), results[status + 1]);
        EXPECT_EQ(values, status == 0 ? nullptr : &sentinel);
        EXPECT_EQ(count, status < 0 ? -1 : 0);
    }
    unsigned char* data = reinterpret_cast<unsigned char*>(&sentinel);
    unsigned long size = 77;
    EXPECT_EQ(GetValueFsoBinary(filter_, "k", &data, &size), CS_C_NOT_FOUND);
    EXPECT_TRUE(data == nullptr && size == 77u);
    ConfigStoreObjectStruct* object = object_;
    EXPECT_EQ(Get(store_, "k", "g", "c", "i7", &object), CS_C_NOT_FOUND);
    EXPECT_EQ(object, nullptr);
    ConfigStoreObjectStruct** objects = &object_;
    int count = -1;
    EXPECT_EQ(GetInstances(store_, filter_, &objects, &count), CS_C_NOT_FOUND);
    EXPECT_TRUE(objects == nullptr && count == 0);
    ExpectLog({});
    // Releasing a string list accepts nothing to release.
    char** none = nullptr;
    EXPECT_EQ(DestroyStringArrayValue(&none, 0), CS_C_OK);
    EXPECT_EQ(DestroyStringArrayValue(nullptr, 5), CS_C_OK);
}

TEST_F(Store, NullNamesTheEnginesOwnDefaultNamespaceAndNoStoreIsNotFound) {
    ConfigStoreStruct* store = nullptr;
    ASSERT_EQ(GetStore(nullptr, &store), CS_C_OK);
    EXPECT_EQ(DestroyStore(store), CS_C_OK);
    ASSERT_EQ(GetStore("", &store), CS_C_OK);
    EXPECT_EQ(DestroyStore(store), CS_C_OK);
    EXPECT_EQ(enginedouble::Recorded().globalNamespaceStores, 1);  // "" is another name
    enginedouble::Answer("ConfigStore::GetStore", std::shared_ptr<ConfigStore>());
    EXPECT_EQ(GetStore("missing", &store), CS_C_NOT_FOUND);
    EXPECT_EQ(store, nullptr);
}

TEST_F(Store, ImportHandsOutAListOnlyForARefusalWithRecords) {
    ErrorInfoStruct* sentinel = nullptr;
    ErrorInfoStruct** errors = &sentinel;
    int count = -1;
    // Records of an accepted document are dropped.
    const std::pair<ImportAnswer, int> outcomes[] = {{{true, {}}, CS_C_OK},
                                                     {{false, {}}, CS_C_VALIDATION_ERROR},
                                                     {{true, {{"k", "dropped"}}}, CS_C_OK}};
    for (const auto& [answer, result] : outcomes) {
        enginedouble::Answer("Import", answer);
        EXPECT_EQ(Import("{}", &errors, &count), result);
    }
    EXPECT_TRUE(errors == &sentinel && count == -1);       // a refusal's list: integration tests
    EXPECT_EQ(DestroyErrorInfoList(nullptr, 3), CS_C_OK);  // nothing to release
    ExpectLog({});
}

// An empty selection is one to export; the document comes as the engine writes it.
TEST_F(Store, ExportTakesAnEmptySelection) {
    enginedouble::Answer("Export", std::string("{\"fan\":{}}"));
    char* document = nullptr;
    ASSERT_EQ(Export(nullptr, 0, &document), CS_C_OK);
    EXPECT_STREQ(document, "{\"fan\":{}}");
    std::free(document);
}

}  // namespace
