// A preview request's metadata built through the metadata handler, printed
// by tag name, and the camera module looked up through the hardware handler.
#include <cstdio>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <android/misc/IZelHardwareHandler.h>
#include <android/wrappers/ZelHwModule.h>
#include <hardware/hardware.h>
#include <system/camera_metadata.h>

#include "Roads.h"

using namespace zelkov;

namespace {

void PrintEntry(IZelCameraMetadataHandler* handler, const zel_camera_metadata_ro_entry& entry) {
    std::printf("    %s.%s (%s x%zu):", handler->GetSectionName(entry.tag), handler->GetTagName(entry.tag),
                camera_metadata_type_names[entry.type], entry.count);
    for (size_t i = 0; i < entry.count; ++i) {
        switch (entry.type) {
            case TYPE_BYTE: std::printf(" %u", entry.data.u8[i]); break;
            case TYPE_INT32: std::printf(" %d", entry.data.i32[i]); break;
            case TYPE_FLOAT: std::printf(" %g", entry.data.f[i]); break;
            case TYPE_INT64: std::printf(" %lld", (long long)entry.data.i64[i]); break;
            case TYPE_DOUBLE: std::printf(" %g", entry.data.d[i]); break;
            default: std::printf(" %d/%d", entry.data.r[i].numerator, entry.data.r[i].denominator); break;
        }
    }
    std::printf("\n");
}

bool RunMetadataRoad() {
    IZelCameraMetadataHandler* handler = GetCameraMetadataHandler();
    camera_metadata* request = handler->Allocate(8, 64);
    const uint8_t intent = 1;   // preview
    const uint8_t ae_mode = 1;  // on
    const int32_t fps[] = {15, 30};
    const int64_t exposure = 16666666;
    const int32_t crop[] = {0, 0, 4000, 3000};
    const float zoom = 1.0f;
    bool ok = DemoCheck(request != nullptr, "request metadata allocated (8 entries, 64 data bytes)");
    ok &= DemoCheck(handler->AddEntry(request, ANDROID_CONTROL_CAPTURE_INTENT, &intent, 1) == 0 &&
                        handler->AddEntry(request, ANDROID_CONTROL_AE_MODE, &ae_mode, 1) == 0 &&
                        handler->AddEntry(request, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2) == 0 &&
                        handler->AddEntry(request, ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1) == 0 &&
                        handler->AddEntry(request, ANDROID_SCALER_CROP_REGION, crop, 4) == 0 &&
                        handler->AddEntry(request, ANDROID_CONTROL_ZOOM_RATIO, &zoom, 1) == 0,
                    "six request entries added");
    ok &= DemoCheck(handler->Sort(request) == 0, "sorted by tag");
    std::printf("  %zu entries, %zu of %zu data bytes used:\n", handler->GetEntryCount(request),
                handler->GetDataCount(request), handler->GetDataCapacity(request));
    for (unsigned int i = 0; i < handler->GetEntryCount(request); ++i) {
        zel_camera_metadata_ro_entry entry;
        if (handler->GetRoEntry(request, i, &entry) == 0) PrintEntry(handler, entry);
    }
    zel_camera_metadata_ro_entry found;
    ok &= DemoCheck(
        handler->FindRoEntry(request, ANDROID_SENSOR_EXPOSURE_TIME, &found) == 0 && found.data.i64[0] == exposure,
        "exposure time found again by binary search");
    ok &= DemoCheck(handler->ValidateStructure(request, nullptr) == 0, "buffer structure valid");
    handler->Free(request);

    const hw_module_t* module = nullptr;
    const int status = IZelHardwareHandler::GetInstance()->GetModule("camera", &module);
    ok &= DemoCheck(status == 0 && module != nullptr, "camera module found by hw_get_module");
    if (status == 0) {
        ZelHwModule record(module, false);
        std::printf("  module \"%s\" by %s, id %s\n", record.GetName(), record.GetAuthor(), record.GetId());
    }
    const hw_module_t* missing = nullptr;
    ok &= DemoCheck(IZelHardwareHandler::GetInstance()->GetModule("no_such_module", &missing) == -2,
                    "an unknown module id gives -ENOENT");
    return ok;
}

}  // namespace

ZELKOV_DEMO_ROAD(40, "metadata and hardware modules", RunMetadataRoad);
