#ifndef ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA3_REQUEST_H
#define ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA3_REQUEST_H

// Per-frame and per-buffer records: capture requests and results, stream
// buffers, buffer sets, buffer requests and returns, the stream configuration
// and the JPEG blob trailer.

#include <android/ZelExport.h>
#include <android/wrappers/PImpl.h>
#include <android/wrappers/Records.h>

namespace zelkov {

// Instantiated and exported by the library only (see ZelCamera3Stream.h).
extern template class ZEL_EXPORT PImpl<camera3_capture_request, camera3_capture_request>;
extern template class ZEL_EXPORT PImpl<camera3_capture_result, camera3_capture_result>;
extern template class ZEL_EXPORT PImpl<camera3_stream_buffer, camera3_stream_buffer>;
extern template class ZEL_EXPORT PImpl<camera3_stream_buffer_set, camera3_stream_buffer_set>;
extern template class ZEL_EXPORT PImpl<camera3_stream_buffer_ret, camera3_stream_buffer_ret>;
extern template class ZEL_EXPORT PImpl<camera3_buffer_request, camera3_buffer_request>;
extern template class ZEL_EXPORT PImpl<camera3_stream_configuration, camera3_stream_configuration>;
extern template class ZEL_EXPORT PImpl<camera3_jpeg_blob, camera3_jpeg_blob>;

class ZEL_EXPORT ZelCamera3CaptureRequest : public PImpl<camera3_capture_request, camera3_capture_request> {
public:
    using PImpl<camera3_capture_request, camera3_capture_request>::PImpl;

    unsigned int GetFrameNumber() const;
    void SetFrameNumber(unsigned int frameNumber);
    const camera_metadata* GetSettings() const;
    void SetSettings(const camera_metadata* settings);
    camera3_stream_buffer* GetInputBuffer() const;
    void SetInputBuffer(camera3_stream_buffer* inputBuffer);
    unsigned int GetNumOutputBuffers() const;
    void SetNumOutputBuffers(unsigned int count);
    const camera3_stream_buffer* GetOutputBuffers() const;
    void SetOutputBuffers(const camera3_stream_buffer* outputBuffers);
    unsigned int GetNumPhyscamSettings() const;
    void SetNumPhyscamSettings(unsigned int count);
    const char** GetPhyscamId() const;
    void SetPhyscamId(const char** ids);
    const camera_metadata** GetPhyscamSettings() const;
    void SetPhyscamSettings(const camera_metadata** settings);

    // Fields the targeted platform's request does not carry: 0, and no-op setters.
    unsigned int GetInputWidth() const;
    void SetInputWidth(unsigned int width);
    unsigned int GetInputHeight() const;
    void SetInputHeight(unsigned int height);
};

class ZEL_EXPORT ZelCamera3CaptureResult : public PImpl<camera3_capture_result, camera3_capture_result> {
public:
    using PImpl<camera3_capture_result, camera3_capture_result>::PImpl;

    unsigned int GetFrameNumber() const;
    void SetFrameNumber(unsigned int frameNumber);
    const camera_metadata* GetResult() const;
    void SetResult(const camera_metadata* result);
    unsigned int GetNumOutputBuffers() const;
    void SetNumOutputBuffers(unsigned int count);
    const camera3_stream_buffer* GetOutputBuffers() const;
    void SetOutputBuffers(const camera3_stream_buffer* outputBuffers);
    const camera3_stream_buffer* GetInputBuffer() const;
    void SetInputBuffer(const camera3_stream_buffer* inputBuffer);
    unsigned int GetPartialResult() const;
    void SetPartialResult(unsigned int partialResult);
    unsigned int GetNumPhyscamMetadata() const;
    void SetNumPhyscamMetadata(unsigned int count);
    const char** GetPhyscamIds() const;
    void SetPhyscamIds(const char** ids);
    const camera_metadata** GetPhyscamMetadata() const;
    void SetPhyscamMetadata(const camera_metadata** metadata);
};

// One buffer of a stream. The timestamp and frame-rate accessors reach through
// the Stream field into the stream record, so all buffers of one stream share
// them with the stream itself; Stream must be set before they are used.
class ZEL_EXPORT ZelCamera3StreamBuffer : public PImpl<camera3_stream_buffer, camera3_stream_buffer> {
public:
    using PImpl<camera3_stream_buffer, camera3_stream_buffer>::PImpl;

