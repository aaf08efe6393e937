// The checks a schema file's "schema" passes before RapidJSON compiles it: RapidJSON 1.1.0
// trusts the schemas it compiles, and some would crash or hang it.
#pragma once

#include <rapidjson/schema.h>

#include <string>

#include "Json.h"

namespace standin {

using SchemaDocument = rapidjson::GenericSchemaDocument<JsonValue, JsonAllocator>;

// Draft 4's meta-schema, compiled once: a "schema" must meet it, since RapidJSON's validator
// trusts the keywords it compiles to have the right types.
const SchemaDocument& MetaSchema();

// Why RapidJSON cannot compile or run `schema` (a file's "schema", which meets the meta-schema)
// safely, naming the place from '/schema'; empty when it can. See SafetyCheck in
// SchemaSafety.cpp.
std::string SafetyProblem(const JsonValue& schema);

}  // namespace standin
