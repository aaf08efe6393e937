#include "Values.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <vector>

#include "Errors.h"
#include "Schemas.h"

namespace standin {

using KivConfigStore::InvalidArgumentException;
using KivConfigStore::InvalidTypeException;

namespace {

constexpr char kBinaryMember[] = "$base64";

bool IsInteger(const JsonValue& v) {
    return v.IsInt64() || v.IsUint64();
}

bool IsBinary(const JsonValue& v) {
    return v.IsObject() && v.MemberCount() == 1 && v.MemberBegin()->name == kBinaryMember &&
           v.MemberBegin()->value.IsString();
}

const char* KindOf(const JsonValue& v) {
    if (v.IsBool()) return "a boolean";
    if (IsInteger(v)) return "an integer";
    if (v.IsNumber()) return "a double";
    if (v.IsString()) return "a string";
    if (v.IsArray()) return "a list";
    if (IsBinary(v)) return "a binary value";
    if (v.IsNull()) return "null";
    return "an object";
}

// What each C type accepts of a stored value.
template <class T>
struct As;
template <>
struct As<int> {
    static constexpr const char* kName = "int";
    static bool Fits(const JsonValue& v) { return v.IsInt(); }
    static int From(const JsonValue& v) { return v.GetInt(); }
};
template <>
struct As<unsigned int> {
    static constexpr const char* kName = "unsigned int";
    static bool Fits(const JsonValue& v) { return v.IsUint(); }
    static unsigned int From(const JsonValue& v) { return v.GetUint(); }
};
template <>
struct As<unsigned short> {
    static constexpr const char* kName = "unsigned short";
    static bool Fits(const JsonValue& v) { return v.IsUint() && v.GetUint() <= USHRT_MAX; }
    static unsigned short From(const JsonValue& v) {
        return static_cast<unsigned short>(v.GetUint());
    }
};
template <>
struct As<long long> {
    static constexpr const char* kName = "long long";
    static bool Fits(const JsonValue& v) { return v.IsInt64(); }
    static long long From(const JsonValue& v) { return v.GetInt64(); }
};
template <>
struct As<long> {
    static constexpr const char* kName = "long";
    static bool Fits(const JsonValue& v) { return v.IsInt64(); }
    static long From(const JsonValue& v) { return static_cast<long>(v.GetInt64()); }
};
template <>
struct As<bool> {
    static constexpr const char* kName = "bool";
    static bool Fits(const JsonValue& v) { return v.IsBool(); }
    static bool From(const JsonValue& v) { return v.GetBool(); }
};
template <>
struct As<double> {
    static constexpr const char* kName = "double";
    static bool Fits(const JsonValue& v) { return v.IsNumber(); }
    static double From(const JsonValue& v) { return v.GetDouble(); }
};
template <>
struct As<std::string> {
    static constexpr const char* kName = "string";
    static bool Fits(const JsonValue& v) { return v.IsString(); }
    static std::string From(const JsonValue& v) { return Text(v); }
};

// `integral`: the wanted type is an integer type, so a stored integer is merely out of range.
[[noreturn]] void WrongType(const char* key, const JsonValue& v, const char* wanted,
                            bool integral = false) {
    const bool outOfRange = integral && IsInteger(v);
    Fail<InvalidTypeException>(KivConfigStore::ERR_INVALID_TYPE, {},
                               std::string("'") + key + "' holds " + KindOf(v) +
                                   (outOfRange ? " out of range of " : ", not ") + wanted);
}

template <class T>
constexpr bool kIntegral = std::is_integral<T>::value && !std::is_same<T, bool>::value;

template <class T>
void ReadInto(const char* key, const JsonValue& v, T* out) {
    if (!As<T>::Fits(v)) WrongType(key, v, As<T>::kName, kIntegral<T>);
    *out = As<T>::From(v);
}

template <class T>
void ReadInto(const char* key, const JsonValue& v, std::vector<T>* out) {
    const std::string wanted = std::string("a list of ") + As<T>::kName;
    if (!v.IsArray()) WrongType(key, v, wanted.c_str());
    std::vector<T> list;
    list.reserve(v.Size());
    for (const auto& element : v.GetArray()) {
        if (!As<T>::Fits(element)) WrongType(key, element, wanted.c_str(), kIntegral<T>);
        list.push_back(As<T>::From(element));
    }
    *out = std::move(list);
}

// Elements that a list of `first`'s type accepts: its own type; integers in a list of doubles.
bool SameListType(const JsonValue& first, const JsonValue& element) {
    // RapidJSON gives true and false types of their own.
    if (first.IsBool()) return element.IsBool();
    if (first.IsString()) return element.IsString();
    if (IsInteger(first)) return IsInteger(element);
    if (first.IsNumber()) return element.IsNumber();
    return false;
}

JsonValue ElementOf(const char*, int v) {
    return JsonValue(v);
}
JsonValue ElementOf(const char*, long long v) {
    return JsonValue(static_cast<int64_t>(v));
}
JsonValue ElementOf(const char* key, double v) {
    return NumberValue(key, v);
}
JsonValue ElementOf(const char*, bool v) {
    return JsonValue(v);
}
JsonValue ElementOf(const char* key, const std::string& v) {
    return TextValue(key, v.data(), v.size());
}

[[noreturn]] void NoKey() {
    Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT, "empty value key");
}

bool IsSubObjectsMember(const char* key, std::size_t length) {
    return length == sizeof kSubObjectsMember - 1 &&
           std::memcmp(key, kSubObjectsMember, length) == 0;
}
bool IsSubObjectsMember(const char* key) {
    return key[0] == '$' && std::strcmp(key, kSubObjectsMember) == 0;
}

// Three names and the engine's own: comparing them beats hashing a copy of the key.
bool IsReserved(const char* key, std::size_t length) {
    for (const auto& name : KivConfigStore::kReservedNames) {
        if (name.size() == length && std::memcmp(name.data(), key, length) == 0) return true;
    }
    return IsSubObjectsMember(key, length);
}

[[noreturn]] void ReservedKey(const char* key) {
    Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_ARGUMENT,
                                   std::string("'") + key + "' is a reserved name");
}

