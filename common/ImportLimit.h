// The bound on an import document's size, which the engine enforces and csctl reads up to:
// CONFIGSTORE_IMPORT_MAX bytes, 64 MiB when unset or not a positive whole number.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace limits {

inline std::size_t ImportLimit() {
    constexpr std::size_t kDefault = std::size_t{64} << 20;
    const char* text = std::getenv("CONFIGSTORE_IMPORT_MAX");
    if (text == nullptr || *text < '0' || *text > '9') return kDefault;
    char* end = nullptr;
    errno = 0;
    const unsigned long long bytes = std::strtoull(text, &end, 10);
    return *end == '\0' && errno == 0 && bytes > 0 ? static_cast<std::size_t>(bytes) : kDefault;
}

}  // namespace limits
