// Request, result and buffer wrappers: sizes, every field at its byte offset,
// the fields the platform lacks, and the buffer's reach into its stream.
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

TEST(RequestRecords, SizesAreTheTargetAbi) {
    ExpectSizes({
        {"capture request", ZelCamera3CaptureRequest::Size(), 32, sizeof(camera3_capture_request)},
        {"capture result", ZelCamera3CaptureResult::Size(), 36, sizeof(camera3_capture_result)},
        {"stream buffer", ZelCamera3StreamBuffer::Size(), 20, sizeof(camera3_stream_buffer)},
        {"stream buffer set", ZelCamera3StreamBufferSet::Size(), 12, sizeof(camera3_stream_buffer_set)},
        {"stream buffer ret", ZelCamera3StreamBufferRet::Size(), 16, sizeof(camera3_stream_buffer_ret)},
        {"buffer request", ZelCamera3BufferRequest::Size(), 8, sizeof(camera3_buffer_request)},
        {"stream configuration", ZelCamera3StreamConfiguration::Size(), 16, sizeof(camera3_stream_configuration)},
        {"jpeg blob", ZelCamera3JpegBlob::Size(), 8, sizeof(camera3_jpeg_blob)},
    });
}

TEST(RequestLayout, CaptureRequestFields) {
    using W = ZelCamera3CaptureRequest;
    using R = camera3_capture_request;
    ExpectEachFieldAtItsBytes<W>({
        Field("FrameNumber", FIELD_AT(0, R, frame_number), &W::GetFrameNumber, &W::SetFrameNumber, 0x81828384u),
        Field("Settings", FIELD_AT(4, R, settings), &W::GetSettings, &W::SetSettings,
              FakePtr<const camera_metadata*>(0x11121314)),
        Field("InputBuffer", FIELD_AT(8, R, input_buffer), &W::GetInputBuffer, &W::SetInputBuffer,
              FakePtr<camera3_stream_buffer*>(0x21222324)),
        Field("NumOutputBuffers", FIELD_AT(12, R, num_output_buffers), &W::GetNumOutputBuffers,
              &W::SetNumOutputBuffers, 0x31323334u),
        Field("OutputBuffers", FIELD_AT(16, R, output_buffers), &W::GetOutputBuffers, &W::SetOutputBuffers,
              FakePtr<const camera3_stream_buffer*>(0x41424344)),
        Field("NumPhyscamSettings", FIELD_AT(20, R, num_physcam_settings), &W::GetNumPhyscamSettings,
              &W::SetNumPhyscamSettings, 0x51525354u),
        Field("PhyscamId", FIELD_AT(24, R, physcam_id), &W::GetPhyscamId, &W::SetPhyscamId,
              FakePtr<const char**>(0x61626364)),
        Field("PhyscamSettings", FIELD_AT(28, R, physcam_settings), &W::GetPhyscamSettings, &W::SetPhyscamSettings,
              FakePtr<const camera_metadata**>(0x71727374)),
    });
}

TEST(RequestLayout, CaptureResultFields) {
    using W = ZelCamera3CaptureResult;
    using R = camera3_capture_result;
    ExpectEachFieldAtItsBytes<W>({
        Field("FrameNumber", FIELD_AT(0, R, frame_number), &W::GetFrameNumber, &W::SetFrameNumber, 0x81828384u),
        Field("Result", FIELD_AT(4, R, result), &W::GetResult, &W::SetResult,
              FakePtr<const camera_metadata*>(0x11121314)),
        Field("NumOutputBuffers", FIELD_AT(8, R, num_output_buffers), &W::GetNumOutputBuffers,
              &W::SetNumOutputBuffers, 0x21222324u),
        Field("OutputBuffers", FIELD_AT(12, R, output_buffers), &W::GetOutputBuffers, &W::SetOutputBuffers,
              FakePtr<const camera3_stream_buffer*>(0x31323334)),
        Field("InputBuffer", FIELD_AT(16, R, input_buffer), &W::GetInputBuffer, &W::SetInputBuffer,
              FakePtr<const camera3_stream_buffer*>(0x41424344)),
        Field("PartialResult", FIELD_AT(20, R, partial_result), &W::GetPartialResult, &W::SetPartialResult,
              0x51525354u),
        Field("NumPhyscamMetadata", FIELD_AT(24, R, num_physcam_metadata), &W::GetNumPhyscamMetadata,
              &W::SetNumPhyscamMetadata, 0x61626364u),
        Field("PhyscamIds", FIELD_AT(28, R, physcam_ids), &W::GetPhyscamIds, &W::SetPhyscamIds,
              FakePtr<const char**>(0x71727374)),
        Field("PhyscamMetadata", FIELD_AT(32, R, physcam_metadata), &W::GetPhyscamMetadata, &W::SetPhyscamMetadata,
              FakePtr<const camera_metadata**>(0x01020304)),
    });
}

