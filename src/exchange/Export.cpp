// Exporting what a list of filter specs selects, as one document the caller owns.
#include <memory>
#include <string>
#include <vector>

#include "configstorec.h"
#include "core/Buffers.h"
#include "core/Families.h"
#include "core/Handles.h"

namespace engine = KivConfigStore;
using binding::RejectArgument;

ConfigStoreCStatus Export(FilterSpecObjectStruct** filters, int count, char** document) {
    constexpr const char* kCaller = "Export";
    return binding::Guard<binding::StoreLevel>(kCaller, [&]() -> int {
        if (count < 0) return RejectArgument(binding::message::kInvalidArgument, kCaller);
        if (count > 0 && filters == nullptr) {
            return RejectArgument(binding::message::kFilterMissing, kCaller);
        }
        std::vector<std::shared_ptr<engine::FilterSpecObject>> selection;
        selection.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            if (filters[i] == nullptr)
                return RejectArgument(binding::message::kFilterMissing, kCaller);
            selection.push_back(filters[i]->engineObject);
        }
        const std::string exported = engine::Export(selection);
        *document = binding::CopyString(exported);
        return CS_C_OK;
    });
}
