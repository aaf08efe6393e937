// A namespace's store on disk: where its files go. The integration tests hold transactions and
// threads, the reliability tests the files the store refuses.
#include <gtest/gtest.h>
#include <kivconfigstore/ErrorCodes.h>
#include <sys/stat.h>

#include <filesystem>

#include "Files.h"
#include "StandinTest.h"

namespace {

namespace fs = std::filesystem;
using namespace KivConfigStore;
using namespace standin_test;

TEST(StoreFiles, NamespacesAreFileNamesInDirectoriesOfTheOwnerOnly) {
    const std::string refused[] = {"", ".x", "a/b", "a b", "\xc3\xa9", std::string(65, 'a')};
    for (const std::string& name : refused) {
        SCOPED_TRACE(name);
        EXPECT_EQ(CodeOf([&] { standin::FilesOf(name); }), ERR_DB_OPEN_FAILED);
    }
    const standin::StoreFiles files = standin::FilesOf(std::string(64, 'a'));
    standin::MakeDirectoryOf(files.runtimeDatabase);  // the store makes it as it opens
    const fs::path& root = TestDirectory();
    for (const fs::path& directory : {root / "state", root / "state" / "nested", root / "run"}) {
        struct stat status {};
        ASSERT_EQ(stat(directory.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0700u) << directory;
    }
}

}  // namespace
