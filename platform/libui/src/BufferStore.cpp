#include "BufferStore.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <limits>

namespace zelkov_platform {
namespace ui {

using android::BAD_VALUE;
using android::NO_ERROR;
using android::NO_MEMORY;
using android::status_t;
using android::UNKNOWN_ERROR;
using android::UNKNOWN_TRANSACTION;

namespace {

// Limits of the simulated allocator: a side past kMaxDimension is
// unsupported, a buffer past kMaxBufferBytes out of resources.
constexpr uint32_t kMaxDimension = 16384;
constexpr uint64_t kMaxBufferBytes = 256ull << 20;

// The usage bits a gralloc 5 allocation accepts: the named BufferUsage bits,
// the vendor masks, and bits 10 and 13, which libui clears first.
constexpr uint64_t kRemovedUsageBits = (1u << 10) | (1u << 13);
constexpr uint64_t kValidUsageBits =
    0xFFull                                                              // CPU read and write
    | (3u << 8) | (3u << 11) | (3u << 14) | (7u << 16) | (1u << 20)      // GPU, composer, protected, video, camera
    | (0x3Fu << 22) | (0xFull << 28) | (1ull << 32) | (0xFFFFull << 48)  // decoder .. image encoder, vendor, front
    | kRemovedUsageBits;
// AIMapper_Error values a refused lock returns through libui unchanged.
constexpr status_t kMapperBadBuffer = 2;
constexpr status_t kMapperBadValue = 3;
constexpr uint32_t kCpuReadMask = 0x0F;
constexpr uint32_t kCpuWriteMask = 0xF0;

[[noreturn]] void Abort(const char* call, const char* rule) {
    std::fprintf(stderr, "libui: %s: %s\n", call, rule);
    std::abort();
}

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

BufferStore::Buffer* BufferStore::Find(buffer_handle_t handle, const char* call) {
    if (handle == nullptr) Abort(call, "null buffer handle (the mapper dereferences it)");
    if (m_freed.count(handle) != 0) Abort(call, "buffer handle already freed (the mapper reads freed memory)");
    auto it = m_buffers.find(handle);
    return it == m_buffers.end() ? nullptr : &it->second;
}

status_t BufferStore::Allocate(uint32_t width, uint32_t height, android::PixelFormat format, uint32_t layerCount,
                               uint64_t usage, buffer_handle_t* outHandle, uint32_t* outStride) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(Call::kAllocate, &status)) return status;
    if (outHandle == nullptr || outStride == nullptr) {
        Abort("GraphicBufferAllocator::allocate", "null handle or stride pointer (the allocator writes through both)");
    }
    // libui's own corrections, before the allocator sees the request.
    if (width == 0 || height == 0) width = height = 1;
    if (std::numeric_limits<uint32_t>::max() / width / height < android::bytesPerPixel(format)) {
        return BAD_VALUE;  // the device's 32-bit size_t cannot hold the size
    }
    if (layerCount == 0) layerCount = 1;
    usage &= ~kRemovedUsageBits;
    // Past this point the allocator answers: libui hands back a null handle
    // and a zero stride with its error, mapped from the allocator's (an
    // invalid usage bit BAD_VALUE, no resources NO_MEMORY, else UNKNOWN_ERROR).
    const auto refuse = [&](status_t error) {
        *outHandle = nullptr;
        *outStride = 0;
        return error;
    };
    if ((usage & ~kValidUsageBits) != 0) return refuse(BAD_VALUE);
    const FormatLayout* layout = FindFormatLayout(format);
    if (layout == nullptr) return refuse(UNKNOWN_ERROR);  // UNSUPPORTED
    // A BLOB buffer is bytes in one row (the camera service asks for the JPEG
    // size x 1), so only its byte size is bounded, as on the device.
    const bool blob = format == HAL_PIXEL_FORMAT_BLOB;
    if ((!blob && (width > kMaxDimension || height > kMaxDimension)) || layerCount > kMaxDimension) {
        return refuse(UNKNOWN_ERROR);  // UNSUPPORTED
    }
    const uint64_t stride = (uint64_t{width} + layout->strideAlign - 1) / layout->strideAlign * layout->strideAlign;
    const uint64_t byteSize = LayerBytes(*layout, stride, height) * layerCount;  // cannot overflow 64 bits here
    if (byteSize > kMaxBufferBytes) return refuse(NO_MEMORY);                    // NO_RESOURCES