// The checks of a key that is not in the object yet; the object's own keys passed them.
void CheckNewKey(const char* key, std::size_t length) {
    if (length == 0) NoKey();
    if (IsReserved(key, length)) ReservedKey(key);
    CheckText(key, key, length);
}

// Checks one object of values at sub-object level `level` (0: the object itself), and its
// sub-objects' values in turn. The parser has refused a member name twice.
void CheckObject(const JsonValue& values, CSErrorCodes code, int level) {
    if (!values.IsObject()) {
        Fail<InvalidArgumentException>(code, "the values are not a JSON object");
    }
    std::string bytes;  // scratch for the base64 test
    for (const auto& member : values.GetObject()) {
        const std::string_view name(member.name.GetString(), member.name.GetStringLength());
        if (name.find('\0') != std::string_view::npos) {
            Fail<InvalidArgumentException>(code, "a value key holds a NUL character");
        }
        if (!IsSubObjectsMember(name.data(), name.size())) {
            CheckNewKey(name.data(), name.size());
            if (!IsBinary(member.value)) continue;
            const JsonValue& text = member.value.MemberBegin()->value;
            if (!DecodeBase64(text.GetString(), text.GetStringLength(), bytes)) {
                Fail<InvalidArgumentException>(
                    code, "'" + std::string(name) + "' is a binary value that is not base64");
            }
            continue;
        }
        if (!member.value.IsObject()) {
            Fail<InvalidArgumentException>(code, "the sub-objects are not a JSON object");
        }
        if (!member.value.ObjectEmpty() && level >= kMaxSubObjectLevels) {
            Fail<InvalidArgumentException>(
                code,
                "sub-objects nest at most " + std::to_string(kMaxSubObjectLevels) + " levels");
        }
        for (const auto& subKey : member.value.GetObject()) {
            if (subKey.name.GetStringLength() == 0 || !subKey.value.IsObject()) {
                Fail<InvalidArgumentException>(code, "sub-object '" +
                                                         std::string(subKey.name.GetString()) +
                                                         "' is not an object of instances");
            }
            for (const auto& instance : subKey.value.GetObject()) {
                CheckObject(instance.value, code, level + 1);
            }
        }
    }
}

}  // namespace

