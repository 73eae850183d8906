#include "BufferStore.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace zelkov_platform {
namespace ui {

using android::BAD_VALUE;
using android::INVALID_OPERATION;
using android::NO_ERROR;
using android::NO_MEMORY;
using android::status_t;

namespace {

// Larger requests are refused as nonsense rather than attempted.
constexpr uint32_t kMaxDimension = 16384;
constexpr uint64_t kMaxBufferBytes = 256ull << 20;

native_handle_t* NewHandle(int fd) {
    const int numInts = kHandleIntCount;
    auto* handle = static_cast<native_handle_t*>(std::malloc(sizeof(native_handle_t) + sizeof(int) * (1 + numInts)));
    if (handle == nullptr) return nullptr;
    handle->version = sizeof(native_handle_t);
    handle->numFds = 1;
    handle->numInts = numInts;
    handle->data[0] = fd;
    return handle;
}

}  // namespace

BufferStore& BufferStore::Instance() {
    static BufferStore* store = new BufferStore;  // outlives every static that may free a buffer
    return *store;
}

bool BufferStore::TakeFailure(Call call, status_t* status) {
    auto it = m_failures.find(call);
    if (it == m_failures.end()) return false;
    *status = it->second;
    m_failures.erase(it);
    return true;
}

BufferStore::Buffer* BufferStore::Find(buffer_handle_t handle) {
    auto it = m_buffers.find(handle);
    return it == m_buffers.end() ? nullptr : &it->second;
}

status_t BufferStore::Allocate(uint32_t width, uint32_t height, android::PixelFormat format, uint32_t layerCount,
                               uint64_t usage, buffer_handle_t* outHandle, uint32_t* outStride) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(Call::kAllocate, &status)) return status;
    if (outHandle == nullptr || outStride == nullptr) return BAD_VALUE;
    const FormatLayout* layout = FindFormatLayout(format);
    if (layout == nullptr) return BAD_VALUE;
    if (width == 0 || height == 0 || layerCount == 0) return BAD_VALUE;
    if (width > kMaxDimension || height > kMaxDimension || layerCount > kMaxDimension) return BAD_VALUE;
    const uint64_t stride = (uint64_t{width} + layout->strideAlign - 1) / layout->strideAlign * layout->strideAlign;
    const uint64_t byteSize = LayerBytes(*layout, stride, height) * layerCount;  // cannot overflow 64 bits here
    if (byteSize > kMaxBufferBytes) return BAD_VALUE;

    const int fd = memfd_create("zelkov-gralloc", MFD_CLOEXEC);
    if (fd < 0) return NO_MEMORY;
    native_handle_t* handle = NewHandle(fd);
    if (handle == nullptr || ftruncate(fd, static_cast<off_t>(byteSize)) != 0) {
        std::free(handle);
        close(fd);
        return NO_MEMORY;
    }
    int* ints = &handle->data[handle->numFds];
    ints[kHandleIntWidth] = static_cast<int>(width);
    ints[kHandleIntHeight] = static_cast<int>(height);
    ints[kHandleIntFormat] = format;
    ints[kHandleIntStride] = static_cast<int>(stride);
    ints[kHandleIntUsageLow] = static_cast<int>(static_cast<uint32_t>(usage));
    ints[kHandleIntUsageHigh] = static_cast<int>(static_cast<uint32_t>(usage >> 32));
    ints[kHandleIntLayerCount] = static_cast<int>(layerCount);
    ints[kHandleIntByteSize] = static_cast<int>(byteSize);

    m_buffers[handle] = Buffer{handle, layout, width, height, static_cast<uint32_t>(stride), byteSize, nullptr};
    *outHandle = handle;
    *outStride = static_cast<uint32_t>(stride);
    return NO_ERROR;
}

status_t BufferStore::Free(buffer_handle_t handle) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(Call::kFree, &status)) return status;
    Buffer* buffer = Find(handle);
    if (buffer == nullptr) return BAD_VALUE;
    // Freeing a locked buffer also drops its mapping, as a real gralloc does.
    if (buffer->mapping != nullptr) munmap(buffer->mapping, buffer->byteSize);
    close(buffer->handle->data[0]);
    std::free(buffer->handle);
    m_buffers.erase(handle);
    return NO_ERROR;
}

