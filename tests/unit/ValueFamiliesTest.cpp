// Every value function, table-driven: argument checks with its own name, the engine operation it
// reaches, the exceptions its family translates (and the catch-all for the rest), and the
// mapping of read statuses.
#include <cstdlib>
#include <stdexcept>

#include "DoubleTest.h"
#include "ValueTest.h"

namespace {

using namespace KivConfigStore;
using enginedouble::Read;

enum class Kind { Read, Write, Append, Plain };

struct ValueFunction {
    const char* name;
    Kind kind;
    const char* operation;  // the engine operation it must reach
    const char* worker;     // the tag of its engine-exception lines
    int (*call)(void* handle, const char* key);
    void (*scriptStatus)(const char* operation, int status);  // reads only
};

template <class T>
T Sample() {
    return T(1);
}
template <>
const char* Sample<const char*>() {
    return "text";
}
template <>
std::string Sample<std::string>() {
    return "text";
}
template <>
std::vector<std::string> Sample<std::vector<std::string>>() {
    return {"a", "b"};
}
template <>
std::vector<int> Sample<std::vector<int>>() {
    return {1, 2};
}
template <>
std::vector<long long> Sample<std::vector<long long>>() {
    return {1, 2};
}
template <>
std::vector<double> Sample<std::vector<double>>() {
    return {1.5, 2.5};
}
template <>
std::vector<bool> Sample<std::vector<bool>>() {
    return {true, false};
}

template <class T>
void ScriptStatus(const char* operation, int status) {
    enginedouble::Answer(operation, Read<T>{status, Sample<T>()});
}

// Callers of each shape; what a read hands out is released again.
template <class Handle, class T>
int CallRead(int (*function)(Handle*, const char*, T*), void* handle, const char* key) {
    T value{};
    return function(static_cast<Handle*>(handle), key, &value);
}
template <class Handle>
int CallRead(int (*function)(Handle*, const char*, char**), void* handle, const char* key) {
    char* value = nullptr;
    const int result = function(static_cast<Handle*>(handle), key, &value);
    std::free(value);
    return result;
}
template <class Handle, class T>
int CallRead(int (*function)(Handle*, const char*, T**, int*), void* handle, const char* key) {
    T* values = nullptr;
    int count = 0;
    const int result = function(static_cast<Handle*>(handle), key, &values, &count);
    std::free(values);
    return result;
}
template <class Handle>
int CallRead(int (*function)(Handle*, const char*, char***, int*), void* handle, const char* key) {
    char** values = nullptr;
    int count = 0;
    const int result = function(static_cast<Handle*>(handle), key, &values, &count);
    DestroyStringArrayValue(&values, count);
    return result;
}
template <class Handle>
int CallRead(int (*function)(Handle*, const char*, unsigned char**, unsigned long*), void* handle,
             const char* key) {
    unsigned char* data = nullptr;
    unsigned long size = 0;
    const int result = function(static_cast<Handle*>(handle), key, &data, &size);
    std::free(data);
    return result;
}
template <class Handle, class T>
int CallWrite(int (*function)(Handle*, const char*, T), void* handle, const char* key) {
    return function(static_cast<Handle*>(handle), key, Sample<T>());
}
template <class Handle>
int CallPlain(int (*function)(Handle*, const char*), void* handle, const char* key) {
    return function(static_cast<Handle*>(handle), key);
}
template <class Handle>
int CallBinaryWrite(int (*function)(Handle*, const char*, const unsigned char*, unsigned long),
                    void* handle, const char* key) {
    const unsigned char bytes[] = {1, 2, 3};
    return function(static_cast<Handle*>(handle), key, bytes, sizeof bytes);
}

#define READ(function, operation, worker, T)                                                   \
    {                                                                                          \
#function, Kind::Read, operation, worker,                                              \
            [](void* handle,                                                                   \
               const char* key) { return CallRead(function, handle, key); }, ScriptStatus < T> \
    }
#define WRITE(function, kind, operation, worker)                                                 \
    {                                                                                            \
#function, kind, operation, worker,                                                      \
            [](void* handle, const char* key) { return CallWrite(function, handle, key); },      \
                                                                                         nullptr \
    }
#define PLAIN(function, operation, call)                                                       \
    {                                                                                          \
#function, Kind::Plain, operation, #function,                                          \
            [](void* handle, const char* key) { return call(function, handle, key); }, nullptr \
    }

const char* const kRead = "GetValueInternal";
const char* const kSet = "SetValueInternal";
const char* const kAppend = "AppendValueInternal";
const char* const kArray = "GetValueArrayInternal";

const ValueFunction kFunctions[] = {
    READ(GetValueInt, "GetValue(int*)", kRead, int),
    READ(GetValueFsoInt, "GetValue(int*)", kRead, int),
    READ(GetValueUint16, "GetValue(unsigned short*)", kRead, unsigned short),
    READ(GetValueFsoUint16, "GetValue(unsigned short*)", kRead, unsigned short),
    READ(GetValueUint32, "GetValue(unsigned int*)", kRead, unsigned int),
    READ(GetValueFsoUint32, "GetValue(unsigned int*)", kRead, unsigned int),
    READ(GetValueLong, "GetValue(long*)", kRead, long),
    READ(GetValueFsoLong, "GetValue(long*)", kRead, long),
    READ(GetValueLonglong, "GetValue(long long*)", kRead, long long),
    READ(GetValueFsoLonglong, "GetValue(long long*)", kRead, long long),
    READ(GetValueBool, "GetValue(bool*)", kRead, bool),
    READ(GetValueFsoBool, "GetValue(bool*)", kRead, bool),
    READ(GetValueDouble, "GetValue(double*)", kRead, double),
    READ(GetValueFsoDouble, "GetValue(double*)", kRead, double),
    READ(GetValueStr, "GetValue(string*)", kRead, std::string),
    READ(GetValueFsoStr, "GetValue(string*)", kRead, std::string),
    READ(GetValueStringArray, "GetValue(vector<string>*)", "GetValueStringArrayInternal",
         std::vector<std::string>),
    READ(GetValueFsoStringArray, "GetValue(vector<string>*)", "GetValueStringArrayInternal",
         std::vector<std::string>),
    READ(GetValueBinary, "GetValueBinary", "GetValueBinaryInternal", std::string),
    READ(GetValueFsoBinary, "GetValueBinary", "GetValueBinaryInternal", std::string),
    READ(GetValueIntArray, "GetValue(vector<int>*)", kArray, std::vector<int>),
    READ(GetValueFsoIntArray, "GetValue(vector<int>*)", kArray, std::vector<int>),
    READ(GetValueDoubleArray, "GetValue(vector<double>*)", kArray, std::vector<double>),
    READ(GetValueFsoDoubleArray, "GetValue(vector<double>*)", kArray, std::vector<double>),
    READ(GetValueLonglongArray, "GetValue(vector<long long>*)", kArray, std::vector<long long>),
    READ(GetValueFsoLonglongArray, "GetValue(vector<long long>*)", kArray, std::vector<long long>),
    READ(GetValueBoolArray, "GetValue(vector<bool>*)", kArray, std::vector<bool>),
    READ(GetValueFsoBoolArray, "GetValue(vector<bool>*)", kArray, std::vector<bool>),
    WRITE(SetValueInt, Kind::Write, "SetValue(int)", kSet),
    WRITE(SetValueFsoInt, Kind::Write, "SetValue(int)", kSet),
    WRITE(SetValueUint16, Kind::Write, "SetValue(unsigned short)", kSet),
    WRITE(SetValueFsoUint16, Kind::Write, "SetValue(unsigned short)", kSet),
    WRITE(SetValueUint32, Kind::Write, "SetValue(unsigned int)", kSet),
    WRITE(SetValueFsoUint32, Kind::Write, "SetValue(unsigned int)", kSet),
    WRITE(SetValueLong, Kind::Write, "SetValue(long)", kSet),
    WRITE(SetValueFsoLong, Kind::Write, "SetValue(long)", kSet),
    WRITE(SetValueLonglong, Kind::Write, "SetValue(long long)", kSet),
    WRITE(SetValueFsoLonglong, Kind::Write, "SetValue(long long)", kSet),
    WRITE(SetValueBool, Kind::Write, "SetValue(bool)", kSet),
    WRITE(SetValueFsoBool, Kind::Write, "SetValue(bool)", kSet),
    WRITE(SetValueDouble, Kind::Write, "SetValue(double)", kSet),
    WRITE(SetValueFsoDouble, Kind::Write, "SetValue(double)", kSet),
    WRITE(SetValueFloat, Kind::Write, "SetValue(float)", kSet),
    WRITE(SetValueFsoFloat, Kind::Write, "SetValue(float)", kSet),
    WRITE(SetValueStr, Kind::Write, "SetValue(const char*)", kSet),
    WRITE(SetValueFsoStr, Kind::Write, "SetValue(const char*)", kSet),
    WRITE(AppendValueInt, Kind::Append, "AppendValue(int)", kAppend),
    WRITE(AppendValueFsoInt, Kind::Append, "AppendValue(int)", kAppend),
    WRITE(AppendValueLonglong, Kind::Append, "AppendValue(long long)", kAppend),
    WRITE(AppendValueFsoLonglong, Kind::Append, "AppendValue(long long)", kAppend),
    WRITE(AppendValueDouble, Kind::Append, "AppendValue(double)", kAppend),
    WRITE(AppendValueFsoDouble, Kind::Append, "AppendValue(double)", kAppend),
    WRITE(AppendValueBool, Kind::Append, "AppendValue(bool)", kAppend),
    WRITE(AppendValueFsoBool, Kind::Append, "AppendValue(bool)", kAppend),
    WRITE(AppendValueString, Kind::Append, "AppendValue(string)", kAppend),
    WRITE(AppendValueFsoString, Kind::Append, "AppendValue(string)", kAppend),
    PLAIN(RemoveValue, "Remove", CallPlain),
    PLAIN(RemoveValueFso, "Remove", CallPlain),
    PLAIN(SetValueEmptyList, "SetValueEmptyList", CallPlain),
    PLAIN(SetValueFsoEmptyList, "SetValueEmptyList", CallPlain),
    PLAIN(SetValueBinary, "SetValueBinary", CallBinaryWrite),
    PLAIN(SetValueFsoBinary, "SetValueBinary", CallBinaryWrite),
};

void PrintTo(const ValueFunction& function, std::ostream* out) {
    *out << function.name;
}

class ValueFunctions : public ValueTest, public ::testing::WithParamInterface<ValueFunction> {
protected:
    void* Handle() {
        if (IsFilterFunction(GetParam().name)) return FilterHandle();
        return ObjectHandle();
    }
    static bool IsFilterFunction(const std::string& name) {
        return name.find("Fso") != std::string::npos;
    }
};

TEST_P(ValueFunctions, RefuseMissingHandleOrKeyUnderTheirOwnName) {
    const ValueFunction& function = GetParam();
    EXPECT_EQ(function.call(nullptr, nullptr), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(function.call(Handle(), nullptr), CS_C_INVALID_ARGUMENT);
    ExpectLog({{"%s: argument object not provided", {function.name}},
               {"%s: argument 'key' not provided", {function.name}}});
    EXPECT_TRUE(enginedouble::Calls().empty());
}

TEST_P(ValueFunctions, ReachExactlyTheirOwnEngineOperation) {
    const ValueFunction& function = GetParam();
    function.call(Handle(), "color");
    ASSERT_EQ(enginedouble::Calls().size(), 1u);
    const auto& call = enginedouble::Calls()[0];
    EXPECT_EQ(call.operation, function.operation);
    EXPECT_EQ(call.target, EngineObjectOf(Handle()));
    EXPECT_EQ(call.args.at(0), "color");
}

TEST_P(ValueFunctions, TranslateOnlyTheirFamilysExceptions) {
    const ValueFunction& function = GetParam();
    struct Outcome {
        std::exception_ptr error;
        const char* text;
        int result;
    };
    const auto invalidType = std::make_exception_ptr(InvalidTypeException("holds a string"));
    const auto invalidArgument = std::make_exception_ptr(InvalidArgumentException("bad value"));
    const auto storeFailure = std::make_exception_ptr(ConfigStoreException("store failed"));
    const auto runtime = std::make_exception_ptr(std::runtime_error("runtime"));
    std::vector<Outcome> outcomes;
    switch (function.kind) {
        case Kind::Read:
            outcomes = {{invalidType, "holds a string", CS_C_INVALID_TYPE},
                        {invalidArgument, "bad value", CS_C_INTERNAL_ERROR}};
            break;
        case Kind::Write:
            outcomes = {{invalidArgument, "bad value", CS_C_INVALID_ARGUMENT},
                        {invalidType, "holds a string", CS_C_INTERNAL_ERROR}};
            break;
        case Kind::Append:
            outcomes = {{invalidArgument, "bad value", CS_C_INVALID_ARGUMENT},
                        {invalidType, "holds a string", CS_C_INVALID_TYPE},
                        {storeFailure, "store failed", CS_C_INTERNAL_ERROR}};
            break;
        case Kind::Plain:
            outcomes = {{storeFailure, "store failed", CS_C_INTERNAL_ERROR}};
            break;
    }
    outcomes.push_back({runtime, "runtime", CS_C_INTERNAL_ERROR});
    for (const Outcome& outcome : outcomes) {
        enginedouble::Reset();
        enginedouble::Throw(function.operation, outcome.error);
        EXPECT_EQ(function.call(Handle(), "k"), outcome.result) << outcome.text;
        ExpectLog({{"%s: %s", {function.worker, outcome.text}}});
    }
}

INSTANTIATE_TEST_SUITE_P(All, ValueFunctions, ::testing::ValuesIn(kFunctions),
                         [](const auto& info) { return std::string(info.param.name); });

class ValueReads : public ValueFunctions {};

TEST_P(ValueReads, MapTheEnginesStatus) {
    const ValueFunction& function = GetParam();
    const int expected[] = {CS_C_NOT_FOUND, CS_C_OK, CS_C_VALUE_IS_DEFAULT, CS_C_VALUE_IS_DEFAULT};
    for (int status = 0; status < 4; ++status) {
        function.scriptStatus(function.operation, status);
        EXPECT_EQ(function.call(Handle(), "k"), expected[status]) << "status " << status;
    }
    ExpectLog({});
}

std::vector<ValueFunction> Reads() {
    std::vector<ValueFunction> reads;
    for (const ValueFunction& function : kFunctions) {
        if (function.kind == Kind::Read) reads.push_back(function);
    }
    return reads;
}

INSTANTIATE_TEST_SUITE_P(All, ValueReads, ::testing::ValuesIn(Reads()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
