#include "Status.h"

namespace csctl {
namespace {

std::string& TheLastLine() {
    static std::string line;
    return line;
}

}  // namespace

const char* StatusName(int status) {
    static const std::pair<int, const char*> kOwnNames[] = {{kModuleFailed, "MODULE_FAILED"},
                                                            {kDifferent, "DIFFERENT"},
                                                            {kUsage, "USAGE"},
                                                            {kDataError, "DATA_ERROR"},
                                                            {kNoInput, "NO_INPUT"},
                                                            {kOutputError, "OUTPUT_ERROR"}};
    for (const auto& [code, name] : kOwnNames) {
        if (code == status) return name;
    }
    return ConfigStoreCStatusName(status);
}

const std::string& LastLogLine() {
    return TheLastLine();
}

void Check(ConfigStoreCStatus status, const std::string& fallback) {
    if (status == CS_C_OK) return;
    const std::string& line = LastLogLine();
    throw Failure{status, line.empty() ? fallback : line, {}};
}

namespace detail {

void KeepLine() {
    TheLastLine() = ConfigStoreCLastError();
}

}  // namespace detail
}  // namespace csctl