status_t BufferStore::MapForLock(Buffer& buffer, const android::Rect& bounds) {
    if (buffer.mapping != nullptr) return INVALID_OPERATION;  // one lock at a time
    if (!bounds.isValid() || bounds.left < 0 || bounds.top < 0 || static_cast<uint32_t>(bounds.right) > buffer.width ||
        static_cast<uint32_t>(bounds.bottom) > buffer.height) {
        return BAD_VALUE;
    }
    void* mapping = mmap(nullptr, buffer.byteSize, PROT_READ | PROT_WRITE, MAP_SHARED, buffer.handle->data[0], 0);
    if (mapping == MAP_FAILED) return NO_MEMORY;
    buffer.mapping = static_cast<uint8_t*>(mapping);
    return NO_ERROR;
}

status_t BufferStore::Lock(buffer_handle_t handle, const android::Rect& bounds, void** vaddr,
                           int32_t* outBytesPerPixel, int32_t* outBytesPerStride) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(Call::kLock, &status)) return status;
    Buffer* buffer = Find(handle);
    if (buffer == nullptr || vaddr == nullptr) return BAD_VALUE;
    status = MapForLock(*buffer, bounds);
    if (status != NO_ERROR) return status;
    // The address is the buffer's start, whatever the bounds; they only say
    // which pixels the caller means to touch.
    *vaddr = buffer->mapping;
    const int32_t bytesPerPixel = static_cast<int32_t>(buffer->layout->bytesPerSample);
    if (outBytesPerPixel != nullptr) *outBytesPerPixel = bytesPerPixel;
    if (outBytesPerStride != nullptr) *outBytesPerStride = static_cast<int32_t>(buffer->stride) * bytesPerPixel;
    return NO_ERROR;
}

status_t BufferStore::LockYCbCr(buffer_handle_t handle, const android::Rect& bounds, android_ycbcr* ycbcr) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(Call::kLockYCbCr, &status)) return status;
    Buffer* buffer = Find(handle);
    if (buffer == nullptr || ycbcr == nullptr) return BAD_VALUE;
    if (buffer->layout->kind == PlaneKind::kFlat) return BAD_VALUE;  // no planes to describe
    status = MapForLock(*buffer, bounds);
    if (status != NO_ERROR) return status;
    if (m_silentYCbCrLock) return NO_ERROR;
    FillPlanes(*buffer->layout, buffer->mapping, buffer->stride, buffer->height, ycbcr);
    if (m_emptyPlanes) ycbcr->y = ycbcr->cb = ycbcr->cr = nullptr;
    return NO_ERROR;
}

status_t BufferStore::Unlock(buffer_handle_t handle) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(Call::kUnlock, &status)) return status;
    Buffer* buffer = Find(handle);
    if (buffer == nullptr) return BAD_VALUE;
    if (buffer->mapping == nullptr) return INVALID_OPERATION;  // not locked
    munmap(buffer->mapping, buffer->byteSize);
    buffer->mapping = nullptr;
    return NO_ERROR;
}

status_t BufferStore::GetWidth(buffer_handle_t handle, uint64_t* outWidth) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(Call::kGetWidth, &status)) return status;
    Buffer* buffer = Find(handle);
    if (buffer == nullptr || outWidth == nullptr) return BAD_VALUE;
    *outWidth = buffer->width;
    return NO_ERROR;
}

status_t BufferStore::GetHeight(buffer_handle_t handle, uint64_t* outHeight) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(Call::kGetHeight, &status)) return status;
    Buffer* buffer = Find(handle);
    if (buffer == nullptr || outHeight == nullptr) return BAD_VALUE;
    *outHeight = buffer->height;
    return NO_ERROR;
}

void BufferStore::FailNextCall(Call call, int status) {
    std::lock_guard<std::mutex> guard(m_lock);
    if (status != NO_ERROR) m_failures[call] = status;
}

void BufferStore::SetEmptyYCbCrPlanes(bool empty) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_emptyPlanes = empty;
}

void BufferStore::SetSilentYCbCrLock(bool silent) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_silentYCbCrLock = silent;
}

void BufferStore::ResetControls() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_failures.clear();
    m_emptyPlanes = false;
    m_silentYCbCrLock = false;
}

int BufferStore::LiveBufferCount() {
    std::lock_guard<std::mutex> guard(m_lock);
    return static_cast<int>(m_buffers.size());
}

int BufferStore::LockedBufferCount() {
    std::lock_guard<std::mutex> guard(m_lock);
    int locked = 0;
    for (const auto& entry : m_buffers) locked += entry.second.mapping != nullptr ? 1 : 0;
    return locked;
}

}  // namespace ui
}  // namespace zelkov_platform