JsonValue NumberValue(const char* key, double value) {
    if (!std::isfinite(value)) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_VALUE, "not a finite number",
                                       key != nullptr ? key : "");
    }
    return JsonValue(value);
}

JsonValue TextValue(const char* key, const char* text, std::size_t length) {
    if (text == nullptr) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_VALUE, "no text",
                                       key != nullptr ? key : "");
    }
    CheckText(key != nullptr ? key : "", text, length);
    JsonAllocator allocator;
    return JsonValue(text, static_cast<rapidjson::SizeType>(length), allocator);
}

void CheckText(const char* key, const char* text, std::size_t length) {
    if (!IsValidUtf8(text, length)) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_VALUE, "not valid UTF-8",
                                       IsValidUtf8(key, std::strlen(key)) ? key : "(a key)");
    }
}

void CheckValues(const JsonValue& values, CSErrorCodes code) {
    CheckObject(values, code, 0);
}

const JsonValue* ObjectValues::Find(const char* key) const {
    if (key == nullptr || IsSubObjectsMember(key)) return nullptr;
    const auto member = index.Find(values, key);
    return member == values.MemberEnd() ? nullptr : &member->value;
}

const JsonValue* ObjectValues::FindDefault(const char* key) const {
    if (defaults == nullptr || key == nullptr) return nullptr;
    const auto member = defaults->FindMember(key);
    return member == defaults->MemberEnd() ? nullptr : &member->value;
}

namespace {

// The value a read delivers and its status: 1 stored, 2 default, 0 none.
int Lookup(const ObjectValues& object, const char* key, const JsonValue** value) {
    *value = object.Find(key);
    if (*value != nullptr) return 1;
    *value = object.FindDefault(key);
    return *value != nullptr ? 2 : 0;
}

}  // namespace

template <class T>
int ObjectValues::Read(const char* key, T* out) const {
    const JsonValue* value = nullptr;
    const int status = Lookup(*this, key, &value);
    if (status != 0) ReadInto(key, *value, out);
    return status;
}

template int ObjectValues::Read(const char*, int*) const;
template int ObjectValues::Read(const char*, unsigned int*) const;
template int ObjectValues::Read(const char*, unsigned short*) const;
template int ObjectValues::Read(const char*, long*) const;
template int ObjectValues::Read(const char*, long long*) const;
template int ObjectValues::Read(const char*, bool*) const;
template int ObjectValues::Read(const char*, double*) const;
template int ObjectValues::Read(const char*, std::string*) const;
template int ObjectValues::Read(const char*, std::vector<int>*) const;
template int ObjectValues::Read(const char*, std::vector<long long>*) const;
template int ObjectValues::Read(const char*, std::vector<double>*) const;
template int ObjectValues::Read(const char*, std::vector<bool>*) const;
template int ObjectValues::Read(const char*, std::vector<std::string>*) const;

int ObjectValues::ReadBinary(const char* key, unsigned char** data, unsigned long* size) const {
    const JsonValue* value = nullptr;
    const int status = Lookup(*this, key, &value);
    if (status == 0) return 0;
    if (!IsBinary(*value)) WrongType(key, *value, "a binary value");
    const JsonValue& text = value->MemberBegin()->value;
    std::string bytes;
    if (!DecodeBase64(text.GetString(), text.GetStringLength(), bytes)) {
        Fail<InvalidTypeException>(KivConfigStore::ERR_ENCODE_DECODE_FAILED, "not base64", key);
    }
    auto* buffer = static_cast<unsigned char*>(std::malloc(bytes.empty() ? 1 : bytes.size()));
    if (buffer == nullptr) throw std::bad_alloc();
    std::memcpy(buffer, bytes.data(), bytes.size());
    *data = buffer;
    *size = bytes.size();
    return status;
}

