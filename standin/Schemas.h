// Object schemas: one JSON file per object in the components directory, read once and kept
// for the process, saying whether the object is a singleton, its default values and the JSON
// Schema (draft 4 or 7) its values must meet.
#pragma once

#include <memory>
#include <string>

#include "Json.h"

namespace standin {

// The member of an object's values that holds its sub-objects (engine-owned, never a value key;
// validation ignores it).
constexpr char kSubObjectsMember[] = "$subObjects";

// The compiled JSON Schema of a file (RapidJSON's schema document), private to Schemas.cpp.
struct CompiledSchema;

// An object's schema file: <components dir>/<component>/<group>/<key>.json holding
// {"version": "1.0", "singleton": true, "schema": {...JSON Schema...}, "defaults": {...}}.
struct Schema {
    std::string file;                                // its path, for messages
    std::string version;                             // "version"; empty when absent
    bool singleton = true;                           // "singleton"; true when absent
    Json defaults{rapidjson::kObjectType};           // "defaults"; an empty object when absent
    std::shared_ptr<const CompiledSchema> compiled;  // "schema"; null when absent
};

// CONFIGSTORE_COMPONENTS_DIR when set and non-empty, else KivConfigStore::kComponentsPath.
std::string ComponentsDirectory();

// The schema of (component, group, key), or null when there is none (no file, or a name that
// cannot be one path component: empty, ".", "..", containing '/' or NUL, longer than NAME_MAX).
// Files are read once and kept for the process; a file whose (device, inode, size, mtime) changed
// since is read again, a removed one is forgotten. Thread-safe.
//
// Refused files (ConfigStoreException, the file's path in the message):
// - 1081 (ERR_JSON_FILE_PARSE_FAILED): not a readable regular file of at most 16 MiB, or not
//   strict JSON (the reason with its offset follows);
// - 1037 (ERR_SCHEMA_NOT_FOUND): the wrong shape: not an object, "version" not a string,
//   "singleton" not a bool, "schema"/"defaults" not objects, a defaults key that is empty,
//   reserved (KivConfigStore::kReservedNames) or kSubObjectsMember; a "schema" whose "$schema"
//   names a draft other than 4 or 7, that is not a JSON Schema of its draft (its draft 4 form,
//   see SchemaDrafts.h, checked against draft 4's meta-schema) or that RapidJSON 1.1.0 cannot
//   run safely: more than 4096 objects; a "$ref" to anything but a schema of the file (a JSON
//   pointer, or a URI its "id"/"$id" give, or a draft's meta-schema), or chains of more than
//   16; allOf/anyOf/oneOf/not that lead back to themselves or set more than 256 schemas to work
//   on one value; a pattern its regular expressions cannot read, crash on, or would match in
//   exponential time (see PatternFault in SchemaSafety.cpp);
// - 1084 (ERR_DEFAULT_CONFIG_INVALID): a default that breaks what the schema says of its key
//   (properties, patternProperties, additionalProperties, propertyNames). Defaults are partial:
//   rules on the whole object (required, minProperties, allOf...) apply to what writes store.
// Keywords that the file's draft does not know are logged once, when the file is read.
std::shared_ptr<const Schema> SchemaOf(const std::string& component, const std::string& group,
                                       const std::string& key);

// Validates an object's values against the schema (no-op when the file has no "schema"); the
// top-level member kSubObjectsMember is skipped. Failure: ValidationException 1083
// (ERR_VALIDATION_ERROR) with the message
//   Validation Error: '<JSON pointer of the offending value>' <reason>
// whose reason names the value and the limit it breaks (ReasonOf), e.g. "Validation Error:
// '/mtu' is 20, below the minimum 68". A failed "required" has the pointer of the object that
// lacks the member ('' for the values themselves).
void Validate(const Schema& schema, const JsonValue& values);

}  // namespace standin
