#include "Device.h"

#include <cerrno>
#include <cstdio>

#include <android/constants/CameraConstants.h>
#include <android/constants/GrallocUsageConstants.h>
#include <android/constants/PixelFormatConstants.h>
#include <android/wrappers/ZelCamera3Stream.h>
#include <android/wrappers/ZelHwModule.h>

#include "FaultyCallbacks.h"
#include "FrameTiming.h"
#include "MetadataTags.h"
#include "ModuleIdentity.h"
#include "RequestTemplates.h"

namespace camera_core {
namespace {

constexpr unsigned int kMaxProcessedStreams = 3;
constexpr unsigned int kMaxStallingStreams = 1;

// The i-th record of an array laid out by the library (Size() bytes each).
const camera3_stream_buffer* BufferAt(const camera3_stream_buffer* first, unsigned int i) {
    return reinterpret_cast<const camera3_stream_buffer*>(reinterpret_cast<const char*>(first) +
                                                          size_t{i} * zelkov::ZelCamera3StreamBuffer::Size());
}

}  // namespace

Device::Device(int id, const CameraConfig& camera, std::function<void()> onClose)
    : m_id(id), m_camera(camera), m_onClose(std::move(onClose)), m_faults(Faults::FromEnvironmentOr(camera.fault)) {
    const ModuleIdentity& module = ThisModule();
    zelkov::ZelHwDevice common(m_record.GetHwDevice(), false);
    common.SetTag(module.deviceTag);
    common.SetVersion(module.deviceVersion);
    common.SetModule(const_cast<hw_module_t*>(module.module));
    common.SetFnClose(&Device::CloseHook);
    m_record.SetOps(const_cast<camera3_device_ops*>(Operations()));
    m_record.SetPriv(this);
}

Device::~Device() = default;

const camera3_device_ops* Device::Operations() {
    static const zelkov::ZelCamera3DeviceOps ops = [] {
        zelkov::ZelCamera3DeviceOps table;
        table.SetFnInitialize(&Device::InitializeHook);
        table.SetFnConfigureStreams(&Device::ConfigureStreamsHook);
        table.SetFnConstructDefaultRequestSettings(&Device::DefaultSettingsHook);
        table.SetFnProcessCaptureRequest(&Device::ProcessCaptureRequestHook);
        table.SetFnDump(&Device::DumpHook);
        table.SetFnFlush(&Device::FlushHook);
        return table;
    }();
    return ops.Ptr();
}

Device* Device::From(const camera3_device* device) {
    return device != nullptr ? static_cast<Device*>(zelkov::ZelCamera3Device(device, false).GetPriv()) : nullptr;
}

// hw_device_t is the first member of the camera3 device record, so both share an address.
int Device::CloseHook(hw_device_t* device) {
    Device* self = From(reinterpret_cast<const camera3_device*>(device));
    if (self == nullptr) return -EINVAL;
    self->Close();
    self->m_onClose();
    delete self;
    return 0;
}

int Device::InitializeHook(const camera3_device* device, const camera3_callback_ops* callbacks) {
    Device* self = From(device);
    return self != nullptr ? self->Initialize(callbacks) : -ENODEV;
}

int Device::ConfigureStreamsHook(const camera3_device* device, camera3_stream_configuration* configuration) {
    Device* self = From(device);
    return self != nullptr ? self->ConfigureStreams(configuration) : -ENODEV;
}

const camera_metadata* Device::DefaultSettingsHook(const camera3_device* device, int type) {
    Device* self = From(device);
    return self != nullptr ? self->DefaultSettings(type) : nullptr;
}

int Device::ProcessCaptureRequestHook(const camera3_device* device, camera3_capture_request* request) {
    Device* self = From(device);
    return self != nullptr ? self->ProcessCaptureRequest(request) : -ENODEV;
}

void Device::DumpHook(const camera3_device* device, int fd) {
    Device* self = From(device);
    if (self != nullptr) self->Dump(fd);
}

int Device::FlushHook(const camera3_device* device) {
    Device* self = From(device);
    if (self == nullptr) return -ENODEV;
    self->Flush();
    return 0;
}

void Device::Flush() {
    std::shared_ptr<Pipeline> pipeline;
    {
        std::lock_guard<std::mutex> hold(m_lock);
        pipeline = m_pipeline;
    }
    if (pipeline) pipeline->Flush();
}

void Device::Close() {
    std::shared_ptr<Pipeline> pipeline;
    {
        std::lock_guard<std::mutex> hold(m_lock);
        pipeline.swap(m_pipeline);
    }
    if (pipeline) pipeline->Flush();
    pipeline.reset();  // joins its threads: no callback after this
}

int Device::Initialize(const camera3_callback_ops* callbacks) {
    std::lock_guard<std::mutex> hold(m_lock);
    if (callbacks == nullptr || m_pipeline) return -ENODEV;  // once per open
    std::unique_ptr<FrameworkCallbacks> framework = std::make_unique<CallbackOps>(callbacks);
    if (m_faults.InCallbacks()) framework = std::make_unique<FaultyCallbacks>(std::move(framework), m_camera, m_faults);
    m_pipeline = std::make_shared<Pipeline>(m_camera, std::move(framework), m_faults.InPipeline());
    return 0;
}

bool Device::IsSupportedStream(camera3_stream* record) const {
    const zelkov::ZelCamera3Stream stream(record, false);
    if (stream.GetStreamType() != zelkov::GET_CAMERA3_STREAM_OUTPUT() ||
        stream.GetRotation() != zelkov::GET_CAMERA3_STREAM_ROTATION_0()) {
        return false;
    }
    return FindStream(m_camera, stream.GetFormat(), stream.GetWidth(), stream.GetHeight()) != nullptr;
}

int Device::ConfigureStreams(camera3_stream_configuration* configuration) {
    if (configuration == nullptr) return -EINVAL;
    zelkov::ZelCamera3StreamConfiguration config(configuration, false);
    std::shared_ptr<Pipeline> pipeline;
    {
        std::lock_guard<std::mutex> hold(m_lock);
        if (!m_pipeline) return -EINVAL;
        pipeline = m_pipeline;
        if (config.GetNumStreams() == 0 || config.GetStreams() == nullptr ||
            config.GetOperationMode() !=
                static_cast<unsigned int>(zelkov::GET_CAMERA3_STREAM_CONFIGURATION_NORMAL_MODE())) {
            return -EINVAL;
        }
        unsigned int processed = 0;
        unsigned int stalling = 0;
        for (unsigned int i = 0; i < config.GetNumStreams(); ++i) {
            camera3_stream* stream = config.GetStreams()[i];
            if (stream == nullptr || !IsSupportedStream(stream)) return -EINVAL;
            const bool blob =
                zelkov::ZelCamera3Stream(stream, false).GetFormat() == zelkov::GET_HAL_PIXEL_FORMAT_BLOB();
            ++(blob ? stalling : processed);
        }
        if (processed > kMaxProcessedStreams || stalling > kMaxStallingStreams) return -EINVAL;
    }

    // Streams are reconfigured only between requests: the pipeline is idle, a flush only makes sure.
    pipeline->Flush();
    std::lock_guard<std::mutex> hold(m_lock);
    m_streams.clear();
    const unsigned long long producerUsage =
        static_cast<unsigned long long>(zelkov::GET_GRALLOC_USAGE_HW_CAMERA_WRITE()) |
        static_cast<unsigned long long>(zelkov::GET_GRALLOC_USAGE_SW_WRITE_OFTEN());
    for (unsigned int i = 0; i < config.GetNumStreams(); ++i) {
        zelkov::ZelCamera3Stream stream(config.GetStreams()[i], false);
        stream.SetUsage(stream.GetUsage() | producerUsage);
        stream.SetMaxBuffers(m_camera.maxBuffers);
        m_streams.insert(config.GetStreams()[i]);
    }
    m_haveSettings = false;
    return 0;
}

const camera_metadata* Device::DefaultSettings(int type) {
    if (!IsSupportedTemplate(m_camera, type)) return nullptr;
    std::lock_guard<std::mutex> hold(m_lock);
    std::unique_ptr<Metadata>& slot = m_defaults[type];
    if (!slot) slot = std::make_unique<Metadata>(BuildDefaultSettings(m_camera, type));
    return slot->Get();
}

int Device::ProcessCaptureRequest(camera3_capture_request* record) {
    if (record == nullptr) return -EINVAL;
    std::lock_guard<std::mutex> submit(m_submitLock);
    CaptureRequest capture;
    std::shared_ptr<Pipeline> pipeline;
    {
        std::lock_guard<std::mutex> hold(m_lock);
        const int rc = TakeRequest(zelkov::ZelCamera3CaptureRequest(record, false), &capture);
        if (rc != 0) return rc;
        pipeline = m_pipeline;
    }
    pipeline->Queue(std::move(capture));  // may block while the pipeline is full
    return 0;
}

int Device::TakeRequest(const zelkov::ZelCamera3CaptureRequest& request, CaptureRequest* capture) {
    if (!m_pipeline || m_streams.empty()) return -EINVAL;
    if (request.GetInputBuffer() != nullptr || request.GetNumOutputBuffers() == 0 ||
        request.GetOutputBuffers() == nullptr || (request.GetSettings() == nullptr && !m_haveSettings)) {
        return -EINVAL;
    }
    // Frame numbers rise strictly: results are matched and ordered by them.
    if (m_anyFrame && request.GetFrameNumber() <= m_lastFrameNumber) return -EINVAL;
    capture->frameNumber = request.GetFrameNumber();
    std::set<camera3_stream*> used;
    std::vector<const StreamConfig*> outputs;
    for (unsigned int i = 0; i < request.GetNumOutputBuffers(); ++i) {
        zelkov::ZelCamera3StreamBuffer buffer;
        buffer.CopyFrom(BufferAt(request.GetOutputBuffers(), i));
        if (m_streams.count(buffer.GetStream()) == 0 || !used.insert(buffer.GetStream()).second ||
            buffer.GetBuffer() == nullptr || *buffer.GetBuffer() == nullptr ||
            buffer.GetStatus() != zelkov::GET_CAMERA3_BUFFER_STATUS_OK()) {
            return -EINVAL;
        }
        const zelkov::ZelCamera3Stream stream(buffer.GetStream(), false);
        outputs.push_back(FindStream(m_camera, stream.GetFormat(), stream.GetWidth(), stream.GetHeight()));
        capture->buffers.push_back(std::move(buffer));
    }
    // Repeating requests carry no settings: the last ones stay in force, but a
    // trigger acts on the request that carried it only.
    if (request.GetSettings() != nullptr) {
        m_lastSettings = Metadata(request.GetSettings());
        m_haveSettings = true;
    }
    capture->settings = Metadata(m_lastSettings.Get());
    for (unsigned int trigger : {tag::kControlAePrecaptureTrigger, tag::kControlAfTrigger}) {
        zelkov::zel_camera_metadata_ro_entry entry;
        if (m_lastSettings.Find(trigger, &entry)) m_lastSettings.SetOne(trigger, value::kTriggerIdle);
    }
    capture->frameDurationNs = ChooseFrameDuration(m_camera, capture->settings, outputs);
    m_anyFrame = true;
    m_lastFrameNumber = capture->frameNumber;
    return 0;
}

void Device::Dump(int fd) {
    std::lock_guard<std::mutex> hold(m_lock);
    dprintf(fd, "camera %d: %zu streams configured, fault %s\n", m_id, m_streams.size(), Faults::Name(m_faults.Kind()));
    if (m_pipeline) {
        const PipelineStats stats = m_pipeline->Stats();
        dprintf(fd, "  frames delivered %llu, requests failed %llu, in flight %zu\n",
                static_cast<unsigned long long>(stats.framesDelivered),
                static_cast<unsigned long long>(stats.requestsFailed), stats.inFlight);
    }
}

}  // namespace camera_core
