// libFuzzer entry: arbitrary bytes as a recording read by hal3_check --replay.
#include <cstddef>
#include <cstdint>

#include "fuzz/checks/RecordingReaderChecks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zelkov_fuzz::CheckRecordingReader(data, size);
    return 0;
}
