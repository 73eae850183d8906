#include <android/wrappers/ZelCamera3Stream.h>

#include <cstring>

#include <android/wrappers/internal/PImplImpl.h>
#include <android/wrappers/internal/StreamRecords.h>

namespace zelkov {

template class PImpl<HalStream, HalStream>;
template class PImpl<camera3_stream, zel_camera3_stream>;

int ZelCamera3HalStream::GetHalStreamFormat() const { return m_record->format; }
void ZelCamera3HalStream::SetHalStreamFormat(int format) { m_record->format = format; }
unsigned long long ZelCamera3HalStream::GetHalStreamProducerUsage() const { return m_record->producer_usage; }
void ZelCamera3HalStream::SetHalStreamProducerUsage(unsigned long long usage) { m_record->producer_usage = usage; }
unsigned long long ZelCamera3HalStream::GetHalStreamConsumerUsage() const { return m_record->consumer_usage; }
void ZelCamera3HalStream::SetHalStreamConsumerUsage(unsigned long long usage) { m_record->consumer_usage = usage; }
unsigned int ZelCamera3HalStream::GetHalStreamMaxBuffers() const { return m_record->max_buffers; }
void ZelCamera3HalStream::SetHalStreamMaxBuffers(unsigned int maxBuffers) { m_record->max_buffers = maxBuffers; }

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

int ZelCamera3Stream::GetStreamType() const { return m_record->stream.stream_type; }
void ZelCamera3Stream::SetStreamType(int streamType) { m_record->stream.stream_type = streamType; }
unsigned int ZelCamera3Stream::GetWidth() const { return m_record->stream.width; }
void ZelCamera3Stream::SetWidth(unsigned int width) { m_record->stream.width = width; }
unsigned int ZelCamera3Stream::GetHeight() const { return m_record->stream.height; }
void ZelCamera3Stream::SetHeight(unsigned int height) { m_record->stream.height = height; }
int ZelCamera3Stream::GetFormat() const { return m_record->stream.format; }
void ZelCamera3Stream::SetFormat(int format) { m_record->stream.format = format; }
unsigned long long ZelCamera3Stream::GetUsage() const { return m_record->stream.usage; }
void ZelCamera3Stream::SetUsage(unsigned long long usage) { m_record->stream.usage = usage; }
unsigned int ZelCamera3Stream::GetMaxBuffers() const { return m_record->stream.max_buffers; }
void ZelCamera3Stream::SetMaxBuffers(unsigned int maxBuffers) { m_record->stream.max_buffers = maxBuffers; }
void* ZelCamera3Stream::GetPriv() const { return m_record->stream.priv; }
void ZelCamera3Stream::SetPriv(void* priv) { m_record->stream.priv = priv; }
int ZelCamera3Stream::GetDataSpace() const { return m_record->stream.data_space; }
void ZelCamera3Stream::SetDataSpace(int dataSpace) { m_record->stream.data_space = dataSpace; }
int ZelCamera3Stream::GetRotation() const { return m_record->stream.rotation; }
void ZelCamera3Stream::SetRotation(int rotation) { m_record->stream.rotation = rotation; }
const char* ZelCamera3Stream::GetPhysicalCameraId() const { return m_record->stream.physical_camera_id; }
void ZelCamera3Stream::SetPhysicalCameraId(const char* id) { m_record->stream.physical_camera_id = id; }
int ZelCamera3Stream::GetOption() const { return m_record->stream.option; }
void ZelCamera3Stream::SetOption(int option) { m_record->stream.option = option; }
unsigned long long ZelCamera3Stream::GetStreamTimestamp() const { return m_record->stream.stream_timestamp; }
void ZelCamera3Stream::SetStreamTimestamp(unsigned long long timestamp) { m_record->stream.stream_timestamp = timestamp; }
unsigned int ZelCamera3Stream::GetMinFps() const { return m_record->stream.min_fps; }
void ZelCamera3Stream::SetMinFps(unsigned int minFps) { m_record->stream.min_fps = minFps; }
unsigned int ZelCamera3Stream::GetMaxFps() const { return m_record->stream.max_fps; }
void ZelCamera3Stream::SetMaxFps(unsigned int maxFps) { m_record->stream.max_fps = maxFps; }
int ZelCamera3Stream::GetStreamId() const { return m_record->stream_id; }
void ZelCamera3Stream::SetStreamId(int streamId) { m_record->stream_id = streamId; }

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
