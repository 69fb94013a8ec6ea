// Size and Rect: the geometry value types of frames and regions.
#pragma once

#include <cstdint>

namespace zq {

/// A width and a height in pixels. A size with a non-positive side is empty.
struct Size {
    int32_t width = 0;
    int32_t height = 0;

    constexpr Size() = default;
    constexpr Size(int32_t w, int32_t h) : width(w), height(h) {}

    constexpr bool empty() const { return width <= 0 || height <= 0; }
    constexpr bool operator==(const Size& o) const {
        return width == o.width && height == o.height;
    }
    constexpr bool operator!=(const Size& o) const { return !(*this == o); }
};

/// A region: left edge x, top edge y, width and height, in pixels of the
/// frame's full-size plane. Wherever the library takes a region, one with a
/// non-positive width or height stands for the whole frame.
class Rect {
public:
    constexpr Rect() = default;
    constexpr Rect(int32_t x, int32_t y, int32_t width, int32_t height)
        : _x(x), _y(y), _width(width), _height(height) {}

    constexpr int32_t x() const { return _x; }
    constexpr int32_t y() const { return _y; }
    constexpr int32_t width() const { return _width; }
    constexpr int32_t height() const { return _height; }
    constexpr Size size() const { return Size(_width, _height); }

    /// True when the width or the height is below 1.
    constexpr bool empty() const { return _width < 1 || _height < 1; }

    /// Clips the region in place to the rectangle (0, 0, size). Negative x or y
    /// are clipped to 0 (the part left of or above the frame is cut off). A
    /// region without overlap becomes the all-zero, empty rectangle.
    constexpr void crop(const Size& size) {
        int64_t x0 = _x, y0 = _y;
        int64_t x1 = x0 + _width, y1 = y0 + _height;
        if (x0 < 0) x0 = 0;
        if (y0 < 0) y0 = 0;
        if (x1 > size.width) x1 = size.width;
        if (y1 > size.height) y1 = size.height;
        if (_width < 1 || _height < 1 || x1 <= x0 || y1 <= y0) {
            *this = Rect();
            return;
        }
        *this = Rect(int32_t(x0), int32_t(y0), int32_t(x1 - x0), int32_t(y1 - y0));
    }

    constexpr bool operator==(const Rect& o) const {
        return _x == o._x && _y == o._y && _width == o._width && _height == o._height;
    }
    constexpr bool operator!=(const Rect& o) const { return !(*this == o); }

private:
    int32_t _x = 0;
    int32_t _y = 0;
    int32_t _width = 0;
    int32_t _height = 0;
};

}  // namespace zq
