#ifndef ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA3_STREAM_H
#define ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA3_STREAM_H

#include <android/ZelExport.h>
#include <android/wrappers/PImpl.h>
#include <android/wrappers/Records.h>

namespace zelkov {

// Instantiated and exported by the library only. The attribute is needed
// because an instantiation over a record of hidden visibility is hidden too.
extern template class ZEL_EXPORT PImpl<HalStream, HalStream>;
extern template class ZEL_EXPORT PImpl<camera3_stream, zel_camera3_stream>;

// The per-stream HAL record (format, producer and consumer usage, maximum buffers).
class ZEL_EXPORT ZelCamera3HalStream : public PImpl<HalStream, HalStream> {
public:
    using PImpl<HalStream, HalStream>::PImpl;

    int GetHalStreamFormat() const;
    void SetHalStreamFormat(int format);
    unsigned long long GetHalStreamProducerUsage() const;
    void SetHalStreamProducerUsage(unsigned long long usage);
    unsigned long long GetHalStreamConsumerUsage() const;
    void SetHalStreamConsumerUsage(unsigned long long usage);
    unsigned int GetHalStreamMaxBuffers() const;
    void SetHalStreamMaxBuffers(unsigned int maxBuffers);
};

// A HAL3 stream kept in this system's storage record (the stream followed by a
// stream id; Size() counts both). A stream can borrow one HalStream, kept in
// its reserved slot, so every copy or clear of the record carries it along.
class ZEL_EXPORT ZelCamera3Stream : public PImpl<camera3_stream, zel_camera3_stream> {
public:
    using PImpl<camera3_stream, zel_camera3_stream>::PImpl;
    ZelCamera3Stream() = default;
    ZelCamera3Stream(const ZelCamera3Stream&) = default;
    ZelCamera3Stream(ZelCamera3Stream&&) = default;
    ZelCamera3Stream& operator=(const ZelCamera3Stream&) = default;
    ZelCamera3Stream& operator=(ZelCamera3Stream&&) = default;
    ~ZelCamera3Stream() override;

    camera3_stream* Ptr2() const;
    // Copies `count` stream records without the stream id (88 bytes each on the target).
    static void Copy2(camera3_stream* destination, const camera3_stream* source, unsigned int count);

    // Attaches `halStream` (borrowed); null is ignored.
    void SetHalStream(HalStream* halStream);
    void ClearHalStream();
    HalStream* GetHalStream();
    bool HasHalStream() const;
    // Fields of the attached HalStream; 0 when none is attached.
    int GetHalStreamFormat() const;
    unsigned long long GetHalStreamProducerUsage() const;
    unsigned long long GetHalStreamConsumerUsage() const;
    unsigned long long GetHalStreamMaxBuffers() const;

    int GetStreamType() const;
    void SetStreamType(int streamType);
    unsigned int GetWidth() const;
    void SetWidth(unsigned int width);
    unsigned int GetHeight() const;
    void SetHeight(unsigned int height);
    int GetFormat() const;
    void SetFormat(int format);
    unsigned long long GetUsage() const;
    void SetUsage(unsigned long long usage);
    unsigned int GetMaxBuffers() const;
    void SetMaxBuffers(unsigned int maxBuffers);
    void* GetPriv() const;
    void SetPriv(void* priv);
    int GetDataSpace() const;
    void SetDataSpace(int dataSpace);
    int GetRotation() const;
    void SetRotation(int rotation);
    const char* GetPhysicalCameraId() const;
    void SetPhysicalCameraId(const char* physicalCameraId);
    int GetOption() const;
    void SetOption(int option);
    unsigned long long GetStreamTimestamp() const;
    void SetStreamTimestamp(unsigned long long timestamp);
    unsigned int GetMinFps() const;
    void SetMinFps(unsigned int minFps);
    unsigned int GetMaxFps() const;
    void SetMaxFps(unsigned int maxFps);
    int GetStreamId() const;
    void SetStreamId(int streamId);

    void** GetReserved() const;
    // Copies values[0] into the one reserved slot.
    void SetReserved(void** values);
    unsigned int GetNumReserved() const;

    // Fields the targeted platform's stream does not carry: fixed getters, no-op setters.
    int GetGroupId() const;  // -1
    void SetGroupId(int groupId);
    unsigned int GetNumSensorPixelModesUsed() const;  // 0
    void SetNumSensorPixelModesUsed(unsigned int count);
    int** GetSensorPixelModes() const;  // null
    void SetSensorPixelModes(int** modes);
    unsigned int GetMultiResolutionInputImage() const;  // 0
    void SetMultiResolutionInputImage(unsigned int multiResolution);
    unsigned long long GetStreamUseCase() const;  // 0
    void SetStreamUseCase(unsigned long long useCase);
    int GetDynamicRangeProfile() const;  // 0
    void SetDynamicRangeProfile(int profile);
    int GetColorSpace() const;  // -1
    void SetColorSpace(int colorSpace);
};

}  // namespace zelkov

#endif
