#include "Values.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <regex>
#include <string_view>

#include "Handles.h"
#include "ImportLimit.h"
#include "Output.h"
#include "Status.h"

namespace csctl {
namespace {

[[noreturn]] void Unusable(const std::string& argument, const std::string& why) {
    throw Failure{kUsage, "'" + argument + "': " + why, {}};
}

// One JSON scalar as the type asks for; false when it does not fit.
bool ToScalar(const rapidjson::Value& json, ValueType type, Scalar& out) {
    switch (type) {
        case ValueType::Inferred:
        case ValueType::Json:
            if (json.IsBool())
                out = json.GetBool();
            else if (json.IsInt64())
                out = static_cast<long long>(json.GetInt64());
            else if (json.IsNumber())
                out = json.GetDouble();
            else if (json.IsString())
                out = std::string(json.GetString(), json.GetStringLength());
            else
                return false;
            return true;
        case ValueType::Integer:
            if (!json.IsInt64()) return false;
            out = static_cast<long long>(json.GetInt64());
            return true;
        case ValueType::Double:
            if (!json.IsNumber()) return false;
            out = json.GetDouble();
            return true;
        case ValueType::Bool:
            if (json.IsBool())
                out = json.GetBool();
            else if (json.IsInt64() && (json.GetInt64() == 0 || json.GetInt64() == 1))
                out = json.GetInt64() == 1;
            else
                return false;
            return true;
        case ValueType::String:
            break;
    }
    return false;
}

// A list holds one type; inferred integers among doubles become doubles.
bool OneType(std::vector<Scalar>& items) {
    bool doubles = false;
    bool integers = false;
    for (const Scalar& item : items) {
        doubles = doubles || std::holds_alternative<double>(item);
        integers = integers || std::holds_alternative<long long>(item);
    }
    if (doubles && integers) {
        for (Scalar& item : items) {
            if (auto* integer = std::get_if<long long>(&item)) item = static_cast<double>(*integer);
        }
    }
    for (const Scalar& item : items) {
        if (item.index() != items.front().index()) return false;
    }
    return true;
}

template <typename Handle>
struct Setters {
    ConfigStoreCStatus (*setBool)(Handle*, const char*, bool);
    ConfigStoreCStatus (*setInteger)(Handle*, const char*, long long);
    ConfigStoreCStatus (*setDouble)(Handle*, const char*, double);
    ConfigStoreCStatus (*setString)(Handle*, const char*, const char*);
    ConfigStoreCStatus (*setBinary)(Handle*, const char*, const unsigned char*, unsigned long);
    ConfigStoreCStatus (*setEmptyList)(Handle*, const char*);
    ConfigStoreCStatus (*appendBool)(Handle*, const char*, bool);
    ConfigStoreCStatus (*appendInteger)(Handle*, const char*, long long);
    ConfigStoreCStatus (*appendDouble)(Handle*, const char*, double);
    ConfigStoreCStatus (*appendString)(Handle*, const char*, const char*);
};

const Setters<ConfigStoreObjectStruct> kObjectSetters{
    SetValueBool,      SetValueLonglong, SetValueDouble,      SetValueStr,       SetValueBinary,
    SetValueEmptyList, AppendValueBool,  AppendValueLonglong, AppendValueDouble, AppendValueString};
const Setters<FilterSpecObjectStruct> kFilterSetters{
    SetValueFsoBool,      SetValueFsoLonglong,  SetValueFsoDouble,  SetValueFsoStr,
    SetValueFsoBinary,    SetValueFsoEmptyList, AppendValueFsoBool, AppendValueFsoLonglong,
    AppendValueFsoDouble, AppendValueFsoString};

template <typename Handle>
void Write(Handle* handle, const Assignment& assignment, const Setters<Handle>& setters) {
    const char* key = assignment.key.c_str();
    const std::string fallback = "cannot store the value of '" + assignment.key + "'";
    const bool list = assignment.value.list;
    if (!assignment.value.object.empty()) {
        throw Failure{
            kUsage, "'" + assignment.key + "': an object value is no value of a filter", {}};
    }
    if (list) Check(Logged([&] { return setters.setEmptyList(handle, key); }), fallback);
    for (const Scalar& item : assignment.value.items) {
        const ConfigStoreCStatus status = Logged([&] {
            if (auto* flag = std::get_if<bool>(&item))
                return (list ? setters.appendBool : setters.setBool)(handle, key, *flag);
            if (auto* integer = std::get_if<long long>(&item))
                return (list ? setters.appendInteger : setters.setInteger)(handle, key, *integer);
            if (auto* number = std::get_if<double>(&item))
                return (list ? setters.appendDouble : setters.setDouble)(handle, key, *number);
            if (auto* bytes = std::get_if<Bytes>(&item)) {
                const auto* data = reinterpret_cast<const unsigned char*>(bytes->data.data());
                return setters.setBinary(handle, key, data, bytes->data.size());
            }
            const char* text = std::get<std::string>(item).c_str();
            return (list ? setters.appendString : setters.setString)(handle, key, text);
        });
        Check(status, fallback);
    }
}

// Binary values print as the exchange document writes them; neither RapidJSON nor CLI11 has a
// base64 encoder.
std::string Base64(const unsigned char* data, unsigned long size) {
    static const char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (unsigned long i = 0; i < size; i += 3) {
        const unsigned long rest = size - i;
        const unsigned bits =
            (data[i] << 16) | (rest > 1 ? data[i + 1] << 8 : 0) | (rest > 2 ? data[i + 2] : 0);
        text += kDigits[(bits >> 18) & 63];
        text += kDigits[(bits >> 12) & 63];
        text += rest > 1 ? kDigits[(bits >> 6) & 63] : '=';
        text += rest > 2 ? kDigits[bits & 63] : '=';
    }
    return text;
}

using Allocator = rapidjson::Document::AllocatorType;

// Whether a stored value, as the exchange document shows it, is of the type a read gives.
using Fits = bool (*)(const rapidjson::Value&);
bool IsBool(const rapidjson::Value& value) {
    return value.IsBool();
}
bool IsInteger(const rapidjson::Value& value) {
    return value.IsInt64();
}
bool IsNumber(const rapidjson::Value& value) {
    return value.IsNumber();  // a double read takes integers too
}
bool IsString(const rapidjson::Value& value) {
    return value.IsString();
}
bool IsBinary(const rapidjson::Value& value) {
    return value.IsObject() && value.HasMember("$base64");
}
template <Fits element>
bool IsListOf(const rapidjson::Value& value) {
    return value.IsArray() && std::all_of(value.Begin(), value.End(), element);
}

// One typed read: the stored values it gives, and the read with its status, the value as
// JSON when it answered.
struct TypedRead {
    Fits fits;
    std::function<ConfigStoreCStatus(ConfigStoreObjectStruct*, const char*, rapidjson::Value&,
                                     Allocator&)>
        read;
};

// rapidjson knows int64_t, which need not be long long.
rapidjson::Value ToJson(bool value) {
    return rapidjson::Value(value);
}
rapidjson::Value ToJson(long long value) {
    return rapidjson::Value(static_cast<int64_t>(value));
}
rapidjson::Value ToJson(double value) {
    return rapidjson::Value(value);
}

template <typename T, typename Read>
TypedRead ScalarRead(Fits fits, Read read) {
    return {fits, [read](ConfigStoreObjectStruct* object, const char* key, rapidjson::Value& out,
                         Allocator&) {
                T value{};
                const ConfigStoreCStatus status = read(object, key, &value);
                out = ToJson(value);
                return status;
            }};
}

template <typename T, Fits element, typename Read>
TypedRead ListRead(Read read) {
    return {IsListOf<element>, [read](ConfigStoreObjectStruct* object, const char* key,
                                      rapidjson::Value& out, Allocator& allocator) {
                T* raw = nullptr;
                int count = 0;
                const ConfigStoreCStatus status = read(object, key, &raw, &count);
                const Buffer<T> values(raw);
                out.SetArray();
                for (int i = 0; i < count; ++i) out.PushBack(ToJson(values.get()[i]), allocator);
                return status;
            }};
}

// In the order they are tried: an integer reads as one before it reads as a double, and an
// empty list as a list of integers.
const std::vector<TypedRead>& TypedReads() {
    static const std::vector<TypedRead> reads{
        ScalarRead<bool>(IsBool, GetValueBool),
        ScalarRead<long long>(IsInteger,
                              [](auto* object, const char* key, long long* value) {
                                  return GetValueLonglong(object, key, value);
                              }),
        ScalarRead<double>(IsNumber, GetValueDouble),
        {IsString,
         [](ConfigStoreObjectStruct* object, const char* key, rapidjson::Value& out,
            Allocator& allocator) {
             char* raw = nullptr;
             const ConfigStoreCStatus status = GetValueStr(object, key, &raw);
             const Text text(raw);
             out.SetString(text ? text.get() : "", allocator);
             return status;
         }},
        {IsBinary,
         [](ConfigStoreObjectStruct* object, const char* key, rapidjson::Value& out,
            Allocator& allocator) {
             unsigned char* raw = nullptr;
             unsigned long size = 0;
             const ConfigStoreCStatus status = GetValueBinary(object, key, &raw, &size);
             const Buffer<unsigned char> data(raw);
             out.SetObject();
             out.AddMember("$base64", rapidjson::Value(Base64(data.get(), size).c_str(), allocator),
                           allocator);
             return status;
         }},
        ListRead<long long, IsInteger>(GetValueLonglongArray),
        ListRead<double, IsNumber>(GetValueDoubleArray),
        ListRead<bool, IsBool>(GetValueBoolArray),
        {IsListOf<IsString>,
         [](ConfigStoreObjectStruct* object, const char* key, rapidjson::Value& out,
            Allocator& allocator) {
             StringList list;
             const ConfigStoreCStatus status =
                 GetValueStringArray(object, key, &list.items, &list.count);
             out.SetArray();
             for (int i = 0; i < list.count; ++i) {
                 out.PushBack(rapidjson::Value(list.items[i], allocator), allocator);
             }
             return status;
         }},
    };
    return reads;
}

// A document whose numbers are converted one by one. RapidJSON 1.1.0's full-precision
// conversion computes garbage when every digit of the significand is zero and the exponent is
// large ("0.0e300"): such a number is zero; any other goes through RapidJSON on its own.
struct ExactDocument : rapidjson::Document {
    // An integer beyond 64 bits, which a double would round, is no number a value holds.
    bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
        const std::string_view number(text, length);
        const std::size_t exponent = std::min(number.find_first_of("eE"), number.size());
        const bool integral =
            exponent == number.size() && number.find('.') == std::string_view::npos;
        long long integer = 0;
        if (integral && std::from_chars(text, text + length, integer).ec != std::errc()) {
            return false;
        }
        if (number.find_first_of("123456789") >= exponent) {
            if (integral) return Int(0);
            return Double(number.front() == '-' ? -0.0 : 0.0);
        }
        rapidjson::MemoryStream digits(text, length);
        rapidjson::Reader reader;
        return !reader.Parse<rapidjson::kParseFullPrecisionFlag>(digits, AsDocument()).IsError();
    }
    rapidjson::Document& AsDocument() { return *this; }