void ObjectValues::Write(const char* key, JsonValue value) {
    if (key == nullptr || *key == '\0') NoKey();
    if (IsSubObjectsMember(key)) ReservedKey(key);
    const std::size_t length = std::strlen(key);
    const auto member = index.Find(values, {key, length});
    if (member != values.MemberEnd()) {
        member->value = std::move(value);
        states[static_cast<std::size_t>(member - values.MemberBegin())].changed = true;
        return;
    }
    CheckNewKey(key, length);
    JsonAllocator allocator;
    AddLast(JsonValue(key, static_cast<rapidjson::SizeType>(length), allocator), std::move(value));
    if (!removed.empty()) {
        const auto wasRemoved = removed.find(key);
        if (wasRemoved != removed.end()) removed.erase(wasRemoved);
    }
}

template <class T>
void ObjectValues::Append(const char* key, T element) {
    if (key == nullptr || *key == '\0') NoKey();
    if (IsSubObjectsMember(key)) ReservedKey(key);
    JsonValue added = ElementOf(key, element);
    const auto member = index.Find(values, key);
    if (member == values.MemberEnd()) {
        JsonAllocator allocator;
        JsonValue list(rapidjson::kArrayType);
        list.PushBack(added, allocator);
        Write(key, std::move(list));
        return;
    }
    JsonValue& list = member->value;
    if (!list.IsArray()) WrongType(key, list, "a list");
    if (!list.Empty() && !SameListType(list[0], added)) {
        Fail<InvalidTypeException>(KivConfigStore::ERR_INVALID_TYPE, {},
                                   std::string("'") + key + "' is a list of " + KindOf(list[0]) +
                                       " values, not of " + KindOf(added) + " values");
    }
    JsonAllocator allocator;
    list.PushBack(added, allocator);
    states[static_cast<std::size_t>(member - values.MemberBegin())].changed = true;
}

template void ObjectValues::Append(const char*, int);
template void ObjectValues::Append(const char*, long long);
template void ObjectValues::Append(const char*, double);
template void ObjectValues::Append(const char*, bool);
template void ObjectValues::Append<const std::string&>(const char*, const std::string&);

void ObjectValues::WriteBinary(const char* key, const unsigned char* data, unsigned long size) {
    if (data == nullptr && size > 0) {
        Fail<InvalidArgumentException>(KivConfigStore::ERR_INVALID_VALUE, "no data", key);
    }
    const std::string text = EncodeBase64(data, size);
    JsonAllocator allocator;
    JsonValue binary(rapidjson::kObjectType);
    binary.AddMember(
        JsonValue(kBinaryMember, allocator),
        JsonValue(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator),
        allocator);
    Write(key, std::move(binary));
}

void ObjectValues::Remove(const char* key) {
    if (key == nullptr || *key == '\0' || IsSubObjectsMember(key)) return;
    const auto member = index.Find(values, key);
    if (member != values.MemberEnd()) {
        const auto position = static_cast<rapidjson::SizeType>(member - values.MemberBegin());
        states.erase(states.begin() + position);
        values.EraseMember(member);  // keeps the others' order, as `states` does
        index.Erased(position);
    }
    // Also when absent here: the stored object may still hold the key.
    if (removed.find(key) == removed.end()) removed.emplace(key);
}

void ObjectValues::Adopt(Json& document) {
    CheckValues(document, KivConfigStore::ERR_JSON_INVALID);
    values.Swap(document);
    states.assign(values.MemberCount(), {DataClass::Configuration, true});
    index.Rebuild(values);
}

JsonValue* ObjectValues::SubObjects(bool create) {
    const auto member = index.Find(values, kSubObjectsMember);
    if (member != values.MemberEnd()) return &member->value;
    if (!create) return nullptr;
    AddLast(JsonValue(rapidjson::StringRef(kSubObjectsMember)), JsonValue(rapidjson::kObjectType));
    return &(values.MemberEnd() - 1)->value;
}

void ObjectValues::AddLast(JsonValue name, JsonValue value, KeyState state) {
    // Room for the state first: a member without its state would break their order.
    if (states.size() == states.capacity()) {
        states.reserve(std::max<std::size_t>(16, 2 * states.size()));
    }
    JsonAllocator allocator;
    values.AddMember(name, value, allocator);
    states.push_back(state);
    index.Added(values);
}

void ObjectValues::MarkChanged(const JsonValue& member) {
    for (std::size_t i = 0; i < states.size(); ++i) {
        if (&values.MemberBegin()[i].value == &member) states[i].changed = true;
    }
}

}  // namespace standin
