// Results of csctl: the library's statuses with their names, csctl's own exit codes, the
// failure that ends a command, and the capture of the engine's log lines around each call.
#pragma once

#include <configstorec.h>

#include <string>
#include <utility>
#include <vector>

namespace csctl {

// csctl's own exit codes beside the library's statuses (1..7).
enum ExitCode { kModuleFailed = 8, kUsage = 64, kDataError = 65, kNoInput = 66, kOutputError = 74 };

// The name of a status or exit code, e.g. "CS_C_NOT_FOUND" or "USAGE".
const char* StatusName(int status);

// What ends a command: its exit status and the message that says why; an import's refusal
// also carries the store's error entries (key, message). A message taken from the engine's log
// has reached standard error already.
struct Failure {
    int status;
    std::string message;
    std::vector<std::pair<std::string, std::string>> entries;
    bool logged = false;
    int engineCode = 0;  // a failed apply module's code of the engine's table (1102..1104)
};

// Sends the engine's log lines to standard error and must run before the first call.
void PrepareEngineLog();

// Runs one library call with standard error captured. What the call logged is copied to the
// real standard error, unless the call ended with quietStatus (an expected miss, such as a
// typed read of a value of another type), and its last line is kept for the failure message.
template <typename Call>
ConfigStoreCStatus Logged(Call&& call, int quietStatus = -1);

// The last log line of the latest call, without the engine's "configstore: " prefix; empty
// when the call logged nothing.
const std::string& LastLogLine();

// Throws a Failure for a status other than CS_C_OK: the call's log line, else the fallback.
void Check(ConfigStoreCStatus status, const std::string& fallback);

namespace detail {
void BeginCapture();
void EndCapture(bool quiet);
}  // namespace detail

template <typename Call>
ConfigStoreCStatus Logged(Call&& call, int quietStatus) {
    // Standard error comes back even when the call throws (csctl's own code may, for memory).
    struct Restore {
        ConfigStoreCStatus status = CS_C_INTERNAL_ERROR;
        int quietStatus;
        ~Restore() { detail::EndCapture(status == quietStatus); }
    } restore{CS_C_INTERNAL_ERROR, quietStatus};
    detail::BeginCapture();
    restore.status = call();
    return restore.status;
}

}  // namespace csctl
