// The exported accessor of the process-wide metadata handler.
#include <android/misc/IZelCameraMetadataHandler.h>

#include <cstdlib>

#include <android/internal/ZelLog.h>
#include <android/misc/internal/ZelCameraMetadataHandler.h>

namespace zelkov {

IZelCameraMetadataHandler::~IZelCameraMetadataHandler() = default;

IZelCameraMetadataHandler* GetCameraMetadataHandler() {
    IZelCameraMetadataHandler* handler = _GetCameraMetadataHandler();
    if (handler != nullptr) return handler;
    ZEL_LOGF("CameraMetadataHandler can not be NULL.");
    abort();
}

}  // namespace zelkov