TEST(RequestLayout, StreamBufferFields) {
    using W = ZelCamera3StreamBuffer;
    using R = camera3_stream_buffer;
    ExpectEachFieldAtItsBytes<W>({
        Field("Stream", FIELD_AT(0, R, stream), &W::GetStream, &W::SetStream, FakePtr<camera3_stream*>(0x11121314)),
        Field("Buffer", FIELD_AT(4, R, buffer), &W::GetBuffer, &W::SetBuffer,
              FakePtr<const native_handle**>(0x21222324)),
        Field("Status", FIELD_AT(8, R, status), &W::GetStatus, &W::SetStatus, -0x3132334),
        Field("AcquireFence", FIELD_AT(12, R, acquire_fence), &W::GetAcquireFence, &W::SetAcquireFence, 0x41424344),
        Field("ReleaseFence", FIELD_AT(16, R, release_fence), &W::GetReleaseFence, &W::SetReleaseFence, 0x51525354),
    });
}

TEST(RequestLayout, BufferSetReturnAndRequestFields) {
    using S = camera3_stream_buffer_set;
    ExpectEachFieldAtItsBytes<ZelCamera3StreamBufferSet>({
        Field("Set.Stream", FIELD_AT(0, S, stream), &ZelCamera3StreamBufferSet::GetStream,
              &ZelCamera3StreamBufferSet::SetStream, FakePtr<camera3_stream*>(0x11121314)),
        Field("Set.NumBuffers", FIELD_AT(4, S, num_buffers), &ZelCamera3StreamBufferSet::GetNumBuffers,
              &ZelCamera3StreamBufferSet::SetNumBuffers, 0x21222324u),
        Field("Set.Buffers", FIELD_AT(8, S, buffers), &ZelCamera3StreamBufferSet::GetBuffers,
              &ZelCamera3StreamBufferSet::SetBuffers, FakePtr<const native_handle***>(0x31323334)),
    });
    using T = camera3_stream_buffer_ret;
    ExpectEachFieldAtItsBytes<ZelCamera3StreamBufferRet>({
        Field("Ret.Stream", FIELD_AT(0, T, stream), &ZelCamera3StreamBufferRet::GetStream,
              &ZelCamera3StreamBufferRet::SetStream, FakePtr<camera3_stream*>(0x11121314)),
        Field("Ret.Status", FIELD_AT(4, T, status), &ZelCamera3StreamBufferRet::GetStatus,
              &ZelCamera3StreamBufferRet::SetStatus, 0x21222324),
        Field("Ret.NumOutputBuffers", FIELD_AT(8, T, num_output_buffers),
              &ZelCamera3StreamBufferRet::GetNumOutputBuffers, &ZelCamera3StreamBufferRet::SetNumOutputBuffers,
              0x31323334u),
        Field("Ret.OutputBuffers", FIELD_AT(12, T, output_buffers), &ZelCamera3StreamBufferRet::GetOutputBuffers,
              &ZelCamera3StreamBufferRet::SetOutputBuffers, FakePtr<camera3_stream_buffer*>(0x41424344)),
    });
    using Q = camera3_buffer_request;
    ExpectEachFieldAtItsBytes<ZelCamera3BufferRequest>({
        Field("Request.Stream", FIELD_AT(0, Q, stream), &ZelCamera3BufferRequest::GetStream,
              &ZelCamera3BufferRequest::SetStream, FakePtr<camera3_stream*>(0x11121314)),
        Field("Request.NumBuffersRequested", FIELD_AT(4, Q, num_buffers_requested),
              &ZelCamera3BufferRequest::GetNumBuffersRequested, &ZelCamera3BufferRequest::SetNumBuffersRequested,
              0x21222324u),
    });
}

TEST(RequestLayout, StreamConfigurationAndJpegBlobFields) {
    using W = ZelCamera3StreamConfiguration;
    using R = camera3_stream_configuration;
    ExpectEachFieldAtItsBytes<W>({
        Field("NumStreams", FIELD_AT(0, R, num_streams), &W::GetNumStreams, &W::SetNumStreams, 0x11121314u),
        Field("Streams", FIELD_AT(4, R, streams), &W::GetStreams, &W::SetStreams,
              FakePtr<camera3_stream**>(0x21222324)),
        Field("OperationMode", FIELD_AT(8, R, operation_mode), &W::GetOperationMode, &W::SetOperationMode,
              0x31323334u),
        Field("SessionParameter", FIELD_AT(12, R, session_parameters), &W::GetSessionParameter,
              &W::SetSessionParameter, FakePtr<const camera_metadata*>(0x41424344)),
    });
    // The 16-bit id, then the size at the next 32-bit boundary.
    using J = camera3_jpeg_blob;
    ExpectEachFieldAtItsBytes<ZelCamera3JpegBlob>({
        Field("JpegBlobId", FIELD_AT(0, J, jpeg_blob_id), &ZelCamera3JpegBlob::GetJpegBlobId,
              &ZelCamera3JpegBlob::SetJpegBlobId, static_cast<unsigned short>(0x00FF)),
        Field("JpegSize", FIELD_AT(4, J, jpeg_size), &ZelCamera3JpegBlob::GetJpegSize,
              &ZelCamera3JpegBlob::SetJpegSize, 0x51525354u),
    });
}

