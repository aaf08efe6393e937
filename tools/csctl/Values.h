// Values on the command line and in the store: the type a VALUEKEY=VALUE argument stands for,
// its writes to an object or a filter spec, and the typed reads that bring a value back.
#pragma once

#include <configstorec.h>
#include <rapidjson/document.h>

#include <string>
#include <variant>
#include <vector>

namespace csctl {

using Scalar = std::variant<bool, long long, double, std::string>;

// One value: a scalar (one item) or a list of items of one type.
struct Value {
    bool list = false;
    std::vector<Scalar> items;
};

struct Assignment {
    std::string key;
    Value value;
};

// The type an option forces on its VALUE; Inferred reads VALUE as JSON.
enum class ValueType { Inferred, Integer, Double, Bool, String };

// Reads "VALUEKEY=VALUE"; a Failure with kUsage when the text does not fit the type.
Assignment ParseAssignment(const std::string& argument, ValueType type);

// Writes a value with the setters (and appends, for a list) of an object or a filter spec.
void WriteValue(ConfigStoreObjectStruct* object, const Assignment& assignment);
void WriteValue(FilterSpecObjectStruct* filter, const Assignment& assignment);

// Reads a value into JSON by one typed read: the first whose type fits what the stored classes
// hold for the key (`stored`, the values of the object's exchange entries), so that no read
// fails on a value of another type. A key no class holds (a default) is read by each typed
// read in turn until one gives it. Returns CS_C_OK or CS_C_VALUE_IS_DEFAULT; throws a Failure
// for an absent key, a value no typed read gives (an object) and failures of the store.
ConfigStoreCStatus ReadValue(ConfigStoreObjectStruct* object, const std::string& key,
                             const std::string& objectName,
                             const std::vector<const rapidjson::Value*>& stored,
                             rapidjson::Value& out, rapidjson::Document::AllocatorType& allocator);

}  // namespace csctl
