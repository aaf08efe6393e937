// The constants the engine's interface header defines for its clients.
#include <gtest/gtest.h>

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

}  // namespace