    const int fd = memfd_create("zelkov-gralloc", MFD_CLOEXEC);
    if (fd < 0) return refuse(NO_MEMORY);
    native_handle_t* handle = NewHandle(fd);
    void* mapping = MAP_FAILED;
    if (handle != nullptr && ftruncate(fd, static_cast<off_t>(byteSize)) == 0) {
        // Populated now, as a dma-buf heap hands out its pages at allocation:
        // the first lock does not fault every page of the picture in.
        mapping = mmap(nullptr, byteSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd, 0);
    }
    if (mapping == MAP_FAILED) {
        std::free(handle);
        close(fd);
        return refuse(NO_MEMORY);
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

    m_buffers[handle] = Buffer{handle,
                               layout,
                               width,
                               height,
                               static_cast<uint32_t>(stride),
                               byteSize,
                               usage,
                               0,
                               static_cast<uint8_t*>(mapping)};
    m_freed.erase(handle);
    *outHandle = handle;
    *outStride = static_cast<uint32_t>(stride);
    return NO_ERROR;
}

status_t BufferStore::Free(buffer_handle_t handle) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(Call::kFree, &status)) return status;
    const char* call = "GraphicBufferAllocator::free";
    Buffer* buffer = Find(handle, call);
    if (buffer == nullptr) Abort(call, "handle never allocated (the mapper frees what it points to)");
    munmap(buffer->mapping, buffer->byteSize);
    close(buffer->handle->data[0]);
    std::free(buffer->handle);
    m_buffers.erase(handle);
    m_freed.insert(handle);
    return NO_ERROR;
}

// libui returns the mapper's refusal as it is: the positive AIMapper_Error
// value cast to status_t (BAD_BUFFER 2, BAD_VALUE 3), not a status code.
status_t BufferStore::MapForLock(Buffer* buffer, uint32_t usage, const android::Rect& bounds) {
    if (buffer == nullptr) return kMapperBadBuffer;  // never allocated
    // The mapper refuses a lock without CPU access, or for CPU access the
    // buffer was not allocated for.
    const bool readRefused = (usage & kCpuReadMask) != 0 && (buffer->usage & kCpuReadMask) == 0;
    const bool writeRefused = (usage & kCpuWriteMask) != 0 && (buffer->usage & kCpuWriteMask) == 0;
    if ((usage & (kCpuReadMask | kCpuWriteMask)) == 0 || readRefused || writeRefused) return kMapperBadValue;
    // An all-zero region means the whole buffer; any other must lie inside it.
    const bool whole = bounds.left == 0 && bounds.top == 0 && bounds.right == 0 && bounds.bottom == 0;
    if (!whole && (!bounds.isValid() || bounds.left < 0 || bounds.top < 0 ||
                   static_cast<uint32_t>(bounds.right) > buffer->width ||
                   static_cast<uint32_t>(bounds.bottom) > buffer->height)) {
        return kMapperBadValue;
    }
    ++buffer->lockCount;
    return NO_ERROR;
}

