// Record sizes as the camera core learns them, and a preview stream with its
// HAL stream attached, copied and detached.
#include <cstdio>

#include <android/wrappers/ZelCamera3Stream.h>

#include "Roads.h"

using namespace zelkov;

namespace {

bool RunStreamRoad() {
    std::printf("  Size(): stream %u, HAL stream %u (96 and 32 on 32-bit ARM)\n", ZelCamera3Stream::Size(),
                ZelCamera3HalStream::Size());

    ZelCamera3HalStream hal;
    hal.SetHalStreamFormat(0x23);  // YCbCr 420 888
    hal.SetHalStreamProducerUsage(0x20000);
    hal.SetHalStreamConsumerUsage(0x3);
    hal.SetHalStreamMaxBuffers(8);

    ZelCamera3Stream stream;
    stream.SetStreamType(0);
    stream.SetWidth(1920);
    stream.SetHeight(1080);
    stream.SetFormat(0x22);
    stream.SetStreamId(1);
    stream.SetHalStream(hal.Ptr());
    std::printf("  stream %d: %ux%u format 0x%x, HAL stream format 0x%x, max buffers %llu\n", stream.GetStreamId(),
                stream.GetWidth(), stream.GetHeight(), stream.GetFormat(), stream.GetHalStreamFormat(),
                stream.GetHalStreamMaxBuffers());

    bool ok = DemoCheck(stream.HasHalStream() && stream.GetHalStream() == hal.Ptr(), "HAL stream attached");
    ZelCamera3Stream copy(stream);
    ok &= DemoCheck(copy.GetHalStream() == hal.Ptr() && copy.GetStreamId() == 1,
                    "a copy carries the stream id and the attachment");
    stream.ClearHalStream();
    ok &= DemoCheck(!stream.HasHalStream() && copy.HasHalStream(), "detaching one stream leaves the copy attached");
    return ok;
}

}  // namespace

ZELKOV_DEMO_ROAD(10, "records and the stream road", RunStreamRoad);
