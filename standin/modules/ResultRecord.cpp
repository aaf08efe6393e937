#include "ResultRecord.h"

#include <ctime>

namespace standin {

std::string UtcNow() {
    return UtcText(std::time(nullptr));
}

std::string UtcText(std::time_t time) {
    std::tm utc{};
    gmtime_r(&time, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

}  // namespace standin
