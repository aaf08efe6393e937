// JSON documents as the engine keeps them: RapidJSON values on the C heap, so that a value
// removed or replaced gives its memory back at once.
#pragma once

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <functional>
#include <new>
#include <string>

namespace standin {

// RapidJSON writes through whatever its allocator returns: a failed allocation is raised as
// std::bad_alloc instead, as operator new does.
class JsonAllocator : public rapidjson::CrtAllocator {
public:
    void* Malloc(std::size_t size) { return Checked(CrtAllocator::Malloc(size), size); }
    void* Realloc(void* original, std::size_t originalSize, std::size_t newSize) {
        return Checked(CrtAllocator::Realloc(original, originalSize, newSize), newSize);
    }

private:
    static void* Checked(void* memory, std::size_t size) {
        if (memory == nullptr && size != 0) throw std::bad_alloc();
        return memory;
    }
};

using JsonText = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, JsonAllocator>;
using Json = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonAllocator, JsonAllocator>;
using JsonValue = rapidjson::GenericValue<rapidjson::UTF8<>, JsonAllocator>;
// Writers of JSON text, compact and indented, for documents written as they are made.
using JsonWriter = rapidjson::Writer<JsonText, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator>;
using JsonPrettyWriter =
    rapidjson::PrettyWriter<JsonText, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator>;

// Deeper documents are refused: they would only exhaust the stack of whoever walks them.
constexpr unsigned kMaxJsonDepth = 64;

// A list member of the root object whose elements go, each once whole, to `element`, which may
// take it; the document then keeps the list empty. A long list is so never held whole.
struct StreamedList {
    const char* member;
    std::function<void(JsonValue&)> element;
};

// Parses `text` strictly into `out`: valid UTF-8, no NaN, at most kMaxJsonDepth levels, no
// member name twice in an object, integers (no fraction, no exponent) within the 64-bit range,
// nothing after the document (a NUL byte included). Returns an empty string on success, else
// the reason with its byte offset.
std::string ParseJson(const char* text, std::size_t length, Json& out,
                      const StreamedList* streamed = nullptr);

// Parses a document the engine wrote itself (ToText's), as it reads back a stored one: still
// checked for valid UTF-8 and JSON, but not for the rules above, which it kept when it was
// written. False when it is not one JSON value (a damaged store).
bool ParseWritten(const char* text, std::size_t length, Json& out);

// Makes `to` a copy of `from`. Where RapidJSON's own copy writes through NULL when memory runs
// out, this raises bad_alloc with `to` as it was and nothing leaked.
void Assign(JsonValue& to, const JsonValue& from);

// The compact text of a value.
std::string ToText(const JsonValue& value);

// The text of a JSON string value.
inline std::string Text(const JsonValue& string) {
    return std::string(string.GetString(), string.GetStringLength());
}

bool IsValidUtf8(const char* text, std::size_t length);

std::string EncodeBase64(const unsigned char* data, std::size_t size);
// False when `text` is not padded base64.
bool DecodeBase64(const char* text, std::size_t length, std::string& bytes);

}  // namespace standin
