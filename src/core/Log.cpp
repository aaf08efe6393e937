#include "Log.h"

#include <cstdarg>
#include <cstdio>

#include "configstorec.h"

namespace binding {
namespace {
// The room the header promises: 4096 characters of a line and its end.
thread_local char lastLine[4096 + 1];
}  // namespace

void KeepLastLine(const char* format, ...) noexcept {
    va_list texts;
    va_start(texts, format);
    std::vsnprintf(lastLine, sizeof lastLine, format, texts);
    va_end(texts);
}

void ClearLastLine() noexcept {
    lastLine[0] = '\0';
}

int RejectArgument(const char* format, const char* tag) {
    LogLine(format, tag);
    return CS_C_INVALID_ARGUMENT;
}

}  // namespace binding

const char* ConfigStoreCLastError(void) {
    return binding::lastLine;
}
