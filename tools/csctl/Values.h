// Values on the command line and in the store: the type a VALUEKEY=VALUE argument stands for,
// its writes to an object or a filter spec, and the typed reads that bring a value back.
#pragma once

#include <configstorec.h>
#include <rapidjson/document.h>

#include <string>
#include <variant>
#include <vector>

namespace csctl {

// The bytes of a binary value.
struct Bytes {
    std::string data;
};

using Scalar = std::variant<bool, long long, double, std::string, Bytes>;

// One value: a scalar (one item), a list of items of one type, or a JSON object (`object`, its
// compact text), which no setter writes: it goes into the object's document.
struct Value {
    bool list = false;
    std::vector<Scalar> items;
    std::string object;
};

struct Assignment {
    std::string key;
    Value value;
};

// The type an option forces on its VALUE. Inferred reads VALUE as JSON, a text that is no JSON
// as a string, and "@FILE" as the bytes of FILE ("@-": standard input); Json takes any JSON.
enum class ValueType { Inferred, Integer, Double, Bool, String, Json };

// Reads "VALUEKEY=VALUE"; a Failure with kUsage when the text does not fit the type, kNoInput
// when a file cannot be read.
Assignment ParseAssignment(const std::string& argument, ValueType type);

// The bytes of a file ("-": standard input), which must be no longer than a document the store
// imports (CONFIGSTORE_IMPORT_MAX): kDataError when longer, kNoInput when unreadable.
std::string ReadFile(const std::string& path);

// Writes a value with the setters (and appends, for a list) of an object or a filter spec; an
// object value is a usage error.
void WriteValue(ConfigStoreObjectStruct* object, const Assignment& assignment);
void WriteValue(FilterSpecObjectStruct* filter, const Assignment& assignment);

// Reads a value into JSON by one typed read: the first whose type fits what the stored classes
// hold for the key (`stored`, the values of the object's exchange entries), so that no read
// fails on a value of another type. A key no class holds (a default) is read by each typed
// read in turn until one gives it; an object, which no typed read gives, is the stored one.
// Returns CS_C_OK or CS_C_VALUE_IS_DEFAULT; throws a Failure for an absent key, a default no
// typed read gives and failures of the store.
ConfigStoreCStatus ReadValue(ConfigStoreObjectStruct* object, const std::string& key,
                             const std::string& objectName,
                             const std::vector<const rapidjson::Value*>& stored,
                             rapidjson::Value& out, rapidjson::Document::AllocatorType& allocator);

}  // namespace csctl
