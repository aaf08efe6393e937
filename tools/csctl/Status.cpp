#include "Status.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace csctl {
namespace {

struct Capture {
    std::FILE* file = nullptr;  // where fd 2 points during a call; a file, so no pipe can fill
    int realStderr = -1;
    off_t start = 0;  // where the current call's lines begin in the file
    std::string lastLine;
};

Capture& TheCapture() {
    static Capture capture;
    return capture;
}

void WriteAll(int fd, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(fd, text.data() + done, text.size() - done);
        if (written <= 0) return;
        done += static_cast<std::size_t>(written);
    }
}

std::string LastLineOf(const std::string& text) {
    const std::string prefix = "configstore: ";
    std::string line;
    std::size_t begin = 0;
    while (begin < text.size()) {
        std::size_t end = text.find('\n', begin);
        if (end == std::string::npos) end = text.size();
        if (end > begin) line = text.substr(begin, end - begin);
        begin = end + 1;
    }
    if (line.compare(0, prefix.size(), prefix) == 0) line.erase(0, prefix.size());
    return line;
}

}  // namespace

const char* StatusName(int status) {
    switch (status) {
        case kModuleFailed:
            return "MODULE_FAILED";
        case kUsage:
            return "USAGE";
        case kDataError:
            return "DATA_ERROR";
        case kNoInput:
            return "NO_INPUT";
        case kOutputError:
            return "OUTPUT_ERROR";
    }
    return ConfigStoreCStatusName(status);
}

void PrepareEngineLog() {
    setenv("CONFIGSTORE_LOG", "stderr", 1);
    Capture& capture = TheCapture();
    if (capture.file != nullptr) return;
    capture.file = std::tmpfile();
    if (capture.file != nullptr) capture.realStderr = ::dup(STDERR_FILENO);
    if (capture.realStderr < 0 && capture.file != nullptr) {
        std::fclose(capture.file);
        capture.file = nullptr;
    }
}

const std::string& LastLogLine() {
    return TheCapture().lastLine;
}

void Check(ConfigStoreCStatus status, const std::string& fallback) {
    if (status == CS_C_OK) return;
    const std::string& logged = LastLogLine();
    throw Failure{status, logged.empty() ? fallback : logged, {}, !logged.empty()};
}

namespace detail {

void BeginCapture() {
    Capture& capture = TheCapture();
    capture.lastLine.clear();
    if (capture.file == nullptr) return;
    std::fflush(stderr);
    capture.start = ::lseek(fileno(capture.file), 0, SEEK_END);
    ::dup2(fileno(capture.file), STDERR_FILENO);
}

// Without a capture file the log went straight to standard error and no line is kept.
void EndCapture(bool quiet) {
    Capture& capture = TheCapture();
    if (capture.file == nullptr) return;
    std::fflush(stderr);
    ::dup2(capture.realStderr, STDERR_FILENO);
    const int fd = fileno(capture.file);
    std::string text;
    char chunk[4096];
    ::lseek(fd, capture.start, SEEK_SET);
    for (ssize_t got; (got = ::read(fd, chunk, sizeof chunk)) > 0;) {
        text.append(chunk, static_cast<std::size_t>(got));
    }
    if (text.empty()) return;
    if (!quiet) WriteAll(STDERR_FILENO, text);
    capture.lastLine = LastLineOf(text);
}

}  // namespace detail
}  // namespace csctl
