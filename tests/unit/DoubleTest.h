// Every unit test starts from a freshly reset engine double.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "EngineDouble.h"

struct ExpectedLine {
    std::string format;
    std::vector<std::string> args;
};

class DoubleTest : public ::testing::Test {
protected:
    void SetUp() override { enginedouble::Reset(); }

    // The log holds exactly these lines, all at priority 0.
    static void ExpectLog(const std::vector<ExpectedLine>& expected) {
        const auto& lines = enginedouble::LogLines();
        ASSERT_EQ(lines.size(), expected.size()) << LogText();
        for (size_t i = 0; i < lines.size(); ++i) {
            EXPECT_EQ(lines[i].priority, 0);
            EXPECT_EQ(lines[i].format, expected[i].format);
            EXPECT_EQ(lines[i].args, expected[i].args);
        }
    }

    static std::string LogText() {
        std::string text;
        for (const auto& line : enginedouble::LogLines()) text += line.Text() + "\n";
        return text;
    }
};
