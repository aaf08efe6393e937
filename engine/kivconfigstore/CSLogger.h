// The engine's log: one printf-style line per call.
#pragma once

enum log_priority {
    CS_LOG_ERROR = 0,
    CS_LOG_WARNING = 1,
    CS_LOG_INFO = 2,
    CS_LOG_DEBUG = 3,
};

class CSLogger {
public:
    static void Log(log_priority priority, const char* format, ...)
        __attribute__((format(printf, 2, 3)));
};
