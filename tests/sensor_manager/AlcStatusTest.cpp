// Identification of the heart-rate / rear light chip from the sysfs name files.
#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_test::LogCapture;
using zelkov_test::SetHrmNameFile;
using zelkov_test::SetRearLightNameFile;

namespace {

using AlcStatusTest = zelkov_test::SensorTest;

TEST_F(AlcStatusTest, ChipNameFileGivesTheChipCode) {
    const struct {
        const char* content;
        int code;
    } cases[] = {
        {"MAX86900\n", 0},
        {"MAX86907B\n", 1},
        {"MAX86909\n", 3},
        {"MAX86902\n", 2},
        {"ADPD143RI\n", 4},
        {"MAX86906\n", 0},
        {"MAX86917\n", 1},
        {"SFH7832\n", 6},
        {"MAX86915\n", 7},
        {"TMD4906\n", 1},
        {"MAX86915", 1},                            // last character left out: "MAX8691" matches MAX86917 first
        {"\n", 0},                                  // nothing compared: the first entry matches
        {"MAX86915MAX86915MAX86915MAX86915\n", 1},  // cut to 23 characters by the read
    };
    SetRearLightNameFile("als_rear\n");  // ignored while the HRM file exists
    for (const auto& c : cases) {
        SetHrmNameFile(c.content);
        EXPECT_EQ(SensorListener::getAlcStatus(), c.code) << c.content;
    }
}

// The code and the log lines (by their fixed line numbers), in order.
TEST_F(AlcStatusTest, MissingOrEmptyFilesGiveTheirCodeAndMessages) {
    const struct {
        const char* hrm;
        const char* rear;
        int code;
        const char* lines;
    } cases[] = {
        {nullptr, "", 1000, "832:897:"},
        {nullptr, nullptr, 1, "832:838:897:"},
        {"", "", 1, "850:897:"},
    };
    for (const auto& c : cases) {
        SetHrmNameFile(c.hrm);
        SetRearLightNameFile(c.rear);
        LogCapture capture;
        EXPECT_EQ(SensorListener::getAlcStatus(), c.code);
        std::string lines;
        for (const auto& message : capture.Messages()) lines += message.text.substr(message.text.find(": 8") + 2, 4);
        EXPECT_EQ(lines, c.lines) << c.code;
    }
}

}  // namespace
