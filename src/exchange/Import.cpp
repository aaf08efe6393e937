// Importing a document, and the error-info list that reports why the engine refused one.
#include <cstdlib>
#include <string>
#include <vector>

#include "configstorec.h"
#include "core/Buffers.h"
#include "core/Families.h"
#include "core/Handles.h"

namespace engine = KivConfigStore;
using binding::Guard;

// One problem the engine reported, owned by its list.
struct ErrorInfoStruct {
    std::string key;
    std::string message;
};

// The out-values are written only when the engine refuses the document with records.
ConfigStoreCStatus Import(const char* document, ErrorInfoStruct*** errors, int* count) {
    constexpr const char* kCaller = "Import";
    return Guard<binding::StoreLevel>(kCaller, [&]() -> int {
        if (document == nullptr) {
            return binding::RejectArgument(binding::message::kDocumentMissing, kCaller);
        }
        std::vector<engine::ErrorInfo> problems;
        if (engine::Import(std::string(document), problems)) return CS_C_OK;
        if (problems.empty()) return CS_C_VALIDATION_ERROR;
        const int size = binding::CountOf(problems.size());
        *errors = binding::MakeEntries<ErrorInfoStruct>(
            problems,
            [](const engine::ErrorInfo& problem) {
                return new ErrorInfoStruct{problem.key, problem.message};
            },
            [](ErrorInfoStruct* entry) { delete entry; });
        *count = size;
        return CS_C_VALIDATION_ERROR;
    });
}

ConfigStoreCStatus GetErrorInfoKey(ErrorInfoStruct* info, char** key) {
    return Guard<binding::Untranslated>("GetErrorInfoKey", [&]() -> int {
        if (info == nullptr) return CS_C_INVALID_ARGUMENT;  // not logged
        *key = binding::CopyString(info->key);
        return CS_C_OK;
    });
}

ConfigStoreCStatus GetErrorInfoMessage(ErrorInfoStruct* info, char** message) {
    return Guard<binding::Untranslated>("GetErrorInfoMessage", [&]() -> int {
        if (info == nullptr) return CS_C_INVALID_ARGUMENT;  // not logged
        *message = binding::CopyString(info->message);
        return CS_C_OK;
    });
}

ConfigStoreCStatus DestroyErrorInfoList(ErrorInfoStruct*** errors, int count) {
    return Guard<binding::Untranslated>("DestroyErrorInfoList", [&] {
        if (errors == nullptr) return CS_C_OK;
        for (int i = 0; i < count; ++i) delete (*errors)[i];
        std::free(*errors);
        return CS_C_OK;
    });
}
