// Import with its error-info list, and export.
#include "DoubleTest.h"

namespace {

using enginedouble::ImportAnswer;

using Exchange = HandleTest;

// The whole buffer of a text handed out for an engine text, released.
std::string Take(char* text, const std::string& engineText) {
    std::string buffer(text, engineText.size() + 1);
    std::free(text);
    return buffer;
}

TEST_F(Exchange, AcceptedOrRecordlessRefusalLeavesTheOutputsAloneAndNoListIsAccepted) {
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
    // With no list, the accessors refuse silently and release accepts nothing.
    char* text = nullptr;
    EXPECT_EQ(GetErrorInfoKey(nullptr, &text), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(GetErrorInfoMessage(nullptr, &text), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(text, nullptr);
    errors = nullptr;
    EXPECT_EQ(DestroyErrorInfoList(&errors, 0), CS_C_OK);
    EXPECT_EQ(DestroyErrorInfoList(nullptr, 3), CS_C_OK);
    // NULL entries are skipped.
    errors = static_cast<ErrorInfoStruct**>(std::calloc(2, sizeof(ErrorInfoStruct*)));
    EXPECT_EQ(DestroyErrorInfoList(&errors, 2), CS_C_OK);
    ExpectLog({});
}

TEST_F(Exchange, RefusalWithRecordsHandsOutTheList) {
    const std::string nulKey("pu\0mp", 5);
    const std::string nulMessage("too\0high", 8);
    enginedouble::Answer(
        "Import", ImportAnswer{false, {{"fan", "bad speed"}, {nulKey, ""}, {"valve", nulMessage}}});
    ErrorInfoStruct** errors = nullptr;
    int count = 0;
    ASSERT_EQ(Import("{\"fan\":{}}", &errors, &count), CS_C_VALIDATION_ERROR);
    ASSERT_EQ(count, 3);
    // Each call a new copy; texts with an embedded NUL are cut there, in buffers of the engine
    // text's full length.
    const struct {
        int (*get)(ErrorInfoStruct*, char**);
        int entry;
        std::string text;
    } texts[] = {{GetErrorInfoKey, 0, "fan"},           {GetErrorInfoKey, 0, "fan"},
                 {GetErrorInfoMessage, 0, "bad speed"}, {GetErrorInfoMessage, 1, ""},
                 {GetErrorInfoKey, 1, nulKey},          {GetErrorInfoMessage, 2, nulMessage}};
    for (const auto& t : texts) {
        char* text = nullptr;
        ASSERT_EQ(t.get(errors[t.entry], &text), CS_C_OK);
        EXPECT_EQ(Take(text, t.text), Delivered(t.text));
    }
    EXPECT_EQ(DestroyErrorInfoList(&errors, count), CS_C_OK);
    ExpectLog({});
}

TEST_F(Exchange, ImportRefusalsAndFailuresLeaveTheOutputsAlone) {
    ErrorInfoStruct** errors = nullptr;
    int count = -1;
    EXPECT_EQ(Import(nullptr, &errors, &count), CS_C_INVALID_ARGUMENT);
    EXPECT_TRUE(enginedouble::Calls().empty());
    ExpectLog({{"%s: argument 'document' not provided", {"Import"}}});
    ExpectTranslations(
        "Import", "Import", [&] { return Import("x", &errors, &count); }, kStoreFailures);
    EXPECT_EQ(errors, nullptr);
    EXPECT_EQ(count, -1);
}

TEST_F(Exchange, ExportHandsOutTheDocumentOfTheSelection) {
    FilterSpecObjectStruct* filters[] = {filter_, nullptr};
    ASSERT_EQ(CreateFilterSpecObject("pump", "g", "c", nullptr, &filters[1]), CS_C_OK);
    enginedouble::Answer("Export", std::string("{\"fan\":{}}"));
    char* document = nullptr;
    ASSERT_EQ(Export(filters, 2, &document), CS_C_OK);
    EXPECT_STREQ(document, "{\"fan\":{}}");
    std::free(document);
    EXPECT_EQ(enginedouble::CallsTo("Export").at(0).args[0], "filter,pump");
    for (FilterSpecObjectStruct* filter : filters) {
        EXPECT_EQ(filter->engineObject.use_count(), 1);  // the extra references are gone
    }
    ASSERT_EQ(Export(nullptr, 0, &document), CS_C_OK);  // an empty selection
    EXPECT_EQ(enginedouble::CallsTo("Export").at(1).args[0], "");
    std::free(document);
    DestroyFilterSpecObject(filters[1]);
    ExpectLog({});
}

TEST_F(Exchange, ExportRefusalsAndFailuresLeaveTheDocumentAlone) {
    char sentinel = 0;
    char* document = &sentinel;
    FilterSpecObjectStruct* withHole[] = {filter_, nullptr};
    EXPECT_EQ(Export(withHole, -1, &document), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(Export(nullptr, 1, &document), CS_C_INVALID_ARGUMENT);
    EXPECT_EQ(Export(withHole, 2, &document), CS_C_INVALID_ARGUMENT);
    EXPECT_TRUE(enginedouble::Calls().empty());
    ExpectLog({{"%s: Invalid argument", {"Export"}},
               {"%s: FilterSpecObjectCPtr not provided", {"Export"}},
               {"%s: FilterSpecObjectCPtr not provided", {"Export"}}});
    ExpectTranslations(
        "Export", "Export", [&] { return Export(withHole, 1, &document); }, kStoreFailures);
    EXPECT_EQ(document, &sentinel);
}

}  // namespace
