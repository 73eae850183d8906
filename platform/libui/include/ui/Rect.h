#ifndef ANDROID_UI_RECT_H
#define ANDROID_UI_RECT_H

#include <stdint.h>

namespace android {

// A rectangle in pixels, laid out as the platform's ARect: left, top, right,
// bottom, each a signed 32-bit integer; right and bottom are exclusive.
class Rect {
public:
    static const Rect INVALID_RECT;  // (0, 0, -1, -1)
    static const Rect EMPTY_RECT;    // (0, 0, 0, 0)

    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;

    // As on the platform, a default rectangle is invalid, not empty.
    Rect() : Rect(INVALID_RECT) {}
    // constexpr: the two constants above are set before any dynamic initialisation.
    constexpr Rect(int32_t w, int32_t h) : left(0), top(0), right(w), bottom(h) {}
    // Unsigned sizes past INT32_MAX are clamped to it, as on the platform.
    constexpr Rect(uint32_t w, uint32_t h)
        : left(0),
          top(0),
          right(static_cast<int32_t>(w > INT32_MAX ? INT32_MAX : w)),
          bottom(static_cast<int32_t>(h > INT32_MAX ? INT32_MAX : h)) {}
    constexpr Rect(int32_t l, int32_t t, int32_t r, int32_t b) : left(l), top(t), right(r), bottom(b) {}

    int32_t getWidth() const { return right - left; }
    int32_t getHeight() const { return bottom - top; }
    int32_t width() const { return getWidth(); }
    int32_t height() const { return getHeight(); }
    bool isValid() const { return left <= right && top <= bottom; }
    bool isEmpty() const { return left >= right || top >= bottom; }
};

}  // namespace android

#endif
