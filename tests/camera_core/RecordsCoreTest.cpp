// A camera core's view of the request, notification, device and module
// records: public headers only, every record reached through its wrapper.
#include <cstring>

#include <gtest/gtest.h>

#include <android/wrappers/ZelCamera3Device.h>
#include <android/wrappers/ZelCamera3Notify.h>
#include <android/wrappers/ZelCamera3Request.h>
#include <android/wrappers/ZelCamera3Stream.h>
#include <android/wrappers/ZelCameraModule.h>
#include <android/wrappers/ZelCameraStreamCombination.h>
#include <android/wrappers/ZelHwModule.h>

using namespace zelkov;

namespace {

// The core cannot index an array of records it sees only by name: it steps by Size().
template <typename W, typename T>
const T* At(const T* records, unsigned int index) {
    return reinterpret_cast<const T*>(reinterpret_cast<const char*>(records) + index * W::Size());
}

TEST(CameraCoreRecords, SizesAsTheLibraryReportsThem) {
    const unsigned int sizes[] = {
        ZelCamera3CaptureRequest::Size(), ZelCamera3CaptureResult::Size(), ZelCamera3StreamBuffer::Size(),
        ZelCamera3ShutterMsg::Size(), ZelCamera3ErrorMsg::Size(), ZelCamera3NotifyMsg::Size(),
        ZelCamera3StreamBufferSet::Size(), ZelCamera3StreamBufferRet::Size(), ZelCamera3BufferRequest::Size(),
        ZelCamera3CallbackOps::Size(), ZelCamera3StreamConfiguration::Size(), ZelCamera3JpegBlob::Size(),
        ZelCamera3DeviceOps::Size(), ZelCamera3Device::Size(), ZelCameraInfo::Size(), ZelHwDevice::Size(),
        ZelHwModuleMethods::Size(), ZelHwModule::Size(), ZelCameraModule::Size(), ZelCameraStream::Size(),
        ZelCameraModuleCallbacks::Size(), ZelConCurrentCameraCombination::Size(),
        ZelCameraStreamCombination::Size(), ZelCameraIdStreamCombination::Size(), ZelVendorTagOps::Size(),
        ZelVendorTagQueryOps::Size(),
    };
#if defined(__arm__)
    const unsigned int abi[] = {32, 36, 20, 16, 12, 40, 12, 16, 8, 16, 16, 8, 64,
                                72, 28, 64, 4, 128, 188, 32, 8, 12, 12, 8, 52, 20};
    for (std::size_t i = 0; i < sizeof(abi) / sizeof(abi[0]); ++i) EXPECT_EQ(sizes[i], abi[i]) << "record " << i;
#else
    for (unsigned int size : sizes) EXPECT_GT(size, 0u);
#endif
}

int CloseDevice(hw_device_t*) { return 0; }

// One round per header family: records built, linked and read back through
// exported accessors only. Field offsets are proved byte by byte in tests/wrappers.
TEST(CameraCoreRecords, RequestNotifyDeviceAndModuleFamilies) {
    ZelCamera3Stream stream;
    camera3_stream_buffer* outputs = ZelCamera3StreamBuffer::Create(2);
    ASSERT_NE(outputs, nullptr);
    std::memset(outputs, 0, 2 * ZelCamera3StreamBuffer::Size());
    ZelCamera3StreamBuffer second(At<ZelCamera3StreamBuffer>(outputs, 1), false);
    second.SetStream(stream.Ptr());
    second.SetMaxFps(30);
    ZelCamera3CaptureRequest request;
    request.SetOutputBuffers(outputs);
    ZelCamera3StreamBuffer reread(At<ZelCamera3StreamBuffer>(request.GetOutputBuffers(), 1), false);
    EXPECT_EQ(reread.GetStream(), stream.Ptr());
    EXPECT_EQ(stream.GetMaxFps(), 30u);
    ZelCamera3StreamBuffer::Free(outputs);

    ZelCamera3ShutterMsg shutter;
    shutter.SetTimestamp(123456789ull);
    ZelCamera3NotifyMsg notify;
    notify.SetShutterMsg(shutter.Ptr());
    EXPECT_EQ(ZelCamera3ShutterMsg(notify.GetShutterMsg(), false).GetTimestamp(), 123456789ull);

    ZelHwDevice common;
    common.SetFnClose(&CloseDevice);
    ZelCamera3Device device;
    device.SetHwDevice(common.Ptr());
    EXPECT_EQ(ZelHwDevice(device.GetHwDevice(), false).GetFnClose(), &CloseDevice);

    ZelHwModule hw;
    hw.SetName("zelkov camera");
    ZelCameraModule module;
    module.SetHwModule(hw.Ptr());
    EXPECT_STREQ(ZelHwModule(module.GetHwModule(), false).GetName(), "zelkov camera");
    ZelCameraStreamCombination combination;
    combination.SetNumStreams(3);
    EXPECT_EQ(ZelCameraStreamCombination(combination).GetNumStreams(), 3u);
}

}  // namespace
