// Why values break a schema, in words a person understands: the offending value and the limit
// it breaks, taken from what RapidJSON's validator reports.
#pragma once

#include <rapidjson/pointer.h>

#include <string>

#include "Json.h"

namespace standin {

using JsonPointer = rapidjson::GenericPointer<JsonValue, JsonAllocator>;

// Where a validation failed: the keyword, the schema that holds it (a pointer into the draft 4
// form the validator ran, or none when that form is not at hand) and the offending value.
struct Failure {
    const char* keyword;
    const JsonValue* schema;
    const JsonPointer& schemaAt;
    const JsonValue& values;
    const JsonPointer& valueAt;
};

// The reason that follows the offending value's pointer, e.g. "is 20, below the minimum 68". A
// keyword without words of its own gives "fails <schemaName>'s '<keyword>' at '#<schemaAt>'".
std::string ReasonOf(const Failure& failure, const char* schemaName);

}  // namespace standin
