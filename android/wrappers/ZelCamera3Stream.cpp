#include <android/wrappers/ZelCamera3Stream.h>

#include <cstring>

#include <android/wrappers/internal/Accessors.h>
#include <android/wrappers/internal/PImplImpl.h>
#include <android/wrappers/internal/StreamRecords.h>

namespace zelkov {

template class PImpl<HalStream, HalStream>;
template class PImpl<camera3_stream, zel_camera3_stream>;

ZEL_FIELD_ACCESSORS(ZelCamera3HalStream, HalStreamFormat, int, format)
ZEL_FIELD_ACCESSORS(ZelCamera3HalStream, HalStreamProducerUsage, unsigned long long, producer_usage)
ZEL_FIELD_ACCESSORS(ZelCamera3HalStream, HalStreamConsumerUsage, unsigned long long, consumer_usage)
ZEL_FIELD_ACCESSORS(ZelCamera3HalStream, HalStreamMaxBuffers, unsigned int, max_buffers)

namespace {

// The attached HalStream is the first non-null reserved slot.
const HalStream* AttachedHalStream(const camera3_stream& stream) {
    for (void* slot : stream.reserved) {
        if (slot != nullptr) return static_cast<const HalStream*>(slot);
    }
    return nullptr;
}

}  // namespace

ZelCamera3Stream::~ZelCamera3Stream() = default;

camera3_stream* ZelCamera3Stream::Ptr2() const { return Ptr(); }

void ZelCamera3Stream::Copy2(camera3_stream* destination, const camera3_stream* source, unsigned int count) {
    if (destination != nullptr && source != nullptr && count != 0) {
        std::memcpy(destination, source, count * sizeof(camera3_stream));
    }
}

void ZelCamera3Stream::SetHalStream(HalStream* halStream) {
    if (halStream != nullptr) m_record->stream.reserved[0] = halStream;
}
void ZelCamera3Stream::ClearHalStream() { m_record->stream.reserved[0] = nullptr; }
HalStream* ZelCamera3Stream::GetHalStream() { return const_cast<HalStream*>(AttachedHalStream(m_record->stream)); }
bool ZelCamera3Stream::HasHalStream() const { return AttachedHalStream(m_record->stream) != nullptr; }

int ZelCamera3Stream::GetHalStreamFormat() const {
    const HalStream* hal = AttachedHalStream(m_record->stream);
    return hal != nullptr ? hal->format : 0;
}
unsigned long long ZelCamera3Stream::GetHalStreamProducerUsage() const {
    const HalStream* hal = AttachedHalStream(m_record->stream);
    return hal != nullptr ? hal->producer_usage : 0;
}
unsigned long long ZelCamera3Stream::GetHalStreamConsumerUsage() const {
    const HalStream* hal = AttachedHalStream(m_record->stream);
    return hal != nullptr ? hal->consumer_usage : 0;
}
unsigned long long ZelCamera3Stream::GetHalStreamMaxBuffers() const {
    const HalStream* hal = AttachedHalStream(m_record->stream);
    return hal != nullptr ? hal->max_buffers : 0;  // widened without sign
}

ZEL_FIELD_ACCESSORS(ZelCamera3Stream, StreamType, int, stream.stream_type)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, Width, unsigned int, stream.width)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, Height, unsigned int, stream.height)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, Format, int, stream.format)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, Usage, unsigned long long, stream.usage)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, MaxBuffers, unsigned int, stream.max_buffers)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, Priv, void*, stream.priv)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, DataSpace, int, stream.data_space)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, Rotation, int, stream.rotation)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, PhysicalCameraId, const char*, stream.physical_camera_id)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, Option, int, stream.option)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, StreamTimestamp, unsigned long long, stream.stream_timestamp)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, MinFps, unsigned int, stream.min_fps)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, MaxFps, unsigned int, stream.max_fps)
ZEL_FIELD_ACCESSORS(ZelCamera3Stream, StreamId, int, stream_id)

void** ZelCamera3Stream::GetReserved() const { return m_record->stream.reserved; }
void ZelCamera3Stream::SetReserved(void** values) { m_record->stream.reserved[0] = values[0]; }
unsigned int ZelCamera3Stream::GetNumReserved() const { return 1; }

int ZelCamera3Stream::GetGroupId() const { return -1; }
void ZelCamera3Stream::SetGroupId(int) {}
unsigned int ZelCamera3Stream::GetNumSensorPixelModesUsed() const { return 0; }
void ZelCamera3Stream::SetNumSensorPixelModesUsed(unsigned int) {}
int** ZelCamera3Stream::GetSensorPixelModes() const { return nullptr; }
void ZelCamera3Stream::SetSensorPixelModes(int**) {}
unsigned int ZelCamera3Stream::GetMultiResolutionInputImage() const { return 0; }
void ZelCamera3Stream::SetMultiResolutionInputImage(unsigned int) {}
unsigned long long ZelCamera3Stream::GetStreamUseCase() const { return 0; }
void ZelCamera3Stream::SetStreamUseCase(unsigned long long) {}
int ZelCamera3Stream::GetDynamicRangeProfile() const { return 0; }
void ZelCamera3Stream::SetDynamicRangeProfile(int) {}
int ZelCamera3Stream::GetColorSpace() const { return -1; }
void ZelCamera3Stream::SetColorSpace(int) {}

}  // namespace zelkov
