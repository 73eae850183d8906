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

TEST(RequestLayout, CaptureRequestFields) {
    using W = ZelCamera3CaptureRequest;
    using R = camera3_capture_request;
    ExpectEachFieldAtItsBytes<W>({
        FIELD(W, FrameNumber, 0, R, frame_number),
        FIELD(W, Settings, 4, R, settings),
        FIELD(W, InputBuffer, 8, R, input_buffer),
        FIELD(W, NumOutputBuffers, 12, R, num_output_buffers),
        FIELD(W, OutputBuffers, 16, R, output_buffers),
        FIELD(W, NumPhyscamSettings, 20, R, num_physcam_settings),
        FIELD(W, PhyscamId, 24, R, physcam_id),
        FIELD(W, PhyscamSettings, 28, R, physcam_settings),
    });
}

TEST(RequestLayout, CaptureResultFields) {
    using W = ZelCamera3CaptureResult;
    using R = camera3_capture_result;
    ExpectEachFieldAtItsBytes<W>({
        FIELD(W, FrameNumber, 0, R, frame_number),
        FIELD(W, Result, 4, R, result),
        FIELD(W, NumOutputBuffers, 8, R, num_output_buffers),
        FIELD(W, OutputBuffers, 12, R, output_buffers),
        FIELD(W, InputBuffer, 16, R, input_buffer),
        FIELD(W, PartialResult, 20, R, partial_result),
        FIELD(W, NumPhyscamMetadata, 24, R, num_physcam_metadata),
        FIELD(W, PhyscamIds, 28, R, physcam_ids),
        FIELD(W, PhyscamMetadata, 32, R, physcam_metadata),
    });
}

TEST(RequestLayout, StreamBufferFields) {
    using W = ZelCamera3StreamBuffer;
    using R = camera3_stream_buffer;
    ExpectEachFieldAtItsBytes<W>({
        FIELD(W, Stream, 0, R, stream),
        FIELD(W, Buffer, 4, R, buffer),
        FIELD(W, Status, 8, R, status),
        FIELD(W, AcquireFence, 12, R, acquire_fence),
        FIELD(W, ReleaseFence, 16, R, release_fence),
    });
}

TEST(RequestLayout, BufferSetReturnAndRequestFields) {
    using S = camera3_stream_buffer_set;
    ExpectEachFieldAtItsBytes<ZelCamera3StreamBufferSet>({
        FIELD(ZelCamera3StreamBufferSet, Stream, 0, S, stream),
        FIELD(ZelCamera3StreamBufferSet, NumBuffers, 4, S, num_buffers),
        FIELD(ZelCamera3StreamBufferSet, Buffers, 8, S, buffers),
    });
    using T = camera3_stream_buffer_ret;
    ExpectEachFieldAtItsBytes<ZelCamera3StreamBufferRet>({
        FIELD(ZelCamera3StreamBufferRet, Stream, 0, T, stream),
        FIELD(ZelCamera3StreamBufferRet, Status, 4, T, status),
        FIELD(ZelCamera3StreamBufferRet, NumOutputBuffers, 8, T, num_output_buffers),
        FIELD(ZelCamera3StreamBufferRet, OutputBuffers, 12, T, output_buffers),
    });
    using Q = camera3_buffer_request;
    ExpectEachFieldAtItsBytes<ZelCamera3BufferRequest>({
        FIELD(ZelCamera3BufferRequest, Stream, 0, Q, stream),
        FIELD(ZelCamera3BufferRequest, NumBuffersRequested, 4, Q, num_buffers_requested),
    });
}

TEST(RequestLayout, StreamConfigurationAndJpegBlobFields) {
    using W = ZelCamera3StreamConfiguration;
    using R = camera3_stream_configuration;
    ExpectEachFieldAtItsBytes<W>({
        FIELD(W, NumStreams, 0, R, num_streams),
        FIELD(W, Streams, 4, R, streams),
        FIELD(W, OperationMode, 8, R, operation_mode),
        FIELD(W, SessionParameter, 12, R, session_parameters),
    });
    // The 16-bit id, then the size at the next 32-bit boundary.
    using J = camera3_jpeg_blob;
    ExpectEachFieldAtItsBytes<ZelCamera3JpegBlob>({
        FIELD(ZelCamera3JpegBlob, JpegBlobId, 0, J, jpeg_blob_id),
        FIELD(ZelCamera3JpegBlob, JpegSize, 4, J, jpeg_size),
    });
}

TEST(RequestLayout, AbsentFieldsHaveFixedValuesAndSettersWriteNothing) {
    int privateData = 0;
    EXPECT_TRUE(WrittenBy<ZelCamera3CaptureRequest>([](auto& r) { r.SetInputWidth(640), r.SetInputHeight(480); }).empty());
    EXPECT_TRUE(WrittenBy<ZelCamera3StreamBuffer>([&](auto& b) { b.SetPriv(&privateData); }).empty());
    EXPECT_TRUE(WrittenBy<ZelCamera3StreamConfiguration>([](auto& c) { c.SetMultiResolutionInputImage(true); }).empty());
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
