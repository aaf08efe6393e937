#include "Json.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace standin {

namespace {

// Numbers reach the handler as their text, which it converts itself (see Reading::RawNumber).
constexpr unsigned kParseFlags = rapidjson::kParseValidateEncodingFlag |
                                 rapidjson::kParseIterativeFlag |
                                 rapidjson::kParseNumbersAsStringsFlag;
// Full precision: a double stored as its shortest text must read back as the same double.
constexpr unsigned kNumberFlags = rapidjson::kParseFullPrecisionFlag;
// What the engine wrote holds no number that full precision gets wrong (zero is written "0.0").
constexpr unsigned kWrittenFlags =
    rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag | kNumberFlags;

// Builds values from SAX events, a reader's or a value's. Each value is whole before it goes on
// the stack, so a failed allocation leaves only whole values there, which the stack frees:
// RapidJSON's own document leaks then, frees a value never made, or writes through NULL.
struct ValueStack {
    std::vector<JsonValue> stack;
    JsonAllocator allocator;

    bool Push(JsonValue&& value) {
        stack.push_back(std::move(value));
        return true;
    }
    bool Null() { return Push(JsonValue()); }
    bool Bool(bool b) { return Push(JsonValue(b)); }
    bool Int(int i) { return Push(JsonValue(i)); }
    bool Uint(unsigned u) { return Push(JsonValue(u)); }
    bool Int64(int64_t i) { return Push(JsonValue(i)); }
    bool Uint64(uint64_t u) { return Push(JsonValue(u)); }
    bool Double(double d) { return Push(JsonValue(d)); }
    // Numbers come converted, unless a reader is told otherwise (Reading is).
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return false; }
    bool String(const char* s, rapidjson::SizeType n, bool) {
        return Push(JsonValue(s, n, allocator));
    }
    bool Key(const char* s, rapidjson::SizeType n, bool copy) { return String(s, n, copy); }
    bool StartObject() { return true; }
    bool StartArray() { return true; }
    // A member or element moves in only once the container has room for it.
    bool EndObject(rapidjson::SizeType count) {
        JsonValue object(rapidjson::kObjectType);
        const auto first = stack.end() - 2 * static_cast<std::ptrdiff_t>(count);
        for (auto member = first; member != stack.end(); member += 2) {
            object.AddMember(member[0], member[1], allocator);
        }
        stack.erase(first, stack.end());
        return Push(std::move(object));
    }
    bool EndArray(rapidjson::SizeType count) {
        JsonValue array(rapidjson::kArrayType);
        array.Reserve(count, allocator);
        const auto first = stack.end() - static_cast<std::ptrdiff_t>(count);
        for (auto element = first; element != stack.end(); ++element) {
            array.PushBack(*element, allocator);
        }
        stack.erase(first, stack.end());
        return Push(std::move(array));
    }
};

// Builds the document the reader reads from `bytes`, refusing what the engine's documents may
// not hold: nesting beyond the limit, a member name twice in one object (which of the two would
// count is anyone's guess), an integer a 64-bit integer cannot hold (read as a double, it would
// come back as another number, and type).
struct Reading : ValueStack {
    Reading(const rapidjson::MemoryStream& bytes, const StreamedList* streamed)
        : bytes(bytes), streamed(streamed) {}

    const rapidjson::MemoryStream& bytes;
    const StreamedList* streamed;
    unsigned depth = 0;
    bool streamNext = false;    // the root's member being read is the streamed list
    bool streaming = false;     // reading the streamed list's elements
    std::size_t handedOut = 0;  // elements of the streamed list handed out so far
    // Scratch for the duplicate test: each name after its hash, so that sorting them compares
    // numbers, and names only where the hashes are equal.
    std::vector<std::pair<std::size_t, std::string_view>> names;
    std::string refusal;  // why the handler stopped the reader; empty when it did not
    std::optional<std::size_t> refusedAt;  // where, when not where the reader stopped