status_t BufferStore::Lock(buffer_handle_t handle, uint32_t usage, const android::Rect& bounds, void** vaddr,
                           int32_t* outBytesPerPixel, int32_t* outBytesPerStride) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_lastLock = LockRequest{usage, bounds.left, bounds.top, bounds.right, bounds.bottom};
    status_t status;
    if (TakeFailure(Call::kLock, &status)) return status;
    const char* call = "GraphicBufferMapper::lock";
    Buffer* buffer = Find(handle, call);
    if (vaddr == nullptr) Abort(call, "null vaddr (libui writes the address through it)");
    // libui writes the sizes from the plane layouts before the mapper locks,
    // so a refused lock of a known buffer still writes them.
    if (buffer != nullptr) {
        int32_t bytesPerPixel, bytesPerStride;
        LockedSizes(*buffer->layout, buffer->stride, &bytesPerPixel, &bytesPerStride);
        if (outBytesPerPixel != nullptr) *outBytesPerPixel = bytesPerPixel;
        if (outBytesPerStride != nullptr) *outBytesPerStride = bytesPerStride;
    }
    status = MapForLock(buffer, usage, bounds);
    if (status != NO_ERROR) return status;
    // The address is the buffer's start, whatever the bounds; they only say
    // which pixels the caller means to touch.
    *vaddr = buffer->mapping;
    return NO_ERROR;
}

status_t BufferStore::LockYCbCr(buffer_handle_t handle, uint32_t usage, const android::Rect& bounds,
                                android_ycbcr* ycbcr) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_lastLock = LockRequest{usage, bounds.left, bounds.top, bounds.right, bounds.bottom};
    status_t status;
    if (TakeFailure(Call::kLockYCbCr, &status)) return status;
    if (ycbcr == nullptr) return BAD_VALUE;  // checked before the handle is looked at
    const char* call = "GraphicBufferMapper::lockYCbCr";
    Buffer* buffer = Find(handle, call);
    // The plane layouts are read before locking: a handle the mapper does not
    // know has none, and libui answers as for any metadata it cannot read.
    if (buffer == nullptr) return UNKNOWN_TRANSACTION;
    status = MapForLock(buffer, usage, bounds);
    if (status != NO_ERROR) return status;
    if (m_silentYCbCrLock) return NO_ERROR;
    FillPlanes(*buffer->layout, buffer->mapping, buffer->stride, buffer->height, ycbcr);
    if (m_emptyPlanes) ycbcr->y = ycbcr->cb = ycbcr->cr = nullptr;
    return NO_ERROR;
}

// The platform's unlock reports success whatever the mapper says; a camera
// core that unlocks a buffer it has not locked learns of it here only. The
// mapping stays until free, as on the device: it is MAP_SHARED and the host
// has no non-coherent cache to clean for another user of the buffer.
status_t BufferStore::Unlock(buffer_handle_t handle) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(Call::kUnlock, &status)) return status;
    const char* call = "GraphicBufferMapper::unlock";
    Buffer* buffer = Find(handle, call);
    if (buffer == nullptr || buffer->lockCount == 0) {
        Abort(call, "buffer not locked (the mapper refuses it and libui reports success)");
    }
    --buffer->lockCount;
    return NO_ERROR;
}

status_t BufferStore::GetDimension(Call call, buffer_handle_t handle, uint64_t* out) {
    std::lock_guard<std::mutex> guard(m_lock);
    status_t status;
    if (TakeFailure(call, &status)) return status;
    const char* name = call == Call::kGetWidth ? "GraphicBufferMapper::getWidth" : "GraphicBufferMapper::getHeight";
    if (out == nullptr) Abort(name, "null out-pointer (the answer is written through it)");
    // An unknown handle, null included, has no metadata to read.
    Buffer* buffer = handle == nullptr ? nullptr : Find(handle, name);
    if (buffer == nullptr) return UNKNOWN_TRANSACTION;
    *out = call == Call::kGetWidth ? buffer->width : buffer->height;
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
    for (const auto& entry : m_buffers) locked += entry.second.lockCount > 0 ? 1 : 0;
    return locked;
}

LockRequest BufferStore::LastLockRequest() {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_lastLock;
}

}  // namespace ui
}  // namespace zelkov_platform
