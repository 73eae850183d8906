#include <android/wrappers/ZelCamera3Notify.h>

#include <cstring>

#include <android/wrappers/internal/Accessors.h>
#include <android/wrappers/internal/DeviceRecords.h>
#include <android/wrappers/internal/PImplImpl.h>

namespace zelkov {

template class PImpl<camera3_shutter_msg, camera3_shutter_msg>;
template class PImpl<camera3_error_msg, camera3_error_msg>;
template class PImpl<camera3_notify_msg, camera3_notify_msg>;

ZEL_FIELD_ACCESSORS(ZelCamera3ShutterMsg, FrameNumber, unsigned int, frame_number)
ZEL_FIELD_ACCESSORS(ZelCamera3ShutterMsg, Timestamp, unsigned long long, timestamp)

ZEL_FIELD_ACCESSORS(ZelCamera3ErrorMsg, FrameNumber, unsigned int, frame_number)
ZEL_FIELD_ACCESSORS(ZelCamera3ErrorMsg, ErrorStream, camera3_stream*, error_stream)
ZEL_FIELD_ACCESSORS(ZelCamera3ErrorMsg, ErrorCode, int, error_code)

ZEL_FIELD_ACCESSORS(ZelCamera3NotifyMsg, Type, int, type)
camera3_error_msg* ZelCamera3NotifyMsg::GetErrorMsg() const { return &m_record->message.error; }
camera3_shutter_msg* ZelCamera3NotifyMsg::GetShutterMsg() const { return &m_record->message.shutter; }
void ZelCamera3NotifyMsg::SetErrorMsg(camera3_error_msg* message) {
    std::memcpy(&m_record->message, message, sizeof(camera3_error_msg));
}
void ZelCamera3NotifyMsg::SetShutterMsg(camera3_shutter_msg* message) {
    std::memcpy(&m_record->message, message, sizeof(camera3_shutter_msg));
}

}  // namespace zelkov
