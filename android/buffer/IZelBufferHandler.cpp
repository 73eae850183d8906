#include <android/buffer/IZelBufferHandler.h>

#include <cstdint>

#include <ui/GraphicBufferAllocator.h>
#include <ui/GraphicBufferMapper.h>

#include "android/buffer/internal/ZelBufferHandler.h"

namespace zelkov {

IZelBufferHandler::~IZelBufferHandler() = default;

IZelBufferHandler* IZelBufferHandler::Create() {
    android::GraphicBufferMapper* mapper = &android::GraphicBufferMapper::getInstance();
    android::GraphicBufferAllocator* allocator = &android::GraphicBufferAllocator::getInstance();
    return new ZelBufferHandler(mapper, allocator);
}

int IZelBufferHandler::FindYuvFormat(void* cb, void* cr, unsigned int chromaStep) {
    const std::uintptr_t cbAddress = reinterpret_cast<std::uintptr_t>(cb);
    const std::uintptr_t crAddress = reinterpret_cast<std::uintptr_t>(cr);
    switch (chromaStep) {
        case 4: return crAddress == cbAddress + 2 ? 5 : 1000;
        case 2:
            if (crAddress == cbAddress + 1) return 0;
            if (cbAddress == crAddress + 1) return 1;
            return 1000;
        case 1: return crAddress < cbAddress ? 2 : 3;
        default: return 1000;
    }
}

}  // namespace zelkov
