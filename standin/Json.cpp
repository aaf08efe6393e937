#include "Json.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace standin {

namespace {

// Full precision: a double stored as its shortest text must read back as the same double.
constexpr unsigned kParseFlags = rapidjson::kParseValidateEncodingFlag |
                                 rapidjson::kParseIterativeFlag |
                                 rapidjson::kParseFullPrecisionFlag;

// Passes the reader's events on to the document, refusing nesting beyond the limit.
struct DepthLimit {
    Json& document;
    unsigned depth = 0;
    bool tooDeep = false;

    bool Enter() {
        if (++depth > kMaxJsonDepth) tooDeep = true;
        return !tooDeep;
    }
    bool Null() { return document.Null(); }
    bool Bool(bool b) { return document.Bool(b); }
    bool Int(int i) { return document.Int(i); }
    bool Uint(unsigned u) { return document.Uint(u); }
    bool Int64(int64_t i) { return document.Int64(i); }
    bool Uint64(uint64_t u) { return document.Uint64(u); }
    bool Double(double d) { return document.Double(d); }
    bool RawNumber(const char* s, rapidjson::SizeType n, bool copy) {
        return document.RawNumber(s, n, copy);
    }
    bool String(const char* s, rapidjson::SizeType n, bool copy) {
        return document.String(s, n, copy);
    }
    bool StartObject() { return Enter() && document.StartObject(); }
    bool Key(const char* s, rapidjson::SizeType n, bool copy) { return document.Key(s, n, copy); }
    bool EndObject(rapidjson::SizeType count) {
        --depth;
        return document.EndObject(count);
    }
    bool StartArray() { return Enter() && document.StartArray(); }
    bool EndArray(rapidjson::SizeType count) {
        --depth;
        return document.EndArray(count);
    }
};

}  // namespace

std::string ParseJson(const char* text, std::size_t length, Json& out) {
    rapidjson::MemoryStream bytes(text, length);
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator> reader;
    rapidjson::ParseResult result;
    bool tooDeep = false;
    auto generate = [&](Json& document) {
        DepthLimit limit{document};
        result = reader.Parse<kParseFlags>(bytes, limit);
        tooDeep = limit.tooDeep;
        return !result.IsError();
    };
    out.Populate(generate);
    if (!result.IsError()) return {};
    const std::string reason =
        tooDeep ? "nesting deeper than " + std::to_string(kMaxJsonDepth) + " levels"
                : rapidjson::GetParseError_En(result.Code());
    return "offset " + std::to_string(result.Offset()) + ": " + reason;
}

std::string ToText(const JsonValue& value) {
    JsonText buffer;
    rapidjson::Writer<JsonText, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator> writer(buffer);
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
