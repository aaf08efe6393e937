// The library's only output: lines in the engine's log, all at priority 0.
#pragma once

#include <kivconfigstore/CSLogger.h>

#include <type_traits>

#include "ControlEscapes.h"

namespace binding {

// A text argument of a line with its control characters escaped: a name or a context holding a
// newline cannot forge a line of its own. Its room is its own: a failure path never allocates.
class LogText {
public:
    explicit LogText(const char* text) noexcept : text_(text) {
        if (text_ == nullptr || !escapes::HasControls(text_)) return;
        escapes::EscapeInto(text_, escaped_, sizeof escaped_);
        text_ = escaped_;
    }
    LogText(const LogText&) = delete;
    LogText& operator=(const LogText&) = delete;
    const char* get() const noexcept { return text_; }

private:
    const char* text_;
    char escaped_[2048];
};

// The calling thread's last line, which ConfigStoreCLastError hands out: kept in fixed room (a
// longer line is cut), so that a failure path never allocates.
void KeepLastLine(const char* format, ...) noexcept;
void ClearLastLine() noexcept;

namespace detail {
template <class... Texts>
void WriteLine(const char* format, const Texts&... texts) {
    KeepLastLine(format, texts.get()...);
    CSLogger::Log(CS_LOG_ERROR, format, texts.get()...);
}
}  // namespace detail

template <class... Args>
void LogLine(const char* format, Args... args) {
    static_assert((std::is_same_v<Args, const char*> && ...), "lines take texts only");
    detail::WriteLine(format, LogText(args)...);
}

// Formats of the lines the library writes; the first %s is always the log tag.
namespace message {
constexpr const char* kFailure = "%s: %s";
constexpr const char* kObjectMissing = "%s: argument object not provided";
constexpr const char* kKeyMissing = "%s: argument 'key' not provided";
constexpr const char* kGroupMissing = "%s: argument 'group' not provided";
constexpr const char* kComponentMissing = "%s: argument 'component' not provided";
constexpr const char* kStoreMissing = "%s: ConfigStoreCPtr not provided";
constexpr const char* kValueMissing = "%s: argument 'value' not provided";
constexpr const char* kObjMissing = "%s: obj not provided";
constexpr const char* kFilterMissing = "%s: FilterSpecObjectCPtr not provided";
constexpr const char* kFilterSpecMissing = "%s: argument filter spec not provided";
constexpr const char* kDocumentMissing = "%s: argument 'document' not provided";
constexpr const char* kUnknownContext = "%s unknown context type '%s'";
constexpr const char* kInvalidArgument = "%s: Invalid argument";
constexpr const char* kDestroyObjectChild =
    "%s: Cannot invoke DestroyConfigStoreObject on SubObject";
constexpr const char* kDestroyFilterChild =
    "%s: Cannot invoke DestroyFilterSpecObject on SubObject";
}  // namespace message

// Logs `format` with the tag and answers CS_C_INVALID_ARGUMENT: the shape of every refusal.
int RejectArgument(const char* format, const char* tag);

}  // namespace binding
