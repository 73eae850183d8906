// A camera core's view of the request, notification, device and module
// records: public headers only, every record reached through its wrapper.
#include <cstdlib>
#include <cstring>
#include <utility>

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

TEST(CameraCoreRecords, RequestWithOutputBuffersOfOneStream) {
    ZelCamera3Stream stream;
    stream.SetWidth(1280);
    camera3_stream_buffer* outputs = ZelCamera3StreamBuffer::Create(2);
    ASSERT_NE(outputs, nullptr);
    std::memset(outputs, 0, 2 * ZelCamera3StreamBuffer::Size());
    ZelCamera3StreamBuffer first(At<ZelCamera3StreamBuffer>(outputs, 0), false);
    ZelCamera3StreamBuffer second(At<ZelCamera3StreamBuffer>(outputs, 1), false);
    first.SetStream(stream.Ptr());
    second.SetStream(stream.Ptr());
    second.SetAcquireFence(-1);

    ZelCamera3CaptureRequest request;
    request.SetFrameNumber(42);
    request.SetNumOutputBuffers(2);
    request.SetOutputBuffers(outputs);
    request.SetInputWidth(640);
    EXPECT_EQ(request.GetInputWidth(), 0u);

    ZelCamera3StreamBuffer reread(At<ZelCamera3StreamBuffer>(request.GetOutputBuffers(), 1), false);
    EXPECT_EQ(reread.GetAcquireFence(), -1);
    EXPECT_EQ(reread.GetStream(), stream.Ptr());

    first.SetBufferTimestamp(5000);
    first.SetMaxFps(30);
    EXPECT_EQ(reread.GetBufferTimestamp(), 5000u);
    EXPECT_EQ(stream.GetMaxFps(), 30u);

    ZelCamera3CaptureResult result;
    result.SetFrameNumber(request.GetFrameNumber());
    result.SetOutputBuffers(request.GetOutputBuffers());
    result.SetPartialResult(1);
    ZelCamera3CaptureResult copy(result);
    EXPECT_EQ(copy.GetFrameNumber(), 42u);
    EXPECT_EQ(copy.GetOutputBuffers(), outputs);
    ZelCamera3StreamBuffer::Free(outputs);
}

TEST(CameraCoreRecords, NotifyBodyThroughBothViews) {
    ZelCamera3ShutterMsg shutter;
    shutter.SetFrameNumber(7);
    shutter.SetTimestamp(123456789ull);
    ZelCamera3NotifyMsg notify;
    notify.SetType(2);
    notify.SetShutterMsg(shutter.Ptr());
    EXPECT_EQ(ZelCamera3ShutterMsg(notify.GetShutterMsg(), false).GetTimestamp(), 123456789ull);
    EXPECT_EQ(static_cast<void*>(notify.GetErrorMsg()), static_cast<void*>(notify.GetShutterMsg()));
    // The error view reads the same leading frame number.
    EXPECT_EQ(ZelCamera3ErrorMsg(notify.GetErrorMsg(), false).GetFrameNumber(), 7u);
    EXPECT_EQ(notify.GetType(), 2);
}

int CloseDevice(hw_device_t*) { return 0; }
int Flush(const camera3_device*) { return 0; }

TEST(CameraCoreRecords, DeviceAndModuleTables) {
    ZelHwDevice common;
    common.SetVersion(0x305);
    common.SetFnClose(&CloseDevice);
    ZelCamera3DeviceOps ops;
    ops.SetFnFlush(&Flush);
    void* reserved[5] = {};
    ops.SetReserved(reserved);
    EXPECT_EQ(ops.GetNumReserved(), 5u);

    ZelCamera3Device device;
    device.SetHwDevice(common.Ptr());
    device.SetOps(ops.Ptr());
    common.SetVersion(0);  // copied by value
    ZelHwDevice embedded(device.GetHwDevice(), false);
    EXPECT_EQ(embedded.GetVersion(), 0x305u);
    EXPECT_EQ(embedded.GetFnClose(), &CloseDevice);
    EXPECT_EQ(ZelCamera3DeviceOps(device.GetOps(), false).GetFnFlush(), &Flush);

    ZelHwModule hw;
    hw.SetName("zelkov camera");
    ZelCameraModule module;
    module.SetHwModule(hw.Ptr());
    EXPECT_STREQ(ZelHwModule(module.GetHwModule(), false).GetName(), "zelkov camera");

    ZelConCurrentCameraCombination pair;
    unsigned int ids[2] = {0, 2};
    pair.SetNumCameras(2);
    pair.SetConCurrentCamArray(ids);
    EXPECT_EQ(pair.GetConCurrentCamArray()[1], 2u);
}

}  // namespace
