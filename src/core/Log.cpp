#include "Log.h"

#include "configstorec.h"

namespace binding {

int RejectArgument(const char* format, const char* tag) {
    LogLine(format, tag);
    return CS_C_INVALID_ARGUMENT;
}

}  // namespace binding
