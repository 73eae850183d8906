#include "CameraHarness.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include <android/constants/GrallocUsageConstants.h>
#include <android/constants/PixelFormatConstants.h>

#include "CameraModule.h"
#include "Metadata.h"
#include "MetadataTags.h"

extern "C" camera_module_t HAL_MODULE_INFO_SYM;

namespace camera_core {

CameraHarness::CameraHarness(const char* cameraId) : m_allocator(zelkov::IZelBufferHandler::Create()) {
    m_ops.ops.process_capture_result = &CameraHarness::OnResult;
    m_ops.ops.notify = &CameraHarness::OnNotify;
    m_ops.self = this;
    hw_device_t* common = nullptr;
    if (OpenDevice(reinterpret_cast<const hw_module_t*>(&HAL_MODULE_INFO_SYM), cameraId, &common) != 0) return;
    m_device = reinterpret_cast<camera3_device_t*>(common);
    if (m_device->ops->initialize(m_device, &m_ops.ops) != 0) {
        Close();
        return;
    }
    camera_info info{};
    GetCameraInfo(std::atoi(cameraId), &info);
    m_partialCount = static_cast<uint32_t>(
        Metadata(info.static_camera_characteristics).GetI32(tag::kRequestPartialResultCount, 0, 1));
}

CameraHarness::~CameraHarness() {
    Close();
    for (auto& handle : m_handles) m_allocator->Free(*handle);
}

int CameraHarness::Close() {
    if (m_device == nullptr) return 0;
    const int rc = m_device->common.close(&m_device->common);
    m_device = nullptr;
    std::lock_guard<std::mutex> hold(m_lock);
    m_closed = true;
    return rc;
}

int CameraHarness::Configure(uint32_t width, uint32_t height) {
    m_stream = {};
    m_stream.stream_type = CAMERA3_STREAM_OUTPUT;
    m_stream.width = width;
    m_stream.height = height;
    m_stream.format = zelkov::GET_HAL_PIXEL_FORMAT_YCBCR_420_888();
    m_stream.usage = static_cast<uint32_t>(zelkov::GET_GRALLOC_USAGE_SW_READ_OFTEN());
    camera3_stream_configuration_t config{1, m_streams, CAMERA3_STREAM_CONFIGURATION_NORMAL_MODE, nullptr};
    return m_device->ops->configure_streams(m_device, &config);
}

const camera_metadata_t* CameraHarness::Preview() {
    return m_device->ops->construct_default_request_settings(m_device, CAMERA3_TEMPLATE_PREVIEW);
}

buffer_handle_t* CameraHarness::NewBuffer() {
    const native_handle* handle = nullptr;
    unsigned int stride = 0;
    const unsigned long long usage = static_cast<unsigned long long>(m_stream.usage);
    if (m_allocator->Allocate(m_stream.width, m_stream.height, m_stream.format, 1, usage, &handle, &stride,
                              "camera_core_test") != 0) {
        return nullptr;
    }
    m_handles.push_back(std::make_unique<buffer_handle_t>(handle));
    return m_handles.back().get();
}

int CameraHarness::Submit(uint32_t frame, const camera_metadata_t* settings, int acquireFence, int streams) {
    std::vector<camera3_stream_buffer_t> buffers;
    for (int i = 0; i < streams; ++i) {
        buffers.push_back({&m_stream, NewBuffer(), CAMERA3_BUFFER_STATUS_OK, i == 0 ? acquireFence : -1, -1});
    }
    {
        std::lock_guard<std::mutex> hold(m_lock);
        m_expected[frame] = buffers.size();
    }
    camera3_capture_request_t request{};
    request.frame_number = frame;
    request.settings = settings;
    request.num_output_buffers = static_cast<uint32_t>(buffers.size());
    request.output_buffers = buffers.data();
    const int rc = m_device->ops->process_capture_request(m_device, &request);
    if (rc != 0) {
        std::lock_guard<std::mutex> hold(m_lock);
        m_expected.erase(frame);
    }
    return rc;
}

bool CameraHarness::WaitReturned(uint32_t frame, int timeoutMs) {
    std::unique_lock<std::mutex> hold(m_lock);
    return m_changed.wait_for(hold, std::chrono::milliseconds(timeoutMs),
                              [&] { return m_frames[frame].buffers.size() >= m_expected[frame]; });
}

FrameLog CameraHarness::Frame(uint32_t frame) {
    std::lock_guard<std::mutex> hold(m_lock);
    return m_frames[frame];
}

size_t CameraHarness::CallbacksAfterClose() {
    std::lock_guard<std::mutex> hold(m_lock);
    return m_afterClose;
}

void CameraHarness::OnResult(const camera3_callback_ops_t* ops, const camera3_capture_result_t* result) {
    CameraHarness* self = reinterpret_cast<const Ops*>(ops)->self;
    bool final = false;
    {
        std::lock_guard<std::mutex> hold(self->m_lock);
        if (self->m_closed) ++self->m_afterClose;
        FrameLog& log = self->m_frames[result->frame_number];
        if (result->result != nullptr) {
            if (!log.shutter && log.partials.empty()) log.firstResultBeforeShutter = true;
            const Metadata copy(result->result);
            log.partials.push_back(result->partial_result);
            log.partialTags.push_back(copy.Tags());
            zelkov::zel_camera_metadata_ro_entry entry;
            if (copy.Find(tag::kControlAfTrigger, &entry)) log.afTriggers.push_back(entry.data.u8[0]);
            final = result->partial_result == self->m_partialCount;
        }
        for (uint32_t i = 0; i < result->num_output_buffers; ++i) log.buffers.push_back(result->output_buffers[i]);
    }
    self->m_changed.notify_all();
    if (final && self->m_onFinal) self->m_onFinal(result->frame_number);
}

void CameraHarness::OnNotify(const camera3_callback_ops_t* ops, const camera3_notify_msg_t* msg) {
    CameraHarness* self = reinterpret_cast<const Ops*>(ops)->self;
    {
        std::lock_guard<std::mutex> hold(self->m_lock);
        if (self->m_closed) ++self->m_afterClose;
        if (msg->type == CAMERA3_MSG_SHUTTER) {
            FrameLog& log = self->m_frames[msg->message.shutter.frame_number];
            log.shutter = true;
            log.shutterNs = static_cast<int64_t>(msg->message.shutter.timestamp);
        } else {
            FrameLog& log = self->m_frames[msg->message.error.frame_number];
            switch (msg->message.error.error_code) {
                case CAMERA3_MSG_ERROR_REQUEST: log.errorRequest = true; break;
                case CAMERA3_MSG_ERROR_RESULT: log.errorResult = true; break;
                case CAMERA3_MSG_ERROR_BUFFER: ++log.errorBuffers; break;
                default: break;
            }
        }
    }
    self->m_changed.notify_all();
}

}  // namespace camera_core
