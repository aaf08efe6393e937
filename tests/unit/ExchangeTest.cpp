// Import with its error-info list, and export.
#include <cstdlib>
#include <stdexcept>

#include "DoubleTest.h"
#include "core/Handles.h"

namespace {

using namespace KivConfigStore;
using enginedouble::ImportAnswer;

class Exchange : public DoubleTest {};

std::string Take(char* text) {
    std::string copy = text == nullptr ? "(null)" : text;
    std::free(text);
    return copy;
}

TEST_F(Exchange, AcceptedOrRecordlessRefusalLeavesTheOutputsAlone) {
    ErrorInfoStruct* sentinel = nullptr;
    ErrorInfoStruct** errors = &sentinel;
    int count = -1;
    EXPECT_EQ(Import("{}", &errors, &count), CS_C_OK);
    EXPECT_EQ(enginedouble::CallsTo("Import").at(0).args[0], "{}");
    enginedouble::Answer("Import", ImportAnswer{false, {}});
    EXPECT_EQ(Import("{}", &errors, &count), CS_C_VALIDATION_ERROR);
    // Records of an accepted document are dropped.
    enginedouble::Answer("Import", ImportAnswer{true, {{"k", "ignored"}}});
    EXPECT_EQ(Import("{}", &errors, &count), CS_C_OK);
    EXPECT_EQ(errors, &sentinel);
    EXPECT_EQ(count, -1);
    ExpectLog({});
}

TEST_F(Exchange, RefusalWithRecordsHandsOutTheList) {
    enginedouble::Answer("Import", ImportAnswer{false,
                                                {{"fan", "bad speed"},
                                                 {std::string("pu\0mp", 5), ""},
                                                 {"valve", std::string("too\0high", 8)}}});
    ErrorInfoStruct** errors = nullptr;
    int count = 0;
    ASSERT_EQ(Import("{\"fan\":{}}", &errors, &count), CS_C_VALIDATION_ERROR);
    ASSERT_EQ(count, 3);
    char* text = nullptr;
    ASSERT_EQ(GetErrorInfoKey(errors[0], &text), CS_C_OK);
    EXPECT_EQ(Take(text), "fan");
    ASSERT_EQ(GetErrorInfoKey(errors[0], &text), CS_C_OK);  // each call a new copy
    EXPECT_EQ(Take(text), "fan");
    ASSERT_EQ(GetErrorInfoMessage(errors[0], &text), CS_C_OK);
    EXPECT_EQ(Take(text), "bad speed");
    ASSERT_EQ(GetErrorInfoMessage(errors[1], &text), CS_C_OK);
    EXPECT_EQ(Take(text), "");
    // Texts with an embedded NUL are cut there, in buffers of the engine text's full length.
    ASSERT_EQ(GetErrorInfoKey(errors[1], &text), CS_C_OK);
    EXPECT_EQ(std::string(text, 6), std::string("pu\0\0\0\0", 6));
    std::free(text);
    ASSERT_EQ(GetErrorInfoMessage(errors[2], &text), CS_C_OK);
    EXPECT_EQ(std::string(text, 9), std::string("too\0\0\0\0\0\0", 9));
    std::free(text);
    EXPECT_EQ(DestroyErrorInfoList(&errors, count), CS_C_OK);
    ExpectLog({});
}

TEST_F(Exchange, ImportRefusalsAndFailures) {
    ErrorInfoStruct** errors = nullptr;
    int count = -1;
    EXPECT_EQ(Import(nullptr, &errors, &count), CS_C_INVALID_ARGUMENT);
    EXPECT_TRUE(enginedouble::Calls().empty());
    enginedouble::Throw("Import", InvalidArgumentException("not JSON"));
    EXPECT_EQ(Import("x", &errors, &count), CS_C_STORE_ERROR);
    enginedouble::Throw("Import", std::runtime_error("disk full"));
    EXPECT_EQ(Import("x", &errors, &count), CS_C_INTERNAL_ERROR);
    EXPECT_EQ(errors, nullptr);
    EXPECT_EQ(count, -1);
    ExpectLog({{"%s: argument 'document' not provided", {"Import"}},
               {"%s: %s", {"Import", "not JSON"}},
               {"%s: %s", {"Import", "disk full"}}});
}

TEST_F(Exchange, ErrorInfoAccessorsAndReleaseAcceptNothing) {
    char* text = nullptr;
    EXPECT_EQ(GetErrorInfoKey(nullptr, &text), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(GetErrorInfoMessage(nullptr, &text), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(text, nullptr);
    ErrorInfoStruct** none = nullptr;
    EXPECT_EQ(DestroyErrorInfoList(&none, 0), CS_C_OK);
    EXPECT_EQ(DestroyErrorInfoList(nullptr, 3), CS_C_OK);
    // NULL entries are skipped.
    auto** holes = static_cast<ErrorInfoStruct**>(std::calloc(2, sizeof(ErrorInfoStruct*)));
    EXPECT_EQ(DestroyErrorInfoList(&holes, 2), CS_C_OK);
    ExpectLog({});
}

class Exports : public DoubleTest {
protected:
    void SetUp() override {
        DoubleTest::SetUp();
        ASSERT_EQ(CreateFilterSpecObject("fan", "g", "c", nullptr, &filters_[0]), CS_C_OK);
        ASSERT_EQ(CreateFilterSpecObject("pump", "g", "c", nullptr, &filters_[1]), CS_C_OK);
    }
    void TearDown() override {
        for (FilterSpecObjectStruct* filter : filters_) DestroyFilterSpecObject(filter);
    }
    FilterSpecObjectStruct* filters_[2] = {};
};

TEST_F(Exports, DocumentOfTheSelectionGoesToTheCaller) {
    enginedouble::Answer("Export", std::string("{\"fan\":{}}"));
    char* document = nullptr;
    ASSERT_EQ(Export(filters_, 2, &document), CS_C_OK);
    EXPECT_EQ(Take(document), "{\"fan\":{}}");
    EXPECT_EQ(enginedouble::CallsTo("Export").at(0).args[0], "fan,pump");
    for (FilterSpecObjectStruct* filter : filters_) {
        EXPECT_EQ(filter->engineObject.use_count(), 1);  // the extra references are gone
    }
    ASSERT_EQ(Export(nullptr, 0, &document), CS_C_OK);  // an empty selection
    EXPECT_EQ(enginedouble::CallsTo("Export").at(1).args[0], "");
    std::free(document);
}

TEST_F(Exports, RefusalsAndFailuresLeaveTheDocumentAlone) {
    char sentinel = 0;
    char* document = &sentinel;
    FilterSpecObjectStruct* withHole[] = {filters_[0], nullptr};
    EXPECT_EQ(Export(filters_, -1, &document), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(Export(nullptr, 1, &document), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(Export(withHole, 2, &document), CS_C_INVALID_ARGUMENT);
    EXPECT_TRUE(enginedouble::Calls().empty());
    enginedouble::Throw("Export", ValidationException("cannot export"));
    EXPECT_EQ(Export(filters_, 2, &document), CS_C_STORE_ERROR);
    EXPECT_EQ(document, &sentinel);
    ExpectLog({{"%s: Invalid argument", {"Export"}},
               {"%s: FilterSpecObjectCPtr not provided", {"Export"}},
               {"%s: FilterSpecObjectCPtr not provided", {"Export"}},
               {"%s: %s", {"Export", "cannot export"}}});
}

}  // namespace
