// One frame's records: a capture request with two output buffers of a stream,
// the result that returns them, and the shutter notification for the frame.
#include <cstdio>
#include <cstring>

#include <android/wrappers/ZelCamera3Notify.h>
#include <android/wrappers/ZelCamera3Request.h>
#include <android/wrappers/ZelCamera3Stream.h>

#include "Roads.h"

using namespace zelkov;

namespace {

// Records are known only by name outside the library: step by Size().
camera3_stream_buffer* BufferAt(camera3_stream_buffer* buffers, unsigned int index) {
    return reinterpret_cast<camera3_stream_buffer*>(reinterpret_cast<char*>(buffers) +
                                                    index * ZelCamera3StreamBuffer::Size());
}

bool RunRequestRoad() {
    std::printf("  Size(): request %u, result %u, buffer %u, notify %u (32, 36, 20 and 40 on 32-bit ARM)\n",
                ZelCamera3CaptureRequest::Size(), ZelCamera3CaptureResult::Size(), ZelCamera3StreamBuffer::Size(),
                ZelCamera3NotifyMsg::Size());

    ZelCamera3Stream stream;
    stream.SetWidth(1920);
    stream.SetHeight(1080);
    stream.SetStreamId(1);

    const unsigned int kBuffers = 2;
    camera3_stream_buffer* outputs = ZelCamera3StreamBuffer::Create(kBuffers);
    if (!DemoCheck(outputs != nullptr, "output buffer array allocated")) return false;
    std::memset(outputs, 0, kBuffers * ZelCamera3StreamBuffer::Size());
    for (unsigned int i = 0; i < kBuffers; ++i) {
        ZelCamera3StreamBuffer buffer(BufferAt(outputs, i), false);
        buffer.SetStream(stream.Ptr());
        buffer.SetAcquireFence(-1);
        buffer.SetReleaseFence(-1);
    }

    ZelCamera3CaptureRequest request;
    request.SetFrameNumber(100);
    request.SetNumOutputBuffers(kBuffers);
    request.SetOutputBuffers(outputs);
    std::printf("  request frame %u: %u output buffers of stream %d (%ux%u)\n", request.GetFrameNumber(),
                request.GetNumOutputBuffers(), stream.GetStreamId(), stream.GetWidth(), stream.GetHeight());

    // The sensor timestamp and frame-rate range go on one buffer and land in the stream.
    const unsigned long long timestamp = 1234567890123ull;
    ZelCamera3StreamBuffer first(BufferAt(outputs, 0), false);
    first.SetBufferTimestamp(timestamp);
    first.SetMinFps(15);
    first.SetMaxFps(30);
    ZelCamera3StreamBuffer second(BufferAt(outputs, 1), false);
    std::printf("  second buffer reads timestamp %llu, %u-%u fps\n", second.GetBufferTimestamp(), second.GetMinFps(),
                second.GetMaxFps());
    bool ok = DemoCheck(stream.GetStreamTimestamp() == timestamp && second.GetMaxFps() == 30,
                        "every buffer of the stream shares its timestamp and frame-rate range");

    ZelCamera3ShutterMsg shutter;
    shutter.SetFrameNumber(request.GetFrameNumber());
    shutter.SetTimestamp(timestamp);
    ZelCamera3NotifyMsg notify;
    notify.SetType(2);  // shutter
    notify.SetShutterMsg(shutter.Ptr());
    ZelCamera3ShutterMsg body(notify.GetShutterMsg(), false);
    std::printf("  notify type %d: shutter of frame %u at %llu\n", notify.GetType(), body.GetFrameNumber(),
                body.GetTimestamp());
    ok &= DemoCheck(body.GetFrameNumber() == 100 && body.GetTimestamp() == timestamp,
                    "the shutter message is copied into the notification body");

    ZelCamera3CaptureResult result;
    result.SetFrameNumber(request.GetFrameNumber());
    result.SetNumOutputBuffers(request.GetNumOutputBuffers());
    result.SetOutputBuffers(request.GetOutputBuffers());
    result.SetPartialResult(1);
    std::printf("  result frame %u: %u buffers returned, partial result %u\n", result.GetFrameNumber(),
                result.GetNumOutputBuffers(), result.GetPartialResult());
    ok &= DemoCheck(result.GetOutputBuffers() == outputs, "the result returns the request's buffers");

    ZelCamera3StreamBuffer::Free(outputs);
    return ok;
}

}  // namespace

ZELKOV_DEMO_ROAD(20, "a capture request, its result and its shutter", RunRequestRoad);
