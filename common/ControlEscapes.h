// Control characters written as escapes (\n, \r, \t, \xHH), so that a text holding them is shown
// on one line and cannot forge another: log lines, csctl's messages and its line-oriented output.
// Backslashes and every other byte, UTF-8 included, stay as they are.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace escapes {

inline bool IsControl(unsigned char c) noexcept {
    return c < 0x20 || c == 0x7f;
}

inline bool HasControls(std::string_view text) noexcept {
    for (const char c : text) {
        if (IsControl(static_cast<unsigned char>(c))) return true;
    }
    return false;
}

// The escape of one character into `out` (room for 5); its length, 1 for a plain character.
inline std::size_t EscapeOf(unsigned char c, char* out) noexcept {
    if (!IsControl(c)) {
        out[0] = static_cast<char>(c);
        return 1;
    }
    const char named = c == '\n' ? 'n' : c == '\r' ? 'r' : c == '\t' ? 't' : '\0';
    if (named != '\0') {
        out[0] = '\\';
        out[1] = named;
        return 2;
    }
    std::snprintf(out, 5, "\\x%02x", c);
    return 4;
}

// `text` escaped into `out` of `size` bytes, NUL-terminated; an escape that does not fit whole is
// left out with everything after it. Never allocates: failure paths log through it.
inline void EscapeInto(std::string_view text, char* out, std::size_t size) noexcept {
    if (size == 0) return;
    std::size_t used = 0;
    for (const char c : text) {
        char escape[5];
        const std::size_t length = EscapeOf(static_cast<unsigned char>(c), escape);
        if (used + length >= size) break;
        for (std::size_t i = 0; i < length; ++i) out[used++] = escape[i];
    }
    out[used] = '\0';
}

inline std::string Escaped(std::string_view text) {
    if (!HasControls(text)) return std::string(text);
    std::string escaped;
    for (const char c : text) {
        char escape[5];
        escaped.append(escape, EscapeOf(static_cast<unsigned char>(c), escape));
    }
    return escaped;
}

// Bytes that may not be text at all (what a program printed) as printable ASCII: a backslash
// doubled, every byte outside printable ASCII as an escape, so that the result is valid UTF-8 and
// a cut anywhere still leaves readable text.
inline std::string AsciiEscaped(std::string_view bytes) {
    std::string escaped;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        char escape[5];
        if (byte == '\\') {
            escaped += "\\\\";
        } else if (byte >= 0x80) {
            std::snprintf(escape, sizeof escape, "\\x%02x", byte);
            escaped += escape;
        } else {
            escaped.append(escape, EscapeOf(byte, escape));
        }
    }
    return escaped;
}

}  // namespace escapes
