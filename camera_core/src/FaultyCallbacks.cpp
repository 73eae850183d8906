#include "FaultyCallbacks.h"

#include <android/constants/CameraConstants.h>

#include "MetadataTags.h"

namespace camera_core {

using zelkov::ZelCamera3StreamBuffer;

FaultyCallbacks::FaultyCallbacks(std::unique_ptr<FrameworkCallbacks> framework, const CameraConfig& camera,
                                 Faults faults)
    : m_framework(std::move(framework)), m_faults(faults), m_partialCount(camera.partialResultCount) {
    m_unwantedResult.SetOne(tag::kRequestPipelineDepth, static_cast<uint8_t>(camera.pipelineDepth));
}

void FaultyCallbacks::Shutter(uint32_t frameNumber, int64_t timestampNs) {
    if (m_faults.At(Fault::kWrongTimestamp, frameNumber)) timestampNs += 1000000;
    {
        std::lock_guard<std::mutex> hold(m_lock);
        if (m_faults.At(Fault::kLateShutter, frameNumber) || !m_heldShutters.empty()) {
            m_heldShutters.push_back({frameNumber, timestampNs});
            return;
        }
    }
    m_framework->Shutter(frameNumber, timestampNs);
    // The result announced lost; the pipeline sends its metadata all the same.
    if (m_faults.At(Fault::kErrorResultBad, frameNumber))
        m_framework->Error(frameNumber, nullptr, zelkov::GET_CAMERA3_MSG_ERROR_RESULT());
}

void FaultyCallbacks::Error(uint32_t frameNumber, camera3_stream* stream, int code) {
    // The pipeline's buffer in error stays, its notify goes.
    if (code == zelkov::GET_CAMERA3_MSG_ERROR_BUFFER() && m_faults.At(Fault::kErrorBufferBad, frameNumber)) return;
    m_framework->Error(frameNumber, stream, code);
    if (code == zelkov::GET_CAMERA3_MSG_ERROR_REQUEST() && m_faults.At(Fault::kErrorRequestBad, frameNumber))
        m_framework->Result(frameNumber, m_unwantedResult.Get(), m_partialCount, {});
}

void FaultyCallbacks::Result(uint32_t frameNumber, const camera_metadata* metadata, uint32_t partial,
                             const std::vector<ZelCamera3StreamBuffer*>& buffers) {
    if (metadata != nullptr && partial == m_partialCount && m_faults.At(Fault::kBadPartial, frameNumber)) ++partial;
    // The frame's first buffer never comes back, or comes back twice.
    const bool drop = !buffers.empty() && m_faults.At(Fault::kDropBuffer, frameNumber);
    const std::vector<ZelCamera3StreamBuffer*> kept(buffers.begin() + (drop ? 1 : 0), buffers.end());
    if (metadata != nullptr || !kept.empty()) m_framework->Result(frameNumber, metadata, partial, kept);
    if (!buffers.empty() && m_faults.At(Fault::kDuplicateBuffer, frameNumber))
        m_framework->Result(frameNumber, nullptr, 0, {buffers.front()});
    ReleaseShutters(frameNumber);
}

void FaultyCallbacks::ReleaseShutters(uint32_t frameNumber) {
    std::unique_lock<std::mutex> hold(m_lock);
    if (m_heldShutters.empty() || m_heldShutters.front().frameNumber != frameNumber) return;
    // Each stays queued until it is sent, so that a shutter arriving meanwhile queues behind it.
    while (!m_heldShutters.empty()) {
        const HeldShutter shutter = m_heldShutters.front();
        hold.unlock();
        m_framework->Shutter(shutter.frameNumber, shutter.timestampNs);
        hold.lock();
        m_heldShutters.pop_front();
    }
}

}  // namespace camera_core
