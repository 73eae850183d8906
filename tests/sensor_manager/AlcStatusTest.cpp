// Identification of the heart-rate / rear light chip from the sysfs name files.
#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_test::LogCapture;
using zelkov_test::SetHrmNameFile;
using zelkov_test::SetRearLightNameFile;

namespace {

using AlcStatusTest = zelkov_test::SensorTest;

struct NameCase {
    const char* content;
    int code;
};

TEST_F(AlcStatusTest, ChipNameFileGivesTheChipCode) {
    const NameCase cases[] = {
        {"MAX86900\n", 0}, {"MAX86907B\n", 1}, {"MAX86909\n", 3}, {"MAX86902\n", 2},  {"ADPD143RI\n", 4},
        {"MAX86906\n", 0}, {"MAX86917\n", 1},  {"SFH7832\n", 6},  {"MAX86915\n", 7},
        // Without the newline the last character is left out: "MAX8691" is a
        // prefix of MAX86917, which comes first.
        {"MAX86915", 1},
        // Nothing compared: the first entry matches.
        {"\n", 0},
        // Cut to 23 characters by the read, then matching nothing.
        {"MAX86915MAX86915MAX86915MAX86915\n", 1},
        {"TMD4906\n", 1},
    };
    for (const NameCase& c : cases) {
        SetHrmNameFile(c.content);
        SetRearLightNameFile("als_rear\n");  // ignored while the HRM file exists
        EXPECT_EQ(SensorListener::getAlcStatus(), c.code) << c.content;
    }
}

TEST_F(AlcStatusTest, RearLightWithoutHrmGives1000AfterTheOpenFailure) {
    SetRearLightNameFile("");
    LogCapture capture;
    EXPECT_EQ(SensorListener::getAlcStatus(), 1000);
    auto messages = capture.Messages();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].text, "SensorListener.cpp: getAlcStatus: 832: ERR:failed to open hrm alc sensor's name");
    EXPECT_EQ(messages[1].text, "SensorListener.cpp: getAlcStatus: 897: HRM sensor type: 1000");
}

TEST_F(AlcStatusTest, NeitherFileGives1WithBothFailures) {
    LogCapture capture;
    EXPECT_EQ(SensorListener::getAlcStatus(), 1);
    EXPECT_EQ(capture.Count(1, "getAlcStatus: 832: ERR:failed to open hrm alc sensor's name"), 1);
    EXPECT_EQ(capture.Count(1, "getAlcStatus: 838: ERR:failed to open als rear sensor's name"), 1);
}

TEST_F(AlcStatusTest, EmptyHrmFileGives1WithTheReadFailure) {
    SetHrmNameFile("");
    LogCapture capture;
    EXPECT_EQ(SensorListener::getAlcStatus(), 1);
    EXPECT_EQ(capture.Count(1, "getAlcStatus: 850: ERR:failed to read hrm alc sensor's name"), 1);
}

TEST_F(AlcStatusTest, EnablingTheAlcSensorStoresTheCode) {
    SetHrmNameFile("MAX86915\n");
    ISensorListener* listener = LoadSensorListener();
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ALC, 0, 0), 0);
    EXPECT_EQ(SensorListenerTestPeer::HrmSensorType(SensorListenerTestPeer::Of(listener)), 7);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ALC), 0);
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
}

}  // namespace