    bool Refuse(std::string why, std::optional<std::size_t> offset = std::nullopt) {
        refusal = std::move(why);
        refusedAt = offset;
        return false;
    }
    bool Enter() {
        if (++depth > kMaxJsonDepth) {
            return Refuse("nesting deeper than " + std::to_string(kMaxJsonDepth) + " levels");
        }
        return true;
    }
    // A value just whole on the stack: an element of the streamed list goes to its owner.
    bool Completed(bool whole) {
        if (!whole || !streaming || depth != 2) return whole;
        streamed->element(stack.back());
        stack.pop_back();
        ++handedOut;
        return true;
    }
    // RapidJSON 1.1.0's full-precision conversion computes on garbage, through undefined
    // behaviour, when every digit of the significand is zero and the exponent is large
    // ("0.0e300"): such a number is zero, and any other is converted by RapidJSON on its own.
    bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
        const std::string_view number(text, length);
        const std::size_t start = bytes.Tell() - length;
        const bool integer = number.find_first_of(".eE") == std::string_view::npos;
        const std::size_t exponent = std::min(number.find_first_of("eE"), number.size());
        if (number.find_first_of("123456789") >= exponent) {
            if (integer) return Completed(ValueStack::Int(0));  // "0", "-0", as RapidJSON reads it
            return Completed(ValueStack::Double(number.front() == '-' ? -0.0 : 0.0));
        }
        rapidjson::MemoryStream digits(text, length);
        rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator> reader;
        const rapidjson::ParseResult converted = reader.Parse<kNumberFlags>(digits, *this);
        if (converted.IsError()) {  // too big for a double
            return Refuse(rapidjson::GetParseError_En(converted.Code()), start);
        }
        if (integer && !stack.back().IsInt64()) {
            return Refuse("an integer beyond the 64-bit range", start);
        }
        return Completed(true);
    }
    bool Null() { return Completed(ValueStack::Null()); }
    bool Bool(bool b) { return Completed(ValueStack::Bool(b)); }
    bool String(const char* s, rapidjson::SizeType n, bool copy) {
        return Completed(ValueStack::String(s, n, copy));
    }
    bool Key(const char* s, rapidjson::SizeType n, bool copy) {
        if (depth == 1 && streamed != nullptr) {
            streamNext = std::string_view(s, n) == streamed->member;
        }
        return ValueStack::Key(s, n, copy);
    }
    bool StartObject() { return Enter(); }
    bool StartArray() {
        if (depth == 1 && streamNext) {
            streaming = true;
            handedOut = 0;
        }
        return Enter();
    }
    // A member name that the object whose `count` members end the stack holds twice, or none.
    // Small objects, the usual ones, compare their names pairwise and allocate nothing.
    std::optional<std::string_view> Twin(rapidjson::SizeType count) {
        const auto first = stack.end() - 2 * static_cast<std::ptrdiff_t>(count);
        const auto name = [](const JsonValue& text) {
            return std::string_view(text.GetString(), text.GetStringLength());
        };
        if (count <= 16) {
            for (auto one = first; one != stack.end(); one += 2) {
                for (auto other = one + 2; other != stack.end(); other += 2) {
                    if (name(*one) == name(*other)) return name(*one);
                }
            }
            return std::nullopt;
        }
        names.clear();
        names.reserve(count);
        for (auto member = first; member != stack.end(); member += 2) {
            names.emplace_back(std::hash<std::string_view>{}(name(*member)), name(*member));
        }
        std::sort(names.begin(), names.end());
        std::optional<std::string_view> smallest;  // of the names held twice, whatever their hash
        for (auto pair = names.begin(); pair + 1 < names.end(); ++pair) {
            if (pair[0] == pair[1] && (!smallest || pair->second < *smallest)) {
                smallest = pair->second;
            }
        }
        return smallest;
    }
    bool EndObject(rapidjson::SizeType count) {
        --depth;
        if (const std::optional<std::string_view> twin = Twin(count)) {
            return Refuse("member name '" + std::string(*twin) +
                          "' twice in the object that ends here");
        }
        return Completed(ValueStack::EndObject(count));
    }
    bool EndArray(rapidjson::SizeType count) {
        if (streaming && depth == 2) {  // its elements were handed out
            streaming = false;
            count -= static_cast<rapidjson::SizeType>(handedOut);
        }
        --depth;
        return Completed(ValueStack::EndArray(count));
    }
};

}  // namespace

