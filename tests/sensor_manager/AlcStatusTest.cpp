// The HRM / rear light chip code from what the sysfs name files hold.
#include <string>

#include <gtest/gtest.h>

#include <android/sensor_manager/internal/SensorListener.h>

#include "common/LogCapture.h"

namespace {

TEST(AlcStatusTest, ChipNameGivesItsCode) {
    const struct {
        const char* name;
        int code;
    } cases[] = {
        {"MAX86900\n", 0},  {"MAX86907B\n", 1}, {"MAX86909\n", 3}, {"MAX86902\n", 2},
        {"ADPD143RI\n", 4}, {"MAX86906\n", 0},  {"MAX86917\n", 1}, {"SFH7832\n", 6},
        {"MAX86915\n", 7},  {"TMD4906\n", 1},   {"MAX86915", 1},  // last character left out: "MAX8691" matches MAX86917 first
        {"\n", 0},                                                // nothing compared: the first entry matches
    };
    for (const auto& c : cases) EXPECT_EQ(zelkov::AlcStatusOf(c.name, true), c.code) << c.name;
}

// The code and the log lines (by their fixed line numbers), in order.
TEST(AlcStatusTest, MissingOrEmptyHrmNameGivesItsCodeAndMessages) {
    const struct {
        const char* hrmName;
        bool rearLight;
        int code;
        const char* lines;
    } cases[] = {
        {nullptr, true, 1000, "832:897:"},
        {nullptr, false, 1, "832:838:897:"},
        {"", true, 1, "850:897:"},
    };
    for (const auto& c : cases) {
        zelkov_test::LogCapture capture;
        EXPECT_EQ(zelkov::AlcStatusOf(c.hrmName, c.rearLight), c.code);
        std::string lines;
        for (const auto& message : capture.Messages()) {
            if (message.text.find("SensorListener.cpp: getAlcStatus: ") == 0) lines += message.text.substr(34, 4);
        }
        EXPECT_EQ(lines, c.lines) << c.code;
    }
}

}  // namespace
