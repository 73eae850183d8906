#include <android/wrappers/ZelCamera3Request.h>

#include <cstring>

#include <android/wrappers/internal/Accessors.h>
#include <android/wrappers/internal/PImplImpl.h>
#include <android/wrappers/internal/RequestRecords.h>
#include <android/wrappers/internal/StreamRecords.h>

namespace zelkov {

template class PImpl<camera3_capture_request, camera3_capture_request>;
template class PImpl<camera3_capture_result, camera3_capture_result>;
template class PImpl<camera3_stream_buffer, camera3_stream_buffer>;
template class PImpl<camera3_stream_buffer_set, camera3_stream_buffer_set>;
template class PImpl<camera3_stream_buffer_ret, camera3_stream_buffer_ret>;
template class PImpl<camera3_buffer_request, camera3_buffer_request>;
template class PImpl<camera3_stream_configuration, camera3_stream_configuration>;
template class PImpl<camera3_jpeg_blob, camera3_jpeg_blob>;

ZEL_FIELD_ACCESSORS(ZelCamera3CaptureRequest, FrameNumber, unsigned int, frame_number)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureRequest, Settings, const camera_metadata*, settings)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureRequest, InputBuffer, camera3_stream_buffer*, input_buffer)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureRequest, NumOutputBuffers, unsigned int, num_output_buffers)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureRequest, OutputBuffers, const camera3_stream_buffer*, output_buffers)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureRequest, NumPhyscamSettings, unsigned int, num_physcam_settings)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureRequest, PhyscamId, const char**, physcam_id)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureRequest, PhyscamSettings, const camera_metadata**, physcam_settings)
unsigned int ZelCamera3CaptureRequest::GetInputWidth() const { return 0; }
void ZelCamera3CaptureRequest::SetInputWidth(unsigned int) {}
unsigned int ZelCamera3CaptureRequest::GetInputHeight() const { return 0; }
void ZelCamera3CaptureRequest::SetInputHeight(unsigned int) {}

ZEL_FIELD_ACCESSORS(ZelCamera3CaptureResult, FrameNumber, unsigned int, frame_number)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureResult, Result, const camera_metadata*, result)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureResult, NumOutputBuffers, unsigned int, num_output_buffers)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureResult, OutputBuffers, const camera3_stream_buffer*, output_buffers)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureResult, InputBuffer, const camera3_stream_buffer*, input_buffer)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureResult, PartialResult, unsigned int, partial_result)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureResult, NumPhyscamMetadata, unsigned int, num_physcam_metadata)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureResult, PhyscamIds, const char**, physcam_ids)
ZEL_FIELD_ACCESSORS(ZelCamera3CaptureResult, PhyscamMetadata, const camera_metadata**, physcam_metadata)

ZEL_FIELD_ACCESSORS(ZelCamera3StreamBuffer, Stream, camera3_stream*, stream)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBuffer, Buffer, const native_handle**, buffer)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBuffer, Status, int, status)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBuffer, AcquireFence, int, acquire_fence)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBuffer, ReleaseFence, int, release_fence)
// The buffer's own stream record holds these; every buffer of the stream sees them.
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBuffer, BufferTimestamp, unsigned long long, stream->stream_timestamp)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBuffer, MinFps, unsigned int, stream->min_fps)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBuffer, MaxFps, unsigned int, stream->max_fps)
void* ZelCamera3StreamBuffer::GetPriv() const { return nullptr; }
void ZelCamera3StreamBuffer::SetPriv(void*) {}
bool ZelCamera3StreamBuffer::IsExistPriv() const { return false; }

ZEL_FIELD_ACCESSORS(ZelCamera3StreamBufferSet, Stream, camera3_stream*, stream)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBufferSet, NumBuffers, unsigned int, num_buffers)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBufferSet, Buffers, const native_handle***, buffers)

ZEL_FIELD_ACCESSORS(ZelCamera3StreamBufferRet, Stream, camera3_stream*, stream)
// The platform declares the status as an enum of int size; the core sees an
// int, any int, so the field is read and written as its bytes, not as the enum.
int ZelCamera3StreamBufferRet::GetStatus() const {
    int value;
    std::memcpy(&value, &m_record->status, sizeof value);
    return value;
}
void ZelCamera3StreamBufferRet::SetStatus(int value) { std::memcpy(&m_record->status, &value, sizeof value); }
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBufferRet, NumOutputBuffers, unsigned int, num_output_buffers)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamBufferRet, OutputBuffers, camera3_stream_buffer*, output_buffers)

ZEL_FIELD_ACCESSORS(ZelCamera3BufferRequest, Stream, camera3_stream*, stream)
ZEL_FIELD_ACCESSORS(ZelCamera3BufferRequest, NumBuffersRequested, unsigned int, num_buffers_requested)

ZEL_FIELD_ACCESSORS(ZelCamera3StreamConfiguration, NumStreams, unsigned int, num_streams)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamConfiguration, Streams, camera3_stream**, streams)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamConfiguration, OperationMode, unsigned int, operation_mode)
ZEL_FIELD_ACCESSORS(ZelCamera3StreamConfiguration, SessionParameter, const camera_metadata*, session_parameters)
bool ZelCamera3StreamConfiguration::GetMultiResolutionInputImage() const { return false; }
void ZelCamera3StreamConfiguration::SetMultiResolutionInputImage(bool) {}

ZEL_FIELD_ACCESSORS(ZelCamera3JpegBlob, JpegBlobId, unsigned short, jpeg_blob_id)
ZEL_FIELD_ACCESSORS(ZelCamera3JpegBlob, JpegSize, unsigned int, jpeg_size)

}  // namespace zelkov