std::string ParseJson(const char* text, std::size_t length, Json& out,
                      const StreamedList* streamed) {
    rapidjson::MemoryStream bytes(text, length);
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator> reader;
    Reading reading(bytes, streamed);
    const rapidjson::ParseResult result = reader.Parse<kParseFlags>(bytes, reading);
    if (!result.IsError() && bytes.Tell() == length) {
        static_cast<JsonValue&>(out) = std::move(reading.stack.back());
        return {};
    }
    // The reader takes a NUL byte for the end of the text: whatever follows is refused too.
    const std::string reason =
        !reading.refusal.empty() ? reading.refusal
        : result.IsError()
            ? rapidjson::GetParseError_En(result.Code())
            : rapidjson::GetParseError_En(rapidjson::kParseErrorDocumentRootNotSingular);
    const std::size_t offset = reading.refusedAt  ? *reading.refusedAt
                               : result.IsError() ? result.Offset()
                                                  : bytes.Tell();
    return "offset " + std::to_string(offset) + ": " + reason;
}

bool ParseWritten(const char* text, std::size_t length, Json& out) {
    rapidjson::MemoryStream bytes(text, length);
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator> reader;
    ValueStack values;
    const rapidjson::ParseResult result = reader.Parse<kWrittenFlags>(bytes, values);
    if (result.IsError() || bytes.Tell() != length || values.stack.size() != 1) return false;
    static_cast<JsonValue&>(out) = std::move(values.stack.back());
    return true;
}

void Assign(JsonValue& to, const JsonValue& from) {
    ValueStack copy;
    from.Accept(copy);
    to = std::move(copy.stack.back());
}

std::string ToText(const JsonValue& value) {
    JsonText buffer;
    JsonWriter writer(buffer);
    value.Accept(writer);
    return std::string(buffer.GetString(), buffer.GetSize());
}

bool IsValidUtf8(const char* text, std::size_t length) {
    // Keys and most values are ASCII, which needs no decoding.
    std::size_t ascii = 0;
    while (ascii < length && static_cast<unsigned char>(text[ascii]) < 0x80) ++ascii;
    if (ascii == length) return true;
    rapidjson::MemoryStream bytes(text + ascii, length - ascii);
    struct Discard {
        void Put(char) {}
    } sink;
    while (bytes.Tell() < length - ascii) {
        if (!rapidjson::UTF8<>::Validate(bytes, sink)) return false;
    }
    return true;
}

// RapidJSON, SQLite and libuuid have no base64 codec; binary values need only this one.
namespace {
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Sextet(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}
}  // namespace

std::string EncodeBase64(const unsigned char* data, std::size_t size) {
    std::string text;
    text.reserve((size + 2) / 3 * 4);
    for (std::size_t i = 0; i < size; i += 3) {
        const unsigned long chunk =
            (static_cast<unsigned long>(data[i]) << 16) |
            (i + 1 < size ? static_cast<unsigned long>(data[i + 1]) << 8 : 0) |
            (i + 2 < size ? data[i + 2] : 0);
        text += kAlphabet[(chunk >> 18) & 63];
        text += kAlphabet[(chunk >> 12) & 63];
        text += i + 1 < size ? kAlphabet[(chunk >> 6) & 63] : '=';
        text += i + 2 < size ? kAlphabet[chunk & 63] : '=';
    }
    return text;
}

bool DecodeBase64(const char* text, std::size_t length, std::string& bytes) {
    if (length % 4 != 0) return false;
    bytes.clear();
    bytes.reserve(length / 4 * 3);
    for (std::size_t i = 0; i < length; i += 4) {
        const bool last = i + 4 == length;
        const int padding = last ? (text[i + 3] == '=') + (text[i + 2] == '=') : 0;
        if (padding == 1 && text[i + 2] == '=') return false;  // "x=y=" is not base64
        unsigned long chunk = 0;
        for (int j = 0; j < 4 - padding; ++j) {
            const int sextet = Sextet(text[i + j]);
            if (sextet < 0) return false;
            chunk |= static_cast<unsigned long>(sextet) << (18 - 6 * j);
        }
        bytes += static_cast<char>((chunk >> 16) & 0xff);
        if (padding < 2) bytes += static_cast<char>((chunk >> 8) & 0xff);
        if (padding < 1) bytes += static_cast<char>(chunk & 0xff);
    }
    return true;
}

}  // namespace standin
