#include "FrameworkCallbacks.h"

#include <cstddef>

#include <android/constants/CameraConstants.h>
#include <android/wrappers/ZelCamera3Device.h>
#include <android/wrappers/ZelCamera3Notify.h>

namespace camera_core {

using zelkov::ZelCamera3StreamBuffer;

void CallbackOps::Shutter(uint32_t frameNumber, int64_t timestampNs) {
    zelkov::ZelCamera3NotifyMsg message;
    message.SetType(zelkov::GET_CAMERA3_MSG_SHUTTER());
    zelkov::ZelCamera3ShutterMsg shutter(message.GetShutterMsg(), false);
    shutter.SetFrameNumber(frameNumber);
    shutter.SetTimestamp(static_cast<unsigned long long>(timestampNs));
    zelkov::ZelCamera3CallbackOps(m_ops, false).GetFnNotify()(m_ops, message.Ptr());
}

void CallbackOps::Error(uint32_t frameNumber, camera3_stream* stream, int code) {
    zelkov::ZelCamera3NotifyMsg message;
    message.SetType(zelkov::GET_CAMERA3_MSG_ERROR());
    zelkov::ZelCamera3ErrorMsg error(message.GetErrorMsg(), false);
    error.SetFrameNumber(frameNumber);
    error.SetErrorStream(stream);
    error.SetErrorCode(code);
    zelkov::ZelCamera3CallbackOps(m_ops, false).GetFnNotify()(m_ops, message.Ptr());
}

void CallbackOps::Result(uint32_t frameNumber, const camera_metadata* metadata, uint32_t partial,
                         const std::vector<ZelCamera3StreamBuffer*>& buffers) {
    // The records are laid out back to back in one block of Size() bytes each.
    const unsigned int count = static_cast<unsigned int>(buffers.size());
    camera3_stream_buffer* block = count > 0 ? ZelCamera3StreamBuffer::Create(count) : nullptr;
    for (unsigned int i = 0; i < count; ++i) {
        auto* slot = reinterpret_cast<camera3_stream_buffer*>(reinterpret_cast<char*>(block) +
                                                              size_t{i} * ZelCamera3StreamBuffer::Size());
        buffers[i]->CopyTo(slot);
    }
    zelkov::ZelCamera3CaptureResult result;
    result.SetFrameNumber(frameNumber);
    result.SetResult(metadata);
    result.SetPartialResult(partial);
    result.SetNumOutputBuffers(count);
    result.SetOutputBuffers(block);
    zelkov::ZelCamera3CallbackOps(m_ops, false).GetFnProcessCaptureResult()(m_ops, result.Ptr());
    ZelCamera3StreamBuffer::Free(block);
}

}  // namespace camera_core
