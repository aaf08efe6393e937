// The JSON Schema drafts a schema file may be written in, and their translation into the form
// RapidJSON 1.1.0's validator runs: draft 4, as RapidJSON's own bugs allow.
#pragma once

#include <string>
#include <vector>

#include "Json.h"

namespace standin {

// The draft 4 form of a file's "schema" (a JSON object), written in the draft its "$schema"
// names: draft 4 ("http://json-schema.org/draft-04/schema#") or draft 7
// ("http://json-schema.org/draft-07/schema#"); draft 4 without "$schema". See SchemaDrafts.cpp.
struct Draft4Form {
    Json schema;
    std::string draft;        // "draft 4" or "draft 7"; empty when "$schema" names another one
    std::string ignored;      // where keywords its draft does not know stand, comma separated
    bool laterDraft = false;  // some are draft 7's, in a draft 4 schema
    // Where in the top-level allOf of `schema` the rules on each key stand (additionalProperties
    // beside patternProperties, propertyNames), which defaults must meet as well.
    std::vector<rapidjson::SizeType> keyRules;
};

Draft4Form ToDraft4(const JsonValue& schema);

// The "$schema" of draft 7, for messages.
constexpr char kDraft7[] = "http://json-schema.org/draft-07/schema#";

}  // namespace standin
