// One open camera: the camera3 device record and its operations.
#ifndef ZELKOV_CAMERA_CORE_DEVICE_H
#define ZELKOV_CAMERA_CORE_DEVICE_H

#include <functional>
#include <memory>
#include <mutex>
#include <set>

#include <android/wrappers/ZelCamera3Device.h>
#include <android/wrappers/ZelCamera3Request.h>

#include "Config.h"
#include "Metadata.h"
#include "Pipeline.h"

namespace camera_core {

class Device {
public:
    // onClose runs when the framework closes the device, before it is deleted.
    Device(int id, const CameraConfig& camera, std::function<void()> onClose);
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    hw_device_t* HwDevice() const { return m_record.GetHwDevice(); }

private:
    ~Device();

    static Device* From(const camera3_device* device);
    static const camera3_device_ops* Operations();
    static int CloseHook(hw_device_t* device);
    static int InitializeHook(const camera3_device* device, const camera3_callback_ops* callbacks);
    static int ConfigureStreamsHook(const camera3_device* device, camera3_stream_configuration* configuration);
    static const camera_metadata* DefaultSettingsHook(const camera3_device* device, int type);
    static int ProcessCaptureRequestHook(const camera3_device* device, camera3_capture_request* request);
    static void DumpHook(const camera3_device* device, int fd);
    static int FlushHook(const camera3_device* device);

    int Initialize(const camera3_callback_ops* callbacks);
    int ConfigureStreams(camera3_stream_configuration* configuration);
    bool IsSupportedStream(camera3_stream* stream) const;
    const camera_metadata* DefaultSettings(int type);
    int ProcessCaptureRequest(camera3_capture_request* request);
    // Checks a request and copies it; 0, or -EINVAL with nothing changed.
    int TakeRequest(const zelkov::ZelCamera3CaptureRequest& request, CaptureRequest* capture);
    void Flush();
    void Close();
    void Dump(int fd);

    const int m_id;
    const CameraConfig& m_camera;
    std::function<void()> m_onClose;
    zelkov::ZelCamera3Device m_record;
    Faults m_faults;

    // Serialises requests; held while a full pipeline blocks one, never by flush or dump.
    std::mutex m_submitLock;
    // Guards everything below; never held while the pipeline is waited on or calls back.
    std::mutex m_lock;
    std::shared_ptr<Pipeline> m_pipeline;
    std::set<camera3_stream*> m_streams;
    std::unique_ptr<Metadata> m_defaults[8];  // per template, kept until close
    Metadata m_lastSettings;
    bool m_haveSettings = false;
    bool m_anyFrame = false;
    uint32_t m_lastFrameNumber = 0;
};

}  // namespace camera_core

#endif
