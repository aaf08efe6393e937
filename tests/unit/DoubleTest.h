// The fixture of the tests on the engine double: every test starts from a freshly reset double.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "EngineDouble.h"
#include "core/Handles.h"

struct ExpectedLine {
    std::string format;
    std::vector<std::string> args;
};

// The formats of the library's log lines, as callers see them.
namespace line {
constexpr char kStore[] = "%s: ConfigStoreCPtr not provided";
constexpr char kObject[] = "%s: argument object not provided";
constexpr char kKey[] = "%s: argument 'key' not provided";
constexpr char kGroup[] = "%s: argument 'group' not provided";
constexpr char kComponent[] = "%s: argument 'component' not provided";
constexpr char kValue[] = "%s: argument 'value' not provided";
constexpr char kFilter[] = "%s: FilterSpecObjectCPtr not provided";
constexpr char kContext[] = "%s unknown context type '%s'";
constexpr char kInvalid[] = "%s: Invalid argument";
constexpr char kFailure[] = "%s: %s";
}  // namespace line

// What a family of operations answers for ConfigStoreException, ValidationException,
// InvalidArgumentException, InvalidTypeException and any other exception, in that order
// (1 store error, 2 invalid argument, 3 validation error, 4 invalid type, 5 internal error).
using Results = std::array<int, 5>;
constexpr Results kValueReads{5, 5, 5, 4, 5};
constexpr Results kValueWrites{5, 5, 2, 5, 5};
constexpr Results kValueAppends{5, 5, 2, 4, 5};
constexpr Results kStoreFailures{1, 1, 1, 1, 5};
constexpr Results kObjectWrites{1, 3, 1, 1, 5};
constexpr Results kArgumentOrStore{1, 1, 2, 1, 5};
constexpr Results kInstanceWrites{1, 3, 2, 1, 5};
constexpr Results kUntranslated{5, 5, 5, 5, 5};

// Releases what a read handed out: nothing for a scalar, free() for a buffer, and
// DestroyStringArrayValue for a string list.
template <class T>
void Release(T&, int) {}
template <class T>
void Release(T*& buffer, int) {
    std::free(buffer);
}
inline void Release(char**& list, int count) {
    DestroyStringArrayValue(&list, count);
}

// An opened store, an object handle and a filter spec handle (of the key "fan") on a freshly reset
// double, released by the fixture, which then expects no engine object or store to be alive.
class HandleTest : public ::testing::Test {
protected:
    // The log holds exactly these lines, all at priority 0.
    static void ExpectLog(const std::vector<ExpectedLine>& expected) {
        const auto& lines = enginedouble::Recorded().log;
        ASSERT_EQ(lines.size(), expected.size()) << (lines.empty() ? "" : lines[0].format);
        for (size_t i = 0; i < lines.size(); ++i) {
            EXPECT_EQ(lines[i].priority, 0);
            EXPECT_EQ(lines[i].format, expected[i].format);
            EXPECT_EQ(lines[i].args, expected[i].args);
        }
    }

    // `operation` raises each kind of engine exception in turn: `call` answers what `results`
    // lists and logs the exception's text once, under `tag` unless that is NULL (a worker's).
    static void ExpectTranslations(const char* operation, const char* tag,
                                   const std::function<int()>& call, const Results& results) {
        using namespace KivConfigStore;
        const std::pair<std::exception_ptr, const char*> errors[] = {
            {std::make_exception_ptr(ConfigStoreException("store")), "store"},
            {std::make_exception_ptr(ValidationException("validation")), "validation"},
            {std::make_exception_ptr(InvalidArgumentException("argument")), "argument"},
            {std::make_exception_ptr(InvalidTypeException("type")), "type"},
            {std::make_exception_ptr(std::runtime_error("runtime")), "runtime"}};
        for (size_t i = 0; i < results.size(); ++i) {
            enginedouble::Reset();
            enginedouble::Throw(operation, errors[i].first);
            EXPECT_EQ(call(), results[i]) << operation << ": " << errors[i].second;
            const auto& lines = enginedouble::Recorded().log;
            ASSERT_EQ(lines.size(), 1u);
            EXPECT_EQ(lines[0].format, line::kFailure);
            EXPECT_EQ(lines[0].args.back(), errors[i].second);
            EXPECT_EQ(lines[0].args.front(), tag ? tag : lines[0].args.front());
        }
    }

    void SetUp() override {
        enginedouble::Reset();
        ASSERT_EQ(GetStore(nullptr, &store_), CS_C_OK);
        object_ = NewHandle<ConfigStoreObjectStruct>(enginedouble::MakeObject("object"), true);
        ASSERT_EQ(CreateFilterSpecObject("fan", "g", "c", nullptr, &filter_), CS_C_OK);
        enginedouble::Reset();
    }
    void TearDown() override {
        EXPECT_EQ(DestroyConfigStoreObject(object_), CS_C_OK);
        EXPECT_EQ(DestroyFilterSpecObject(filter_), CS_C_OK);
        DestroyStore(store_);
        enginedouble::Reset();  // scripted answers hold references too
        EXPECT_EQ(enginedouble::Recorded().liveObjects, 0) << "an engine reference was left behind";
        EXPECT_EQ(enginedouble::Recorded().liveStores, 0);
    }

    ConfigStoreStruct* store_ = nullptr;
    ConfigStoreObjectStruct* object_ = nullptr;
    FilterSpecObjectStruct* filter_ = nullptr;
};
