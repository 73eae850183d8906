#ifndef HAL3_RECORD_RECORDING_DEVICE_H
#define HAL3_RECORD_RECORDING_DEVICE_H

#include "Recording.h"

#include <hardware/hardware.h>

namespace hal3_check {

// A recording device in front of a real one: the camera service (or
// hal3_check) opens through these two, and the device it gets back forwards
// every op to the real device and every callback back to its caller,
// recording each. RecordOpenCall writes the open call and returns the new
// session; RecordOpenReturn writes its return and, when the open succeeded,
// returns the recording device (never freed: a device may call back after
// close, and its caller may still hold it).
uint32_t RecordOpenCall(RecordingWriter* writer, const char* cameraId);
hw_device_t* RecordOpenReturn(RecordingWriter* writer, uint32_t session, int rc, hw_device_t* device,
                              const hw_module_t* module);
// hal3_check's own recording of the running scenario; null when none.
RecordingWriter*& LiveWriter();

}  // namespace hal3_check

#endif  // HAL3_RECORD_RECORDING_DEVICE_H
