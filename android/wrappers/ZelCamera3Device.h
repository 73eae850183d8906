#ifndef ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA3_DEVICE_H
#define ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA3_DEVICE_H

// The camera device record and its two function tables: the operations the
// device offers and the callbacks it calls. The wrappers never call the
// functions they hold.

#include <android/ZelExport.h>
#include <android/wrappers/PImpl.h>
#include <android/wrappers/Records.h>

namespace zelkov {

// Instantiated and exported by the library only (see ZelCamera3Stream.h).
extern template class ZEL_EXPORT PImpl<camera3_callback_ops, camera3_callback_ops>;
extern template class ZEL_EXPORT PImpl<camera3_device_ops, camera3_device_ops>;
extern template class ZEL_EXPORT PImpl<camera3_device, camera3_device>;

class ZEL_EXPORT ZelCamera3CallbackOps : public PImpl<camera3_callback_ops, camera3_callback_ops> {
public:
    using PImpl<camera3_callback_ops, camera3_callback_ops>::PImpl;

    using ProcessCaptureResultFn = void (*)(const camera3_callback_ops*, const camera3_capture_result*);
    using NotifyFn = void (*)(const camera3_callback_ops*, const camera3_notify_msg*);
    using RequestStreamBuffersFn = int (*)(const camera3_callback_ops*, unsigned int, const camera3_buffer_request*,
                                           unsigned int*, camera3_stream_buffer_ret*);
    using ReturnStreamBuffersFn = void (*)(const camera3_callback_ops*, unsigned int,
                                           const camera3_stream_buffer* const*);

    ProcessCaptureResultFn GetFnProcessCaptureResult() const;
    void SetFnProcessCaptureResult(ProcessCaptureResultFn fn);
    NotifyFn GetFnNotify() const;
    void SetFnNotify(NotifyFn fn);
    RequestStreamBuffersFn GetFnRequestStreamBuffers() const;
    void SetFnRequestStreamBuffers(RequestStreamBuffersFn fn);
    ReturnStreamBuffersFn GetFnReturnStreamBuffers() const;
    void SetFnReturnStreamBuffers(ReturnStreamBuffersFn fn);
};

class ZEL_EXPORT ZelCamera3DeviceOps : public PImpl<camera3_device_ops, camera3_device_ops> {
public:
    using PImpl<camera3_device_ops, camera3_device_ops>::PImpl;

    using InitializeFn = int (*)(const camera3_device*, const camera3_callback_ops*);
    using ConfigureStreamsFn = int (*)(const camera3_device*, camera3_stream_configuration*);
    using RegisterStreamBuffersFn = int (*)(const camera3_device*, const camera3_stream_buffer_set*);
    using ConstructDefaultRequestSettingsFn = const camera_metadata* (*)(const camera3_device*, int);
    using ProcessCaptureRequestFn = int (*)(const camera3_device*, camera3_capture_request*);
    using GetMetadataVendorTagOpsFn = void (*)(const camera3_device*, vendor_tag_query_ops*);
    using DumpFn = void (*)(const camera3_device*, int);
    using FlushFn = int (*)(const camera3_device*);
    using SignalStreamFlushFn = void (*)(const camera3_device*, unsigned int, const camera3_stream* const*);
    using IsReconfigurationRequiredFn = int (*)(const camera3_device*, const camera_metadata*, const camera_metadata*);
    using SetParameterFn = int (*)(const camera3_device*, const char*);
    using DropBufferCacheFn = int (*)(const camera3_device*, camera3_buffer_cache*);

    InitializeFn GetFnInitialize() const;
    void SetFnInitialize(InitializeFn fn);
    ConfigureStreamsFn GetFnConfigureStreams() const;
    void SetFnConfigureStreams(ConfigureStreamsFn fn);
    RegisterStreamBuffersFn GetFnRegisterStreamBuffers() const;
    void SetFnRegisterStreamBuffers(RegisterStreamBuffersFn fn);
    ConstructDefaultRequestSettingsFn GetFnConstructDefaultRequestSettings() const;
    void SetFnConstructDefaultRequestSettings(ConstructDefaultRequestSettingsFn fn);
    ProcessCaptureRequestFn GetFnProcessCaptureRequest() const;
    void SetFnProcessCaptureRequest(ProcessCaptureRequestFn fn);
    GetMetadataVendorTagOpsFn GetFnGetMetadataVendorTagOps() const;
    void SetFnGetMetadataVendorTagOps(GetMetadataVendorTagOpsFn fn);
    DumpFn GetFnDump() const;
    void SetFnDump(DumpFn fn);
    FlushFn GetFnFlush() const;
    void SetFnFlush(FlushFn fn);
    SignalStreamFlushFn GetFnSignalStreamFlush() const;
    void SetFnSignalStreamFlush(SignalStreamFlushFn fn);
    IsReconfigurationRequiredFn GetFnIsReconfigurationRequired() const;
    void SetFnIsReconfigurationRequired(IsReconfigurationRequiredFn fn);
    SetParameterFn GetFnSetParameter() const;
    void SetFnSetParameter(SetParameterFn fn);

    // The five reserved pointers after the last slot.
    void** GetReserved() const;
    // Copies values[0] to values[4].
    void SetReserved(void** values);
    unsigned int GetNumReserved() const;  // 5

    // A slot the targeted platform's table does not carry: null, and a no-op setter.
    DropBufferCacheFn GetFnDropBufferCache() const;
    void SetFnDropBufferCache(DropBufferCacheFn fn);
};

// A camera device: a whole hw_device_t, then the operations and a private pointer.
class ZEL_EXPORT ZelCamera3Device : public PImpl<camera3_device, camera3_device> {
public:
    using PImpl<camera3_device, camera3_device>::PImpl;

    // The embedded hw_device_t, which starts the record.
    hw_device_t* GetHwDevice() const;
    // Copies a whole hw_device_t into the embedded one; the pointer is not kept.
    void SetHwDevice(hw_device_t* device);
    camera3_device_ops* GetOps() const;
    void SetOps(camera3_device_ops* ops);
    void* GetPriv() const;
    void SetPriv(void* priv);
};

}  // namespace zelkov

#endif
