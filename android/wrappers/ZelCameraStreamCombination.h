#ifndef ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA_STREAM_COMBINATION_H
#define ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA_STREAM_COMBINATION_H

// The records with which the platform asks whether a combination of streams,
// or of cameras streaming at the same time, is supported.

#include <android/ZelExport.h>
#include <android/wrappers/PImpl.h>
#include <android/wrappers/Records.h>

namespace zelkov {

// Instantiated and exported by the library only (see ZelCamera3Stream.h).
extern template class ZEL_EXPORT PImpl<camera_stream, camera_stream>;
extern template class ZEL_EXPORT PImpl<concurrent_camera_combination, concurrent_camera_combination>;
extern template class ZEL_EXPORT PImpl<camera_stream_combination, camera_stream_combination>;
extern template class ZEL_EXPORT PImpl<cameraid_stream_combination, cameraid_stream_combination>;

// A stream description for combination queries (32-bit usage, no HAL fields).
class ZEL_EXPORT ZelCameraStream : public PImpl<camera_stream, camera_stream> {
public:
    using PImpl<camera_stream, camera_stream>::PImpl;

    int GetStreamType() const;
    void SetStreamType(int streamType);
    unsigned int GetWidth() const;
    void SetWidth(unsigned int width);
    unsigned int GetHeight() const;
    void SetHeight(unsigned int height);
    int GetFormat() const;
    void SetFormat(int format);
    unsigned int GetUsage() const;
    void SetUsage(unsigned int usage);
    int GetDataSpace() const;
    void SetDataSpace(int dataSpace);
    int GetRotation() const;
    void SetRotation(int rotation);
    const char* GetPhysicalCameraId() const;
    void SetPhysicalCameraId(const char* physicalCameraId);
};

// A camera count and an inline array of two camera ids.
class ZEL_EXPORT ZelConCurrentCameraCombination
    : public PImpl<concurrent_camera_combination, concurrent_camera_combination> {
public:
    using PImpl<concurrent_camera_combination, concurrent_camera_combination>::PImpl;

    unsigned int GetNumCameras() const;
    void SetNumCameras(unsigned int count);
    unsigned int* GetConCurrentCamArray() const;
    // Copies as many ids as the record's camera count says (set it first);
    // a count above the array's two entries copies two.
    void SetConCurrentCamArray(unsigned int* values);
};

class ZEL_EXPORT ZelCameraStreamCombination : public PImpl<camera_stream_combination, camera_stream_combination> {
public:
    using PImpl<camera_stream_combination, camera_stream_combination>::PImpl;

    unsigned int GetNumStreams() const;
    void SetNumStreams(unsigned int count);
    // An array of GetNumStreams() records.
    camera_stream* GetStreams() const;
    void SetStreams(camera_stream* streams);
    unsigned int GetOperationMode() const;
    void SetOperationMode(unsigned int mode);
};

class ZEL_EXPORT ZelCameraIdStreamCombination : public PImpl<cameraid_stream_combination, cameraid_stream_combination> {
public:
    using PImpl<cameraid_stream_combination, cameraid_stream_combination>::PImpl;

    unsigned int GetFwkCameraId() const;
    void SetFwkCameraId(unsigned int cameraId);
    camera_stream_combination* GetStreamConfig() const;
    void SetStreamConfig(camera_stream_combination* configuration);
};

}  // namespace zelkov

#endif
