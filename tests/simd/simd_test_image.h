// Test images for the kernels: padding between rows and a guard zone before the first row and after
// the last, all holding a fill value. Reads just before a row stay inside the allocation, and
// writes outside the pixels show up as changed fill.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace simd_test {

template <class T>
struct Image {
    static constexpr size_t kGuard = 64;  // elements before and after the rows

    size_t width, height, channels, stride;  // stride in elements
    T fill;
    std::vector<T> mem;

    Image(size_t w, size_t h, size_t c = 1, size_t pad = 3, T fill_value = T(0xA5))
        : width(w),
          height(h),
          channels(c),
          stride(w * c + pad),
          fill(fill_value),
          mem(2 * kGuard + stride * h, fill_value) {}

    T* data() { return mem.data() + kGuard; }
    uint8_t* bytes() { return reinterpret_cast<uint8_t*>(data()); }
    size_t strideBytes() const { return stride * sizeof(T); }
    T& at(size_t x, size_t y, size_t c = 0) { return mem[kGuard + y * stride + x * channels + c]; }

    template <class Dist = std::uniform_int_distribution<int>>
    void randomize(std::mt19937& rng, Dist dist = Dist(0, 255)) {
        for (size_t y = 0; y < height; ++y)
            for (size_t i = 0; i < width * channels; ++i) data()[y * stride + i] = T(dist(rng));
    }

    // Every element that isn't a pixel still holds the fill value.
    bool outsideUntouched() const {
        for (size_t i = 0; i < mem.size(); ++i) {
            const size_t j = i - kGuard;  // wraps for the front guard: counts as outside
            const bool pixel = i >= kGuard && j < stride * height && j % stride < width * channels;
            if (!pixel && !(mem[i] == fill)) return false;
        }
        return true;
    }
};

using ByteImage = Image<uint8_t>;

}  // namespace simd_test
