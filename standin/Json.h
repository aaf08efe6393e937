// JSON documents as the engine keeps them: RapidJSON values on the C heap, so that a value
// removed or replaced gives its memory back at once.
#pragma once

#include <rapidjson/document.h>

#include <string>

namespace standin {

using JsonAllocator = rapidjson::CrtAllocator;
using Json = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonAllocator>;
using JsonValue = rapidjson::GenericValue<rapidjson::UTF8<>, JsonAllocator>;

// Deeper documents are refused: they would only exhaust the stack of whoever walks them.
constexpr unsigned kMaxJsonDepth = 64;

// Parses `text` strictly (valid UTF-8, no NaN, at most kMaxJsonDepth levels) into `out`.
// Returns an empty string on success, else the reason with its byte offset.
std::string ParseJson(const char* text, std::size_t length, Json& out);

// The compact text of a value.
std::string ToText(const JsonValue& value);

bool IsValidUtf8(const char* text, std::size_t length);

std::string EncodeBase64(const unsigned char* data, std::size_t size);
// False when `text` is not padded base64.
bool DecodeBase64(const char* text, std::size_t length, std::string& bytes);

}  // namespace standin
