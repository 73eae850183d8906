// libFuzzer entry: arbitrary sensor event streams through the listener's intake.
#include <cstddef>
#include <cstdint>

#include "fuzz/checks/SensorIntakeChecks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zelkov_fuzz::CheckSensorIntake(data, size);
    return 0;
}
