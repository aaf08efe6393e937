#include "StandinTest.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <cstring>

#include "ObjectState.h"

namespace standin_test {

namespace fs = std::filesystem;

namespace {

fs::path gRoot;

// Every store of the process lives below a fresh temporary directory, removed at the end.
class TemporaryDirectories : public ::testing::Environment {
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "standin-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        gRoot = pattern;
        setenv("CONFIGSTORE_DIR", (gRoot / "state" / "nested").c_str(), 1);
        setenv("CONFIGSTORE_RUNTIME_DIR", (gRoot / "run").c_str(), 1);
        setenv("CONFIGSTORE_LOG", "stderr", 1);
        fs::copy(EXAMPLE_COMPONENTS, gRoot / "components", fs::copy_options::recursive);
        setenv("CONFIGSTORE_COMPONENTS_DIR", (gRoot / "components").c_str(), 1);
    }
    void TearDown() override { fs::remove_all(gRoot); }
};
const auto* const kDirectories = ::testing::AddGlobalTestEnvironment(new TemporaryDirectories);

}  // namespace

const fs::path& TestDirectory() {
    return gRoot;
}

std::string TestName() {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    return std::string(test->test_suite_name()) + "." + test->name();
}

int CodeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const KivConfigStore::ConfigStoreException& e) {
        return e.Code();
    }
    return 0;
}

standin::Json Parse(const char* text) {
    standin::Json document;
    EXPECT_EQ(standin::ParseJson(text, std::strlen(text), document), "") << text;
    return document;
}

std::shared_ptr<KivConfigStore::FilterSpecObject> Filter(
    const KivConfigStore::ConfigStoreObjectId& id, const char* values) {
    auto filter = std::make_shared<KivConfigStore::FilterSpecObject>(id);
    standin::Json document;
    document.Parse(values);
    KivConfigStore::EngineState::Of(*filter).Adopt(document);
    return filter;
}

std::string Rows(const std::string& nameSpace, const std::string& sql) {
    const fs::path file = fs::path(getenv("CONFIGSTORE_DIR")) / (nameSpace + ".db");
    sqlite3* db = nullptr;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr), SQLITE_OK) << sql;
    std::string rows;
    int result = SQLITE_ERROR;
    while ((result = sqlite3_step(statement)) == SQLITE_ROW) {
        rows += rows.empty() ? "" : ", ";
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            const auto* text = sqlite3_column_text(statement, column);
            rows += std::string(column == 0 ? "" : " ") +
                    (text != nullptr ? reinterpret_cast<const char*>(text) : "NULL");
        }
    }
    EXPECT_EQ(result, SQLITE_DONE) << sqlite3_errmsg(db);
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return rows;
}

std::string Names(const KivConfigStore::ObjectList& objects) {
    std::string names;
    for (const auto& object : objects) {
        names +=
            (names.empty() ? "" : " ") + object->objectId.key + "/" + object->objectId.instanceId;
    }
    return names;
}

}  // namespace standin_test
