// Bilinear resizing of interleaved 32-bit float data. Each blend is a * (1 - f) + (f * b) with the
// product f * b rounded first and the rest done by one fused multiply-add. No case is special: a
// weight of 1.0 still multiplies the other neighbour by 0.0, so an infinity or NaN there spreads.
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

#include "simd_math.h"
#include "simd_resizer.h"

namespace Simd::Base {

namespace {

// Source and destination rows may lie at any address (loadAt, storeAt); the tables and row
// buffers are the resizer's own, aligned.
float blend(float a, float b, float f) {
    return std::fmaf(a, 1.0f - f, f * b);
}

// a and b are the same channel of neighbouring pixels; offsets may be negative (a one-pixel-wide
// source reads the pixel before the row, with weight 0.0).
void filterRow(const float* src, const int32_t* index, const float* weight, size_t size,
               ptrdiff_t channels, float* __restrict dst) {
    for (size_t j = 0; j < size; ++j) {
        const float* p = src + index[j];
        dst[j] = blend(loadAt(p, 0), loadAt(p, channels), weight[j]);
    }
}

// The same for C channels known at compile time, a pixel at a time: the pixel's first table entry
// serves its C channels (they hold index + c and one weight), and the neighbour lies C further on.
template <int C>
[[gnu::noinline]] void filterRowC(const float* src, const int32_t* __restrict index,
                                  const float* __restrict weight, size_t size,
                                  float* __restrict dst) {
    for (size_t j = 0; j < size; j += C) {
        const float* p = src + index[j];
        const float f = weight[j];
        for (int c = 0; c < C; ++c) dst[j + c] = blend(loadAt(p, c), loadAt(p, C + c), f);
    }
}

// The pair loads below take the lower address as the low half.
static_assert(std::endian::native == std::endian::little);

#if defined(__FMA__)
// One channel: the two neighbours are adjacent, one 64-bit load. Where the fused multiply-add is
// a vector instruction the loop vectorises, and one gathered load per element beats two; without
// it each fmaf is a call and the plain form above is as fast.
template <>
[[gnu::noinline]] void filterRowC<1>(const float* src, const int32_t* __restrict index,
                                     const float* __restrict weight, size_t size,
                                     float* __restrict dst) {
    for (size_t j = 0; j < size; ++j) {
        uint64_t pair;
        std::memcpy(&pair, src + index[j], sizeof(pair));
        const float a = std::bit_cast<float>(static_cast<uint32_t>(pair));
        const float b = std::bit_cast<float>(static_cast<uint32_t>(pair >> 32));
        dst[j] = blend(a, b, weight[j]);
    }
}
#endif

void filterRowAny(const float* src, const int32_t* index, const float* weight, size_t size,
                  size_t channels, float* dst) {
    withChannelCount(
        channels, [&](auto c) { filterRowC<decltype(c)::value>(src, index, weight, size, dst); },
        [&] { filterRow(src, index, weight, size, static_cast<ptrdiff_t>(channels), dst); });
}

[[gnu::noinline]] void blendRows(const float* __restrict row0, const float* __restrict row1,
                                 float fy, size_t size, float* dst) {
    for (size_t j = 0; j < size; ++j) storeAt(dst, j, std::fmaf(1.0f - fy, row0[j], fy * row1[j]));
}

}  // namespace

void estimateIndexWeight(const ResizerParam& param, size_t src, size_t dst, size_t channels,
                         int32_t* index, float* weight) {
    const int32_t last = static_cast<int32_t>(src) - 1;
    float scale;
    switch (param.method) {
        case ResizerMethodBilinear:
        case ResizerMethodBilinearOrigin:
            scale = static_cast<float>(src) / static_cast<float>(dst);
            break;
        case ResizerMethodBilinearCorners:
            if (dst == 0) return;
            // First and last pixels aligned; one destination pixel takes the first source pixel.
            scale = dst >= 2 ? static_cast<float>(src - 1) / static_cast<float>(dst - 1) : 0.0f;
            break;
        default:
            return;
    }
    for (size_t i = 0; i < dst; ++i) {
        int32_t idx;
        float frac;
        if (param.method == ResizerMethodBilinearCorners) {
            // pos = i * scale never falls below 0.
            const float pos = static_cast<float>(i) * scale;
            idx = truncToInt32(std::floor(pos));
            frac = pos - static_cast<float>(idx);
        } else {
            // Centres aligned: pos = scale * (i + 0.5) - 0.5, one rounding; origins aligned:
            // pos = i * scale, truncated.
            float pos;
            if (param.method == ResizerMethodBilinear) {
                pos = std::fmaf(scale, static_cast<float>(i) + 0.5f, -0.5f);
                idx = truncToInt32(std::floor(pos));
            } else {
                pos = static_cast<float>(i) * scale;
                idx = truncToInt32(std::trunc(pos));
            }
            frac = 0.0f;
            if (idx < 0)
                idx = 0;
            else
                frac = pos - static_cast<float>(idx);
        }
        // Keep both neighbours inside; the right one takes the whole weight.
        if (idx >= last) {
            idx = last - 1;
            frac = 1.0f;
        }
        const int32_t ch = static_cast<int32_t>(channels);
        for (int32_t c = 0; c < ch; ++c) {
            index[i * channels + c] = idx * ch + c;
            weight[i * channels + c] = frac;
        }
    }
}

ResizerFloatBilinear::ResizerFloatBilinear(const ResizerParam& param) : Resizer(param) {
    const size_t align = (_param.alignment + 3) & ~size_t{3};
    const size_t dst_height = _param.dst_height;
    _y_weight.resize(dst_height, align);
    _y_index.resize(dst_height, align);
    if (dst_height != 0)
        estimateIndexWeight(_param, _param.src_height, dst_height, 1, _y_index.data,
                            _y_weight.data);
    const size_t row_size = static_cast<size_t>(_param.dst_width) * _param.channels;
    _x_index.resize(row_size, align);
    _x_weight.resize(row_size, align);
    estimateIndexWeight(_param, _param.src_width, _param.dst_width, _param.channels, _x_index.data,
                        _x_weight.data);
    _row_buffer[0].resize(row_size, align);
    _row_buffer[1].resize(row_size, align);
    // A one-row source never fills the upper buffer, yet multiplies it by 0.0. Start both at 0.0
    // so that this reads defined, finite values rather than whatever the allocator left.
    for (AlignedArray<float>& buffer : _row_buffer)
        if (buffer.data) std::memset(buffer.data, 0, buffer.size * sizeof(float));
}

void ResizerFloatBilinear::run(const uint8_t* src, size_t src_stride, uint8_t* dst,
                               size_t dst_stride) {
    // Strides that aren't a multiple of 4 bytes lose their remainder. The pointers keep whatever
    // alignment they have: the float run loads and stores through memcpy.
    run(reinterpret_cast<const float*>(src), src_stride >> 2, reinterpret_cast<float*>(dst),
        dst_stride >> 2);
}

void ResizerFloatBilinear::run(const float* src, size_t src_stride, float* dst, size_t dst_stride) {
    float* row0 = _row_buffer[0].data;
    float* row1 = _row_buffer[1].data;
    int32_t prev = -2;
    if (_param.dst_height == 0) return;
    const size_t row_size = static_cast<size_t>(_param.dst_width) * _param.channels;
    for (size_t dy = 0; dy < _param.dst_height; ++dy, dst += dst_stride) {
        const int32_t sy = _y_index[dy];
        const float fy = _y_weight[dy];
        if (sy != prev) {
            // Row reuse as in the byte class: a step of one filters one row, a repeat none.
            int k = 0;
            if (sy == prev + 1) {
                std::swap(row0, row1);
                k = 1;
            }
            for (; k < 2; ++k)
                filterRowAny(src + static_cast<size_t>(sy + k) * src_stride, _x_index.data,
                             _x_weight.data, row_size, _param.channels, k == 0 ? row0 : row1);
        }
        prev = sy;
        blendRows(row0, row1, fy, row_size, dst);
    }
}

}  // namespace Simd::Base
