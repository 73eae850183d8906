// libFuzzer entry: arbitrary bytes as a native handle read through ZelNativeHandleRo.
#include <cstddef>
#include <cstdint>

#include "fuzz/checks/NativeHandleChecks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zelkov_fuzz::CheckNativeHandle(data, size);
    return 0;
}