TEST(RequestLayout, AbsentFieldsHaveFixedValuesAndSettersWriteNothing) {
    ByteProbe requestBytes(ZelCamera3CaptureRequest::Size(), kPattern);
    auto request = Borrow<ZelCamera3CaptureRequest>(requestBytes);
    request.SetInputWidth(640);
    request.SetInputHeight(480);
    EXPECT_TRUE(requestBytes.ChangedOffsets().empty());
    EXPECT_EQ(request.GetInputWidth(), 0u);
    EXPECT_EQ(request.GetInputHeight(), 0u);

    ByteProbe bufferBytes(ZelCamera3StreamBuffer::Size(), kPattern);
    auto buffer = Borrow<ZelCamera3StreamBuffer>(bufferBytes);
    int privateData = 0;
    buffer.SetPriv(&privateData);
    EXPECT_TRUE(bufferBytes.ChangedOffsets().empty());
    EXPECT_EQ(buffer.GetPriv(), nullptr);
    EXPECT_FALSE(buffer.IsExistPriv());

    ByteProbe configurationBytes(ZelCamera3StreamConfiguration::Size(), kPattern);
    auto configuration = Borrow<ZelCamera3StreamConfiguration>(configurationBytes);
    configuration.SetMultiResolutionInputImage(true);
    EXPECT_TRUE(configurationBytes.ChangedOffsets().empty());
    EXPECT_FALSE(configuration.GetMultiResolutionInputImage());
}

TEST(RequestLayout, OwnedRecordsStartZeroed) {
    ZelCamera3CaptureRequest request;
    ZelCamera3CaptureResult result;
    ZelCamera3StreamBuffer buffer;
    ZelCamera3JpegBlob blob;
    EXPECT_EQ(request.GetFrameNumber(), 0u);
    EXPECT_EQ(request.GetOutputBuffers(), nullptr);
    EXPECT_EQ(request.GetPhyscamSettings(), nullptr);
    EXPECT_EQ(result.GetPhyscamMetadata(), nullptr);
    EXPECT_EQ(result.GetPartialResult(), 0u);
    EXPECT_EQ(buffer.GetStream(), nullptr);
    EXPECT_EQ(buffer.GetReleaseFence(), 0);
    EXPECT_EQ(blob.GetJpegSize(), 0u);
}

// The buffer's timestamp and frame-rate range live in its stream's record.
TEST(BufferThroughStream, AccessorsWriteTheStreamsFieldsOnly) {
    ByteProbe streamBytes(ZelCamera3Stream::Size(), kPattern);
    ByteProbe bufferBytes(ZelCamera3StreamBuffer::Size(), kPattern);
    bufferBytes.Write(FIELD_AT(0, camera3_stream_buffer, stream), static_cast<camera3_stream*>(streamBytes.Data()));
    auto buffer = Borrow<ZelCamera3StreamBuffer>(bufferBytes);

    using S = camera3_stream;
    buffer.SetBufferTimestamp(0x0102030405060708ull);
    EXPECT_EQ(streamBytes.ChangedOffsets(), Span(FIELD_AT(64, S, stream_timestamp), 8));
    streamBytes.Reset();
    buffer.SetMinFps(0x11121314u);
    EXPECT_EQ(streamBytes.ChangedOffsets(), Span(FIELD_AT(72, S, min_fps), 4));
    streamBytes.Reset();
    buffer.SetMaxFps(0x21222324u);
    EXPECT_EQ(streamBytes.ChangedOffsets(), Span(FIELD_AT(76, S, max_fps), 4));
    EXPECT_TRUE(bufferBytes.ChangedOffsets().empty());  // the buffer's own record only points at the stream

    streamBytes.Write(FIELD_AT(64, S, stream_timestamp), 0x3132333435363738ull);
    streamBytes.Write(FIELD_AT(72, S, min_fps), 0x41424344u);
    streamBytes.Write(FIELD_AT(76, S, max_fps), 0x51525354u);
    EXPECT_EQ(buffer.GetBufferTimestamp(), 0x3132333435363738ull);
    EXPECT_EQ(buffer.GetMinFps(), 0x41424344u);
    EXPECT_EQ(buffer.GetMaxFps(), 0x51525354u);
}

TEST(BufferThroughStream, EveryBufferAndTheStreamShareOneTimestampAndFrameRateRange) {
    ZelCamera3Stream stream;
    ZelCamera3StreamBuffer first;
    ZelCamera3StreamBuffer second;
    first.SetStream(stream.Ptr());
    second.SetStream(stream.Ptr());

    first.SetBufferTimestamp(123456789012ull);
    first.SetMinFps(15);
    first.SetMaxFps(30);
    EXPECT_EQ(stream.GetStreamTimestamp(), 123456789012ull);
    EXPECT_EQ(stream.GetMinFps(), 15u);
    EXPECT_EQ(stream.GetMaxFps(), 30u);
    EXPECT_EQ(second.GetBufferTimestamp(), 123456789012ull);
    EXPECT_EQ(second.GetMinFps(), 15u);
    EXPECT_EQ(second.GetMaxFps(), 30u);
}

}  // namespace
