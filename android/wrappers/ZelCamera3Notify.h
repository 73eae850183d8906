#ifndef ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA3_NOTIFY_H
#define ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA3_NOTIFY_H

// The notification message and its two forms, shutter and error.

#include <android/ZelExport.h>
#include <android/wrappers/PImpl.h>
#include <android/wrappers/Records.h>

namespace zelkov {

// Instantiated and exported by the library only (see ZelCamera3Stream.h).
extern template class ZEL_EXPORT PImpl<camera3_shutter_msg, camera3_shutter_msg>;
extern template class ZEL_EXPORT PImpl<camera3_error_msg, camera3_error_msg>;
extern template class ZEL_EXPORT PImpl<camera3_notify_msg, camera3_notify_msg>;

class ZEL_EXPORT ZelCamera3ShutterMsg : public PImpl<camera3_shutter_msg, camera3_shutter_msg> {
public:
    using PImpl<camera3_shutter_msg, camera3_shutter_msg>::PImpl;

    unsigned int GetFrameNumber() const;
    void SetFrameNumber(unsigned int frameNumber);
    unsigned long long GetTimestamp() const;
    void SetTimestamp(unsigned long long timestamp);
};

class ZEL_EXPORT ZelCamera3ErrorMsg : public PImpl<camera3_error_msg, camera3_error_msg> {
public:
    using PImpl<camera3_error_msg, camera3_error_msg>::PImpl;

    unsigned int GetFrameNumber() const;
    void SetFrameNumber(unsigned int frameNumber);
    camera3_stream* GetErrorStream() const;
    void SetErrorStream(camera3_stream* stream);
    int GetErrorCode() const;
    void SetErrorCode(int errorCode);
};

// A message type and one message body, read as an error or a shutter message.
class ZEL_EXPORT ZelCamera3NotifyMsg : public PImpl<camera3_notify_msg, camera3_notify_msg> {
public:
    using PImpl<camera3_notify_msg, camera3_notify_msg>::PImpl;

    int GetType() const;
    void SetType(int type);
    // Both return the address of the message body inside the wrapped record,
    // whatever the type says; the caller reads and writes it in place.
    camera3_error_msg* GetErrorMsg() const;
    camera3_shutter_msg* GetShutterMsg() const;
    // Copy a whole message into the start of the body; the type and the rest
    // of the body are left as they were.
    void SetErrorMsg(camera3_error_msg* message);
    void SetShutterMsg(camera3_shutter_msg* message);
};

}  // namespace zelkov

#endif
