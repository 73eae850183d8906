// The cost of one camera buffer's life on the host gralloc: allocate a 1080p
// NV21 buffer, lock it as flat memory and as YCbCr planes, unlock, free.
#include <cstdint>
#include <memory>

#include <benchmark/benchmark.h>

#include <android/buffer/IZelBufferHandler.h>
#include <android/constants/GrallocUsageConstants.h>
#include <android/constants/PixelFormatConstants.h>

using namespace zelkov;

namespace {

const unsigned int kUsage = GET_GRALLOC_USAGE_SW_READ_OFTEN() | GET_GRALLOC_USAGE_SW_WRITE_OFTEN();
const ZelRect kFrame{0, 0, 1920, 1080};

const native_handle* AllocateFrame(IZelBufferHandler& handler) {
    const native_handle* handle = nullptr;
    unsigned int stride = 0;
    handler.Allocate(1920, 1080, GET_HAL_PIXEL_FORMAT_YCRCB_420_SP(), 1, kUsage, &handle, &stride, "benchmark");
    return handle;
}

void BM_BufferLifeCycle(benchmark::State& state) {
    std::unique_ptr<IZelBufferHandler> handler(IZelBufferHandler::Create());
    for (auto _ : state) {
        const native_handle* handle = AllocateFrame(*handler);
        void* vaddr = nullptr;
        int bytesPerPixel = 0, bytesPerStride = 0;
        handler->Lock(handle, kUsage, kFrame, &vaddr, &bytesPerPixel, &bytesPerStride);
        benchmark::DoNotOptimize(vaddr);
        handler->Unlock(handle);
        ZelYCbCrLayout layout{};
        handler->LockYCbCr(handle, kUsage, kFrame, &layout);
        benchmark::DoNotOptimize(layout);
        handler->Unlock(handle);
        handler->Free(handle);
    }
}
BENCHMARK(BM_BufferLifeCycle);

// The per-frame part alone, on a YUV buffer allocated once, at 1080p and 4K:
// the platform's mapper maps a buffer when it imports it, so the pair costs
// the same whatever the size. One byte is written through each lock, as a
// producer would.
void BM_LockYCbCrUnlock(benchmark::State& state) {
    std::unique_ptr<IZelBufferHandler> handler(IZelBufferHandler::Create());
    const int width = int(state.range(0)), height = int(state.range(1));
    const native_handle* handle = nullptr;
    unsigned int stride = 0;
    handler->Allocate(width, height, GET_HAL_PIXEL_FORMAT_YCBCR_420_888(), 1, kUsage, &handle, &stride, "benchmark");
    const ZelRect whole{0, 0, width, height};
    uint8_t value = 0;
    for (auto _ : state) {
        ZelYCbCrLayout layout{};
        handler->LockYCbCr(handle, kUsage, whole, &layout);
        static_cast<uint8_t*>(layout.y)[0] = ++value;
        benchmark::DoNotOptimize(layout);
        handler->Unlock(handle);
    }
    handler->Free(handle);
}
BENCHMARK(BM_LockYCbCrUnlock)->Args({1920, 1080})->Args({3840, 2160});

void BM_FindYuvFormat(benchmark::State& state) {
    static char planes[4];
    for (auto _ : state) {
        benchmark::DoNotOptimize(IZelBufferHandler::FindYuvFormat(planes + 1, planes, 2));
    }
}
BENCHMARK(BM_FindYuvFormat);

}  // namespace

BENCHMARK_MAIN();
