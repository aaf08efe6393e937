// The engine's log: syslog (ident "configstore"), or standard error when CONFIGSTORE_LOG is
// "stderr", one line per call.
#include <kivconfigstore/CSLogger.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "ControlEscapes.h"

namespace {

int SyslogPriority(log_priority priority) {
    switch (priority) {
        case CS_LOG_ERROR:
            return LOG_ERR;
        case CS_LOG_WARNING:
            return LOG_WARNING;
        case CS_LOG_INFO:
            return LOG_INFO;
        case CS_LOG_DEBUG:
            return LOG_DEBUG;
    }
    return LOG_ERR;
}

}  // namespace

void CSLogger::Log(log_priority priority, const char* format, ...) {
    // The line is formatted first and its control characters escaped: a text of a caller's (a
    // name, a context, a module's output) holding a newline cannot forge a line of its own.
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    char line[sizeof text];
    escapes::EscapeInto(text, line, sizeof line);
    const char* destination = std::getenv("CONFIGSTORE_LOG");
    if (destination != nullptr && std::strcmp(destination, "stderr") == 0) {
        // One write per line, so that lines of several threads do not mix.
        char whole[sizeof line + 16];
        std::snprintf(whole, sizeof whole, "configstore: %s\n", line);
        std::fputs(whole, stderr);
    } else {
        static std::once_flag opened;
        std::call_once(opened, [] { openlog("configstore", LOG_PID, LOG_USER); });
        syslog(SyslogPriority(priority), "%s", line);
    }
}
