// Results of csctl: the library's statuses with their names, csctl's own exit codes, the
// failure that ends a command, and the library's line for a failed call.
#pragma once

#include <configstorec.h>

#include <string>
#include <utility>
#include <vector>

namespace csctl {

// csctl's own exit codes beside the library's statuses (1..7).
// kDifferent: diff found the store and the document apart.
enum ExitCode {
    kModuleFailed = 8,
    kDifferent = 9,
    kUsage = 64,
    kDataError = 65,
    kNoInput = 66,
    kOutputError = 74
};

// The name of a status or exit code, e.g. "CS_C_NOT_FOUND" or "USAGE".
const char* StatusName(int status);

// What ends a command: its exit status and the message that says why; an import's refusal
// also carries the store's error entries (key, message).
struct Failure {
    int status;
    std::string message;
    std::vector<std::pair<std::string, std::string>> entries;
    bool printed = false;  // the message has reached standard error already
    int engineCode = 0;    // a failed apply module's code of the engine's table (1102..1104)
};

// Runs one library call. When it fails, the library's line for it (ConfigStoreCLastError) is
// kept for the failure's message, whatever csctl calls afterwards (releases included).
template <typename Call>
ConfigStoreCStatus Logged(Call&& call);

// The library's line of the latest call run by Logged; empty when it succeeded or gave none.
const std::string& LastLogLine();

// Throws a Failure for a status other than CS_C_OK: the call's line, else the fallback.
void Check(ConfigStoreCStatus status, const std::string& fallback);

namespace detail {
void KeepLine();
}  // namespace detail

template <typename Call>
ConfigStoreCStatus Logged(Call&& call) {
    const ConfigStoreCStatus status = call();
    detail::KeepLine();
    return status;
}

}  // namespace csctl
