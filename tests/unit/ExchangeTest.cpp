// Import with its error-info list, and export.
#include "DoubleTest.h"

namespace {

using enginedouble::ImportAnswer;

using Exchange = HandleTest;

TEST_F(Exchange, OnlyARefusalWithRecordsHandsOutAList) {
    ErrorInfoStruct* sentinel = nullptr;
    ErrorInfoStruct** errors = &sentinel;
    int count = -1;
    // Records of an accepted document are dropped.
    const std::pair<ImportAnswer, int> outcomes[] = {{{true, {}}, CS_C_OK},
                                                     {{false, {}}, CS_C_VALIDATION_ERROR},
                                                     {{true, {{"k", "dropped"}}}, CS_C_OK}};
    for (const auto& [answer, result] : outcomes) {
        enginedouble::Answer("Import", answer);
        EXPECT_EQ(Import("{}", &errors, &count), result);
    }
    EXPECT_EQ(errors, &sentinel);
    EXPECT_EQ(count, -1);

    enginedouble::Answer("Import", ImportAnswer{false, {{"fan", "bad"}, {"pump", "worse"}}});
    ASSERT_EQ(Import("{}", &errors, &count), CS_C_VALIDATION_ERROR);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(DestroyErrorInfoList(&errors, count), CS_C_OK);
    EXPECT_EQ(DestroyErrorInfoList(nullptr, 3), CS_C_OK);  // nothing to release
    ExpectLog({});
}

TEST_F(Exchange, ExportHandsTheSelectionToTheEngineInOrder) {
    FilterSpecObjectStruct* filters[] = {filter_, nullptr};
    ASSERT_EQ(CreateFilterSpecObject("pump", "g", "c", nullptr, &filters[1]), CS_C_OK);
    enginedouble::Answer("Export", std::string("{\"fan\":{}}"));
    char* documents[2] = {};
    ASSERT_EQ(Export(filters, 2, &documents[0]), CS_C_OK);
    ASSERT_EQ(Export(nullptr, 0, &documents[1]), CS_C_OK);  // an empty selection
    const auto calls = enginedouble::CallsTo("Export");
    EXPECT_EQ(calls.at(0).args[0], "fan,pump");
    EXPECT_EQ(calls.at(1).args[0], "");
    for (char* document : documents) {
        EXPECT_STREQ(document, "{\"fan\":{}}");
        std::free(document);
    }
    DestroyFilterSpecObject(filters[1]);
    ExpectLog({});
}

}  // namespace