    // Parses `text`; false when it is not JSON.
    bool Read(const std::string& text) {
        bool parsed = false;
        auto generate = [&](rapidjson::Document& document) {
            rapidjson::MemoryStream bytes(text.data(), text.size());
            rapidjson::Reader reader;
            auto& exact = static_cast<ExactDocument&>(document);
            parsed = !reader.Parse<rapidjson::kParseNumbersAsStringsFlag>(bytes, exact).IsError();
            return parsed;
        };
        Populate(generate);
        return parsed;
    }
};

}  // namespace

Assignment ParseAssignment(const std::string& argument, ValueType type) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos) Unusable(argument, "expected VALUEKEY=VALUE");
    Assignment assignment{argument.substr(0, equals), {}};
    const std::string text = argument.substr(equals + 1);
    if (type == ValueType::String) {
        assignment.value.items.emplace_back(text);
        return assignment;
    }
    if (type == ValueType::Inferred && text.rfind('@', 0) == 0) {
        // A value the exchange document could not hold is no value either.
        assignment.value.items.emplace_back(Bytes{ReadFile(text.substr(1))});
        return assignment;
    }
    ExactDocument json;
    if (!json.Read(text)) {
        if (type != ValueType::Inferred) Unusable(argument, "the value does not fit its type");
        // A number no value can hold, or a list that is no JSON, is a mistake: a string is quoted.
        static const std::regex kNumberLike(
            R"([-+]?(([0-9]+\.?[0-9]*|\.[0-9]+)([eE][-+]?[0-9]+)?|nan|inf|infinity)|\[.*)",
            std::regex::icase);
        if (std::regex_match(text, kNumberLike)) {
            Unusable(argument,
                     "not a value: integers have 64 bits, numbers are finite, lists are JSON "
                     "(a string: quote it as JSON, or use --string)");
        }
        assignment.value.items.emplace_back(text);
        return assignment;
    }
    Value& value = assignment.value;
    if (json.IsObject() && type == ValueType::Json) {
        value.object = JsonText(json);
        return assignment;
    }
    value.list = json.IsArray();
    if (!value.list) {
        value.items.emplace_back();
        if (!ToScalar(json, type, value.items.back())) {
            Unusable(argument, json.IsObject() ? "an object is written with --json-value"
                                               : "the value does not fit its type");
        }
        return assignment;
    }
    for (const rapidjson::Value& element : json.GetArray()) {
        value.items.emplace_back();
        if (!ToScalar(element, type, value.items.back())) {
            Unusable(argument, "a list element does not fit the list's type");
        }
    }
    if (!OneType(value.items)) Unusable(argument, "a list holds elements of one type");
    return assignment;
}

