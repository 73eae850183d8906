#include <android/wrappers/ZelCamera3Device.h>

#include <cstring>

#include <android/wrappers/internal/Accessors.h>
#include <android/wrappers/internal/DeviceRecords.h>
#include <android/wrappers/internal/PImplImpl.h>

namespace zelkov {

template class PImpl<camera3_callback_ops, camera3_callback_ops>;
template class PImpl<camera3_device_ops, camera3_device_ops>;
template class PImpl<camera3_device, camera3_device>;

ZEL_SLOT_ACCESSORS(ZelCamera3CallbackOps, ProcessCaptureResult, ProcessCaptureResultFn, process_capture_result)
ZEL_SLOT_ACCESSORS(ZelCamera3CallbackOps, Notify, NotifyFn, notify)
// The platform's slot returns an enum of int size; the core's function type returns an int.
auto ZelCamera3CallbackOps::GetFnRequestStreamBuffers() const -> RequestStreamBuffersFn {
    return reinterpret_cast<RequestStreamBuffersFn>(m_record->request_stream_buffers);
}
void ZelCamera3CallbackOps::SetFnRequestStreamBuffers(RequestStreamBuffersFn fn) {
    m_record->request_stream_buffers = reinterpret_cast<decltype(m_record->request_stream_buffers)>(fn);
}
ZEL_SLOT_ACCESSORS(ZelCamera3CallbackOps, ReturnStreamBuffers, ReturnStreamBuffersFn, return_stream_buffers)

ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, Initialize, InitializeFn, initialize)
ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, ConfigureStreams, ConfigureStreamsFn, configure_streams)
ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, RegisterStreamBuffers, RegisterStreamBuffersFn, register_stream_buffers)
ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, ConstructDefaultRequestSettings, ConstructDefaultRequestSettingsFn,
                   construct_default_request_settings)
ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, ProcessCaptureRequest, ProcessCaptureRequestFn, process_capture_request)
ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, GetMetadataVendorTagOps, GetMetadataVendorTagOpsFn, get_metadata_vendor_tag_ops)
ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, Dump, DumpFn, dump)
ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, Flush, FlushFn, flush)
ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, SignalStreamFlush, SignalStreamFlushFn, signal_stream_flush)
ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, IsReconfigurationRequired, IsReconfigurationRequiredFn,
                   is_reconfiguration_required)
ZEL_SLOT_ACCESSORS(ZelCamera3DeviceOps, SetParameter, SetParameterFn, set_parameter)
void** ZelCamera3DeviceOps::GetReserved() const { return m_record->reserved; }
void ZelCamera3DeviceOps::SetReserved(void** values) {
    std::memcpy(m_record->reserved, values, sizeof(m_record->reserved));
}
unsigned int ZelCamera3DeviceOps::GetNumReserved() const { return sizeof(m_record->reserved) / sizeof(void*); }
ZelCamera3DeviceOps::DropBufferCacheFn ZelCamera3DeviceOps::GetFnDropBufferCache() const { return nullptr; }
void ZelCamera3DeviceOps::SetFnDropBufferCache(DropBufferCacheFn) {}

hw_device_t* ZelCamera3Device::GetHwDevice() const { return &m_record->common; }
void ZelCamera3Device::SetHwDevice(hw_device_t* device) { std::memcpy(&m_record->common, device, sizeof(hw_device_t)); }
ZEL_FIELD_ACCESSORS(ZelCamera3Device, Ops, camera3_device_ops*, ops)
ZEL_FIELD_ACCESSORS(ZelCamera3Device, Priv, void*, priv)

}  // namespace zelkov
