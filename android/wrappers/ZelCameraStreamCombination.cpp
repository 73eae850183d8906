#include <android/wrappers/ZelCameraStreamCombination.h>

#include <algorithm>

#include <android/wrappers/internal/Accessors.h>
#include <android/wrappers/internal/ModuleRecords.h>
#include <android/wrappers/internal/PImplImpl.h>

namespace zelkov {

template class PImpl<camera_stream, camera_stream>;
template class PImpl<concurrent_camera_combination, concurrent_camera_combination>;
template class PImpl<camera_stream_combination, camera_stream_combination>;
template class PImpl<cameraid_stream_combination, cameraid_stream_combination>;

ZEL_FIELD_ACCESSORS(ZelCameraStream, StreamType, int, stream_type)
ZEL_FIELD_ACCESSORS(ZelCameraStream, Width, unsigned int, width)
ZEL_FIELD_ACCESSORS(ZelCameraStream, Height, unsigned int, height)
ZEL_FIELD_ACCESSORS(ZelCameraStream, Format, int, format)
ZEL_FIELD_ACCESSORS(ZelCameraStream, Usage, unsigned int, usage)
ZEL_FIELD_ACCESSORS(ZelCameraStream, DataSpace, int, data_space)
ZEL_FIELD_ACCESSORS(ZelCameraStream, Rotation, int, rotation)
ZEL_FIELD_ACCESSORS(ZelCameraStream, PhysicalCameraId, const char*, physical_camera_id)

ZEL_FIELD_ACCESSORS(ZelConCurrentCameraCombination, NumCameras, unsigned int, num_cameras)
unsigned int* ZelConCurrentCameraCombination::GetConCurrentCamArray() const { return m_record->camera_ids; }
void ZelConCurrentCameraCombination::SetConCurrentCamArray(unsigned int* values) {
    // The record has room for two ids only; a larger count must not write past it.
    const unsigned int capacity = sizeof(m_record->camera_ids) / sizeof(m_record->camera_ids[0]);
    const unsigned int count = std::min(m_record->num_cameras, capacity);
    for (unsigned int i = 0; i < count; ++i) m_record->camera_ids[i] = values[i];
}

ZEL_FIELD_ACCESSORS(ZelCameraStreamCombination, NumStreams, unsigned int, num_streams)
ZEL_FIELD_ACCESSORS(ZelCameraStreamCombination, Streams, camera_stream*, streams)
ZEL_FIELD_ACCESSORS(ZelCameraStreamCombination, OperationMode, unsigned int, operation_mode)

ZEL_FIELD_ACCESSORS(ZelCameraIdStreamCombination, FwkCameraId, unsigned int, camera_id)
ZEL_FIELD_ACCESSORS(ZelCameraIdStreamCombination, StreamConfig, camera_stream_combination*, stream_configuration)

}  // namespace zelkov
