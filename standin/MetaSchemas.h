// The meta-schemas of the drafts a schema file may be written in, without their identifiers and
// descriptions: draft 4's checks every "schema" (in its draft 4 form), since RapidJSON's
// validator trusts the keywords it compiles to have the right types; a schema may refer to
// either by its URI ("http://json-schema.org/draft-07/schema#").
#pragma once

namespace standin {

inline constexpr char kDraft4MetaSchema[] = R"({
  "definitions": {
    "schemaArray": {"type": "array", "minItems": 1, "items": {"$ref": "#"}},
    "positiveInteger": {"type": "integer", "minimum": 0},
    "simpleTypes": {"enum": ["array", "boolean", "integer", "null", "number", "object", "string"]},
    "stringArray": {"type": "array", "items": {"type": "string"}, "minItems": 1, "uniqueItems": true}
  },
  "type": "object",
  "properties": {
    "id": {"type": "string"},
    "$schema": {"type": "string"},
    "title": {"type": "string"},
    "description": {"type": "string"},
    "multipleOf": {"type": "number", "minimum": 0, "exclusiveMinimum": true},
    "maximum": {"type": "number"},
    "exclusiveMaximum": {"type": "boolean"},
    "minimum": {"type": "number"},
    "exclusiveMinimum": {"type": "boolean"},
    "maxLength": {"$ref": "#/definitions/positiveInteger"},
    "minLength": {"$ref": "#/definitions/positiveInteger"},
    "pattern": {"type": "string"},
    "additionalItems": {"anyOf": [{"type": "boolean"}, {"$ref": "#"}]},
    "items": {"anyOf": [{"$ref": "#"}, {"$ref": "#/definitions/schemaArray"}]},
    "maxItems": {"$ref": "#/definitions/positiveInteger"},
    "minItems": {"$ref": "#/definitions/positiveInteger"},
    "uniqueItems": {"type": "boolean"},
    "maxProperties": {"$ref": "#/definitions/positiveInteger"},
    "minProperties": {"$ref": "#/definitions/positiveInteger"},
    "required": {"$ref": "#/definitions/stringArray"},
    "additionalProperties": {"anyOf": [{"type": "boolean"}, {"$ref": "#"}]},
    "definitions": {"type": "object", "additionalProperties": {"$ref": "#"}},
    "properties": {"type": "object", "additionalProperties": {"$ref": "#"}},
    "patternProperties": {"type": "object", "additionalProperties": {"$ref": "#"}},
    "dependencies": {
      "type": "object",
      "additionalProperties": {"anyOf": [{"$ref": "#"}, {"$ref": "#/definitions/stringArray"}]}
    },
    "enum": {"type": "array", "minItems": 1, "uniqueItems": true},
    "type": {"anyOf": [
      {"$ref": "#/definitions/simpleTypes"},
      {"type": "array", "items": {"$ref": "#/definitions/simpleTypes"}, "minItems": 1,
       "uniqueItems": true}
    ]},
    "format": {"type": "string"},
    "allOf": {"$ref": "#/definitions/schemaArray"},
    "anyOf": {"$ref": "#/definitions/schemaArray"},
    "oneOf": {"$ref": "#/definitions/schemaArray"},
    "not": {"$ref": "#"}
  },
  "dependencies": {"exclusiveMaximum": ["maximum"], "exclusiveMinimum": ["minimum"]}
})";

inline constexpr char kDraft7MetaSchema[] = R"({
  "definitions": {
    "schemaArray": {"type": "array", "minItems": 1, "items": {"$ref": "#"}},
    "nonNegativeInteger": {"type": "integer", "minimum": 0},
    "simpleTypes": {"enum": ["array", "boolean", "integer", "null", "number", "object", "string"]},
    "stringArray": {"type": "array", "items": {"type": "string"}, "uniqueItems": true}
  },
  "type": ["object", "boolean"],
  "properties": {
    "$id": {"type": "string"},
    "$schema": {"type": "string"},
    "$ref": {"type": "string"},
    "$comment": {"type": "string"},
    "title": {"type": "string"},
    "description": {"type": "string"},
    "readOnly": {"type": "boolean"},
    "writeOnly": {"type": "boolean"},
    "examples": {"type": "array"},
    "multipleOf": {"type": "number", "exclusiveMinimum": 0},
    "maximum": {"type": "number"},
    "exclusiveMaximum": {"type": "number"},
    "minimum": {"type": "number"},
    "exclusiveMinimum": {"type": "number"},
    "maxLength": {"$ref": "#/definitions/nonNegativeInteger"},
    "minLength": {"$ref": "#/definitions/nonNegativeInteger"},
    "pattern": {"type": "string"},
    "additionalItems": {"$ref": "#"},
    "items": {"anyOf": [{"$ref": "#"}, {"$ref": "#/definitions/schemaArray"}]},
    "maxItems": {"$ref": "#/definitions/nonNegativeInteger"},
    "minItems": {"$ref": "#/definitions/nonNegativeInteger"},
    "uniqueItems": {"type": "boolean"},
    "contains": {"$ref": "#"},
    "maxProperties": {"$ref": "#/definitions/nonNegativeInteger"},
    "minProperties": {"$ref": "#/definitions/nonNegativeInteger"},
    "required": {"$ref": "#/definitions/stringArray"},
    "additionalProperties": {"$ref": "#"},
    "definitions": {"type": "object", "additionalProperties": {"$ref": "#"}},
    "properties": {"type": "object", "additionalProperties": {"$ref": "#"}},
    "patternProperties": {"type": "object", "additionalProperties": {"$ref": "#"}},
    "dependencies": {
      "type": "object",
      "additionalProperties": {"anyOf": [{"$ref": "#"}, {"$ref": "#/definitions/stringArray"}]}
    },
    "propertyNames": {"$ref": "#"},
    "enum": {"type": "array"},
    "type": {"anyOf": [
      {"$ref": "#/definitions/simpleTypes"},
      {"type": "array", "items": {"$ref": "#/definitions/simpleTypes"}, "minItems": 1,
       "uniqueItems": true}
    ]},
    "format": {"type": "string"},
    "contentMediaType": {"type": "string"},
    "contentEncoding": {"type": "string"},
    "if": {"$ref": "#"},
    "then": {"$ref": "#"},
    "else": {"$ref": "#"},
    "allOf": {"$ref": "#/definitions/schemaArray"},
    "anyOf": {"$ref": "#/definitions/schemaArray"},
    "oneOf": {"$ref": "#/definitions/schemaArray"},
    "not": {"$ref": "#"}
  }
})";

}  // namespace standin