std::string ReadFile(const std::string& path) {
    using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    File opened(path == "-" ? nullptr : std::fopen(path.c_str(), "rb"), &std::fclose);
    std::FILE* file = path == "-" ? stdin : opened.get();
    const std::size_t limit = limits::ImportLimit();
    std::string text;
    struct stat status {};
    if (file != nullptr && fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode)) {
        text.reserve(std::min(static_cast<std::size_t>(status.st_size), limit) + 1);
    }
    char chunk[65536];
    for (std::size_t got;
         file != nullptr && (got = std::fread(chunk, 1, sizeof chunk, file)) > 0;) {
        if (got > limit - text.size()) {
            throw Failure{
                kDataError,
                path + ": longer than " + std::to_string(limit) + " bytes (CONFIGSTORE_IMPORT_MAX)",
                {}};
        }
        text.append(chunk, got);
    }
    if (file == nullptr || std::ferror(file)) {
        throw Failure{kNoInput, "cannot read " + path + ": " + std::strerror(errno), {}};
    }
    return text;
}

void WriteValue(ConfigStoreObjectStruct* object, const Assignment& assignment) {
    Write(object, assignment, kObjectSetters);
}

void WriteValue(FilterSpecObjectStruct* filter, const Assignment& assignment) {
    Write(filter, assignment, kFilterSetters);
}

