// libFuzzer entry: arbitrary bytes as a camera metadata buffer.
#include <cstddef>
#include <cstdint>

#include "fuzz/checks/CameraMetadataChecks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zelkov_fuzz::CheckCameraMetadata(data, size);
    return 0;
}
