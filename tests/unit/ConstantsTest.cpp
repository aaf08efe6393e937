// The constants the engine's interface header defines for its clients.
#include <gtest/gtest.h>

#include <cstring>

#include <kivconfigstore/ErrorCodes.h>

namespace {

using namespace KivConfigStore;

const char* MessageOf(int code) {
    auto found = kErrorCodeMessages.find(static_cast<CSErrorCodes>(code));
    return found == kErrorCodeMessages.end() ? nullptr : found->second;
}

TEST(EngineConstants, FirstRowOfARepeatedCodeWins) {
    EXPECT_EQ(kErrorCodeMessages.size(), 67u);
    EXPECT_STREQ(MessageOf(1030), "Invalid type, %s");
    EXPECT_STREQ(MessageOf(1084), "Failed to validate Default config");
    EXPECT_EQ(MessageOf(1085), nullptr);
}

TEST(EngineConstants, MessagesCoverEveryBlock) {
    EXPECT_STREQ(MessageOf(1001), "Failed to open database %s");
    EXPECT_STREQ(MessageOf(1060), "Set Partial Boot Status operation failed");
    EXPECT_STREQ(MessageOf(1083), "Validation Error: '%s' %s");
    EXPECT_STREQ(MessageOf(1103), "Failed to wait for child process: %d, errno: %s");
    EXPECT_STREQ(MessageOf(1105), "ConfigStore internal error");
    for (const auto& entry : kErrorCodeMessages) {
        EXPECT_GE(entry.first, 1001);
        EXPECT_LE(entry.first, 1105);
        EXPECT_GT(std::strlen(entry.second), 0u);
    }
}

TEST(EngineConstants, ReservedNamesAndPaths) {
    EXPECT_EQ(kReservedNames.size(), 3u);
    for (const char* name : {"IS_BOOT", "APPLY_BOOT", "BACKUP_FILES"}) {
        EXPECT_EQ(kReservedNames.count(name), 1u) << name;
    }
    EXPECT_EQ(kReservedNames.count("is_boot"), 0u);
    EXPECT_EQ(kReservedNames.count("IS_BOOT "), 0u);
    EXPECT_EQ(kApplyModulesPath, "/usr/lib/brisa/configmanager/apply_modules");
    EXPECT_EQ(kComponentsPath, "/usr/lib/brisa/configmanager/components");
    EXPECT_EQ(kSystemEarly + kNetwork + kStorage + kSystem, "system-earlynetworkstoragesystem");
}

}  // namespace