ConfigStoreCStatus ReadValue(ConfigStoreObjectStruct* object, const std::string& key,
                             const std::string& objectName,
                             const std::vector<const rapidjson::Value*>& stored,
                             rapidjson::Value& out, Allocator& allocator) {
    const auto fitsStored = [&](const TypedRead& read) {
        return std::any_of(stored.begin(), stored.end(),
                           [&](const rapidjson::Value* value) { return read.fits(*value); });
    };
    for (const TypedRead& read : TypedReads()) {
        // A key that no stored class holds is a default or absent: the status of any read
        // tells which, but only a read of the default's type gives it.
        if (!stored.empty() && !fitsStored(read)) continue;
        const ConfigStoreCStatus status =
            Logged([&] { return read.read(object, key.c_str(), out, allocator); });
        if (status == CS_C_INVALID_TYPE) continue;
        if (status == CS_C_OK || status == CS_C_VALUE_IS_DEFAULT) return status;
        Check(status, "not found: " + objectName + " has no value '" + key + "'");
    }
    // An object value has no typed read: it is the stored one, as the exchange document shows it.
    if (!stored.empty()) {
        out.CopyFrom(*stored.front(), allocator);
        return CS_C_OK;
    }
    throw Failure{CS_C_INVALID_TYPE,
                  "'" + key + "' of " + objectName + " holds a value that no typed read gives",
                  {}};
}

}  // namespace csctl
