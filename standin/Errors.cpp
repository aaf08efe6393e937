#include "Errors.h"

#include <cstdio>

namespace standin {

std::string Message(CSErrorCodes code, const std::string& detail, const std::string& argument,
                    int number) {
    const auto row = KivConfigStore::kErrorCodeMessages.find(code);
    std::string text =
        row == KivConfigStore::kErrorCodeMessages.end()
            ? KivConfigStore::kErrorCodeMessages.at(KivConfigStore::ERR_INTERNAL_ERROR)
            : row->second;
    // The formats hold at most one "%s" (two for the validation message, whose first is the
    // argument and second the detail) and one "%d"; fill them in order without printf, so that
    // no caller-supplied text is ever read as a format.
    std::string out;
    bool detailUsed = false;
    bool argumentUsed = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 1 < text.size() && (text[i + 1] == 's' || text[i + 1] == 'd')) {
            if (text[i + 1] == 'd') {
                out += std::to_string(number);
            } else if (!argumentUsed) {
                out += argument;
                argumentUsed = true;
            } else {
                out += detail;
                detailUsed = true;
            }
            ++i;
        } else {
            out += text[i];
        }
    }
    if (!detailUsed && !detail.empty()) out += ": " + detail;
    return out;
}

std::string NameOf(const KivConfigStore::ConfigStoreObjectId& id) {
    return id.component + "/" + id.group + "/" + id.key +
           (id.instanceId.empty() ? "" : "/" + id.instanceId);
}

const char* NameOf(DataClass dataClass) {
    switch (dataClass) {
        case DataClass::Configuration:
            return "configuration";
        case DataClass::UserData:
            return "userData";
        case DataClass::VitalData:
            return "vitalData";
        case DataClass::CachedData:
            return "cachedData";
        case DataClass::Desired:
            return "desired";
    }
    return "unknown";
}

}  // namespace standin