    camera3_stream* GetStream() const;
    void SetStream(camera3_stream* stream);
    // The address of the buffer handle.
    const native_handle** GetBuffer() const;
    void SetBuffer(const native_handle** buffer);
    int GetStatus() const;
    void SetStatus(int status);
    int GetAcquireFence() const;
    void SetAcquireFence(int fence);
    int GetReleaseFence() const;
    void SetReleaseFence(int fence);

    unsigned long long GetBufferTimestamp() const;
    void SetBufferTimestamp(unsigned long long timestamp);
    unsigned int GetMinFps() const;
    void SetMinFps(unsigned int minFps);
    unsigned int GetMaxFps() const;
    void SetMaxFps(unsigned int maxFps);

    // A private pointer the targeted platform's buffer does not carry.
    void* GetPriv() const;  // null
    void SetPriv(void* priv);
    bool IsExistPriv() const;  // false
};

class ZEL_EXPORT ZelCamera3StreamBufferSet : public PImpl<camera3_stream_buffer_set, camera3_stream_buffer_set> {
public:
    using PImpl<camera3_stream_buffer_set, camera3_stream_buffer_set>::PImpl;

    camera3_stream* GetStream() const;
    void SetStream(camera3_stream* stream);
    unsigned int GetNumBuffers() const;
    void SetNumBuffers(unsigned int count);
    // An array of addresses of buffer handles.
    const native_handle*** GetBuffers() const;
    void SetBuffers(const native_handle*** buffers);
};

class ZEL_EXPORT ZelCamera3StreamBufferRet : public PImpl<camera3_stream_buffer_ret, camera3_stream_buffer_ret> {
public:
    using PImpl<camera3_stream_buffer_ret, camera3_stream_buffer_ret>::PImpl;

    camera3_stream* GetStream() const;
    void SetStream(camera3_stream* stream);
    int GetStatus() const;
    void SetStatus(int status);
    unsigned int GetNumOutputBuffers() const;
    void SetNumOutputBuffers(unsigned int count);
    camera3_stream_buffer* GetOutputBuffers() const;
    void SetOutputBuffers(camera3_stream_buffer* outputBuffers);
};

class ZEL_EXPORT ZelCamera3BufferRequest : public PImpl<camera3_buffer_request, camera3_buffer_request> {
public:
    using PImpl<camera3_buffer_request, camera3_buffer_request>::PImpl;

    camera3_stream* GetStream() const;
    void SetStream(camera3_stream* stream);
    unsigned int GetNumBuffersRequested() const;
    void SetNumBuffersRequested(unsigned int count);
};

class ZEL_EXPORT ZelCamera3StreamConfiguration
    : public PImpl<camera3_stream_configuration, camera3_stream_configuration> {
public:
    using PImpl<camera3_stream_configuration, camera3_stream_configuration>::PImpl;

    unsigned int GetNumStreams() const;
    void SetNumStreams(unsigned int count);
    camera3_stream** GetStreams() const;
    void SetStreams(camera3_stream** streams);
    unsigned int GetOperationMode() const;
    void SetOperationMode(unsigned int mode);
    const camera_metadata* GetSessionParameter() const;
    void SetSessionParameter(const camera_metadata* parameters);

    // A field the targeted platform's configuration does not carry.
    bool GetMultiResolutionInputImage() const;  // false
    void SetMultiResolutionInputImage(bool multiResolution);
};

class ZEL_EXPORT ZelCamera3JpegBlob : public PImpl<camera3_jpeg_blob, camera3_jpeg_blob> {
public:
    using PImpl<camera3_jpeg_blob, camera3_jpeg_blob>::PImpl;

    unsigned short GetJpegBlobId() const;
    void SetJpegBlobId(unsigned short id);
    unsigned int GetJpegSize() const;
    void SetJpegSize(unsigned int size);
};

}  // namespace zelkov

#endif
