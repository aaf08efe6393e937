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

namespace {

// A list being built for the caller: it releases whatever it holds unless Release() hands it
// over. Entries not made yet stay NULL.
class ErrorInfoList {
public:
    explicit ErrorInfoList(const std::vector<engine::ErrorInfo>& problems)
        : entries_(binding::AllocateArray<ErrorInfoStruct*>(binding::CountOf(problems.size()))),
          size_(static_cast<int>(problems.size())) {
        try {
            for (int i = 0; i < size_; ++i) {
                const auto& problem = problems[static_cast<std::size_t>(i)];
                entries_[i] = new ErrorInfoStruct{problem.key, problem.message};
            }
        } catch (...) {
            DeleteEntries();
            throw;
        }
    }
    ~ErrorInfoList() { DeleteEntries(); }
    ErrorInfoList(const ErrorInfoList&) = delete;
    ErrorInfoList& operator=(const ErrorInfoList&) = delete;

    ErrorInfoStruct** Release() { return entries_.release(); }

private:
    void DeleteEntries() {
        if (!entries_) return;
        for (int i = 0; i < size_; ++i) delete entries_[i];
    }

    binding::CBuffer<ErrorInfoStruct*[]> entries_;
    int size_;
};

}  // namespace

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
        *errors = ErrorInfoList(problems).Release();
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
