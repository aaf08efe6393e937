// The engine's log: syslog (ident "configstore"), or standard error when CONFIGSTORE_LOG is
// "stderr", one line per call.
#include <kivconfigstore/CSLogger.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

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
    const char* destination = std::getenv("CONFIGSTORE_LOG");
    va_list arguments;
    va_start(arguments, format);
    if (destination != nullptr && std::strcmp(destination, "stderr") == 0) {
        // One write per line, so that lines of several threads do not mix.
        char line[4096];
        const int prefix = std::snprintf(line, sizeof line, "configstore: ");
        std::vsnprintf(line + prefix, sizeof line - static_cast<std::size_t>(prefix) - 1, format,
                       arguments);
        std::strcat(line, "\n");
        std::fputs(line, stderr);
    } else {
        static std::once_flag opened;
        std::call_once(opened, [] { openlog("configstore", LOG_PID, LOG_USER); });
        vsyslog(SyslogPriority(priority), format, arguments);
    }
    va_end(arguments);
}
