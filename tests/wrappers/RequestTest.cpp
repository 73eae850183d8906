// Request, result and buffer wrappers: every field at its byte offset, the
// fields the platform lacks, and the buffer's reach into its stream.
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include <android/wrappers/ZelCamera3Request.h>
#include <android/wrappers/ZelCamera3Stream.h>
#include <android/wrappers/internal/RequestRecords.h>
#include <android/wrappers/internal/StreamRecords.h>

#include "FieldProbe.h"

using namespace zelkov;
using namespace zelkov_test;

namespace {

TEST(RequestLayout, EveryAccessorPairReachesExactlyItsFieldsBytes) {
    ExpectEachFieldAtItsBytes({
        FIELD(ZelCamera3CaptureRequest, FrameNumber, 0, camera3_capture_request, frame_number),
        FIELD(ZelCamera3CaptureRequest, Settings, 4, camera3_capture_request, settings),
        FIELD(ZelCamera3CaptureRequest, InputBuffer, 8, camera3_capture_request, input_buffer),
        FIELD(ZelCamera3CaptureRequest, NumOutputBuffers, 12, camera3_capture_request, num_output_buffers),
        FIELD(ZelCamera3CaptureRequest, OutputBuffers, 16, camera3_capture_request, output_buffers),
        FIELD(ZelCamera3CaptureRequest, NumPhyscamSettings, 20, camera3_capture_request, num_physcam_settings),
        FIELD(ZelCamera3CaptureRequest, PhyscamId, 24, camera3_capture_request, physcam_id),
        FIELD(ZelCamera3CaptureRequest, PhyscamSettings, 28, camera3_capture_request, physcam_settings),
        FIELD(ZelCamera3CaptureResult, FrameNumber, 0, camera3_capture_result, frame_number),
        FIELD(ZelCamera3CaptureResult, Result, 4, camera3_capture_result, result),
        FIELD(ZelCamera3CaptureResult, NumOutputBuffers, 8, camera3_capture_result, num_output_buffers),
        FIELD(ZelCamera3CaptureResult, OutputBuffers, 12, camera3_capture_result, output_buffers),
        FIELD(ZelCamera3CaptureResult, InputBuffer, 16, camera3_capture_result, input_buffer),
        FIELD(ZelCamera3CaptureResult, PartialResult, 20, camera3_capture_result, partial_result),
        FIELD(ZelCamera3CaptureResult, NumPhyscamMetadata, 24, camera3_capture_result, num_physcam_metadata),
        FIELD(ZelCamera3CaptureResult, PhyscamIds, 28, camera3_capture_result, physcam_ids),
        FIELD(ZelCamera3CaptureResult, PhyscamMetadata, 32, camera3_capture_result, physcam_metadata),
        FIELD(ZelCamera3StreamBuffer, Stream, 0, camera3_stream_buffer, stream),
        FIELD(ZelCamera3StreamBuffer, Buffer, 4, camera3_stream_buffer, buffer),
        FIELD(ZelCamera3StreamBuffer, Status, 8, camera3_stream_buffer, status),
        FIELD(ZelCamera3StreamBuffer, AcquireFence, 12, camera3_stream_buffer, acquire_fence),
        FIELD(ZelCamera3StreamBuffer, ReleaseFence, 16, camera3_stream_buffer, release_fence),
        FIELD(ZelCamera3StreamBufferSet, Stream, 0, camera3_stream_buffer_set, stream),
        FIELD(ZelCamera3StreamBufferSet, NumBuffers, 4, camera3_stream_buffer_set, num_buffers),
        FIELD(ZelCamera3StreamBufferSet, Buffers, 8, camera3_stream_buffer_set, buffers),
        FIELD(ZelCamera3StreamBufferRet, Stream, 0, camera3_stream_buffer_ret, stream),
        FIELD(ZelCamera3StreamBufferRet, Status, 4, camera3_stream_buffer_ret, status),
        FIELD(ZelCamera3StreamBufferRet, NumOutputBuffers, 8, camera3_stream_buffer_ret, num_output_buffers),
        FIELD(ZelCamera3StreamBufferRet, OutputBuffers, 12, camera3_stream_buffer_ret, output_buffers),
        FIELD(ZelCamera3BufferRequest, Stream, 0, camera3_buffer_request, stream),
        FIELD(ZelCamera3BufferRequest, NumBuffersRequested, 4, camera3_buffer_request, num_buffers_requested),
        FIELD(ZelCamera3StreamConfiguration, NumStreams, 0, camera3_stream_configuration, num_streams),
        FIELD(ZelCamera3StreamConfiguration, Streams, 4, camera3_stream_configuration, streams),
        FIELD(ZelCamera3StreamConfiguration, OperationMode, 8, camera3_stream_configuration, operation_mode),
        FIELD(ZelCamera3StreamConfiguration, SessionParameter, 12, camera3_stream_configuration, session_parameters),
        FIELD(ZelCamera3JpegBlob, JpegBlobId, 0, camera3_jpeg_blob, jpeg_blob_id),
        FIELD(ZelCamera3JpegBlob, JpegSize, 4, camera3_jpeg_blob, jpeg_size),
    });
}

TEST(RequestLayout, AbsentFieldsHaveFixedValuesAndSettersWriteNothing) {
    int privateData = 0;
    EXPECT_TRUE(
        WrittenBy<ZelCamera3CaptureRequest>([](auto& r) { r.SetInputWidth(640), r.SetInputHeight(480); }).empty());
    EXPECT_TRUE(WrittenBy<ZelCamera3StreamBuffer>([&](auto& b) { b.SetPriv(&privateData); }).empty());
    EXPECT_TRUE(
        WrittenBy<ZelCamera3StreamConfiguration>([](auto& c) { c.SetMultiResolutionInputImage(true); }).empty());
    ZelCamera3CaptureRequest request;
    ZelCamera3StreamBuffer buffer;
    EXPECT_EQ(request.GetInputWidth() + request.GetInputHeight(), 0u);
    EXPECT_EQ(buffer.GetPriv(), nullptr);
    EXPECT_FALSE(buffer.IsExistPriv());
    EXPECT_FALSE(ZelCamera3StreamConfiguration().GetMultiResolutionInputImage());
}

// The buffer's timestamp and frame-rate range live in its stream's record.
TEST(BufferThroughStream, AccessorsReachTheStreamsFields) {
    ZelCamera3Stream stream;
    ZelCamera3StreamBuffer buffer;
    buffer.SetStream(stream.Ptr());
    buffer.SetBufferTimestamp(0x0102030405060708ull);
    buffer.SetMinFps(15);
    buffer.SetMaxFps(30);
    EXPECT_EQ(stream.GetStreamTimestamp(), 0x0102030405060708ull);
    EXPECT_EQ(stream.GetMinFps(), 15u);
    EXPECT_EQ(stream.GetMaxFps(), 30u);
    stream.SetStreamTimestamp(7);
    stream.SetMinFps(1);
    stream.SetMaxFps(2);
    EXPECT_EQ(buffer.GetBufferTimestamp(), 7u);
    EXPECT_EQ(buffer.GetMinFps(), 1u);
    EXPECT_EQ(buffer.GetMaxFps(), 2u);
}

}  // namespace
