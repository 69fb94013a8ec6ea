// Bilinear resizing of interleaved 8-bit data in fixed point. Horizontal values carry 4 fraction
// bits and are not rounded; the vertical blend adds 4 more, and the result is rounded once:
// (value + 128) >> 8. All arithmetic is signed 32-bit and cannot overflow: a filtered row holds at
// most 255 * 16 = 4080, a blended value at most 4080 * 16 + 128 = 65408.
//
// With no rounding between the axes, the value before the final shift is the bilinear form
// (16 - fx)(16 - fy) a0 + fx (16 - fy) b0 + (16 - fx) fy a1 + fx fy b1, the same whichever axis is
// filtered first. An enlargement filters rows first: each source row is filtered once and reused
// by the destination rows that share it. A reduction (or equal height) blends the two source rows
// first, over the elements the horizontal taps reach, in 16-bit lanes (0..4080), so each
// destination row takes one horizontal pass instead of up to two.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>

#include "simd_math.h"
#include "simd_resizer.h"

namespace Simd::Base {

namespace {

constexpr int kAxisBits = 4;                // fraction bits on each axis
constexpr int32_t kWhole = 1 << kAxisBits;  // 16: the full weight
constexpr int kTotalBits = 2 * kAxisBits;   // 8 fraction bits after both axes
static_assert(255 * kWhole * kWhole + (1 << (kTotalBits - 1)) < (1 << 30));

struct IndexWeight {
    int32_t index;   // left or upper neighbour; the other one is index + 1
    int32_t weight;  // of the other neighbour, 0..16
};

// Centres of pixels aligned: pos = scale * (i + 0.5) - 0.5 with a single rounding. The lower clamp
// repeats the first pixel; the upper clamp keeps both neighbours inside the source and hands the
// whole weight to the right one. For src = 1 this gives index -1, weight 16.
IndexWeight mapCentre(float scale, int32_t src, size_t i) {
    const float pos = std::fmaf(scale, static_cast<float>(i) + 0.5f, -0.5f);
    IndexWeight iw{truncToInt32(std::floor(pos)), 0};
    float frac = 0.0f;
    if (iw.index < 0)
        iw.index = 0;
    else
        frac = pos - static_cast<float>(iw.index);
    if (iw.index >= src - 1) {
        iw.index = src - 2;
        iw.weight = kWhole;
    } else {
        // frac * 16 rounded half up, in one fused step.
        iw.weight = truncToInt32(std::fmaf(frac, static_cast<float>(kWhole), 0.5f));
    }
    return iw;
}

// a * 16 + w * (b - a), with b the same channel of the next pixel. Offsets may be negative (a
// one-pixel-wide source reads the pixel before the row, whose share is then 0).
void filterRow(const uint8_t* src, const int32_t* index, const int32_t* weight, size_t size,
               ptrdiff_t channels, int32_t* dst) {
    for (size_t j = 0; j < size; ++j) {
        const uint8_t* p = src + index[j];
        const int32_t a = p[0];
        const int32_t b = p[channels];
        dst[j] = a * kWhole + weight[j] * (b - a);
    }
}

// The same for C channels known at compile time, a pixel at a time. The tables of a pixel's
// channels hold index + c and one weight (they are filled that way), so the pixel's first entry
// serves all C, and the neighbour lies a constant C bytes further on.
template <int C>
void filterRowC(const uint8_t* src, const int32_t* index, const int32_t* weight, size_t size,
                int32_t* dst) {
    for (size_t j = 0; j < size; j += C) {
        const uint8_t* p = src + index[j];
        const int32_t w = weight[j];
        for (int c = 0; c < C; ++c) {
            const int32_t a = p[c];
            const int32_t b = p[C + c];
            dst[j + c] = a * kWhole + w * (b - a);
        }
    }
}

void filterRowAny(const uint8_t* src, const int32_t* index, const int32_t* weight, size_t size,
                  size_t channels, int32_t* dst) {
    withChannelCount(
        channels, [&](auto c) { filterRowC<decltype(c)::value>(src, index, weight, size, dst); },
        [&] { filterRow(src, index, weight, size, static_cast<ptrdiff_t>(channels), dst); });
}

// The vertical step: plain loops over contiguous words, vectorised. The row buffers never overlap
// the destination; the kernels stay out of line so that the compiler keeps that fact.

// One row with the full vertical weight: (row * 16 + 128) >> 8.
[[gnu::noinline]] void storeRow(const int32_t* __restrict row, size_t size,
                                uint8_t* __restrict dst) {
    forEachElement(size, [=](size_t j) {
        dst[j] = static_cast<uint8_t>(shiftRound<kTotalBits>(row[j] * kWhole));
    });
}

// (row0 * 16 + fy * (row1 - row0) + 128) >> 8, with 0 < fy < 16.
[[gnu::noinline]] void blendRows(const int32_t* __restrict row0, const int32_t* __restrict row1,
                                 int32_t fy, size_t size, uint8_t* __restrict dst) {
    forEachElement(size, [=](size_t j) {
        dst[j] = static_cast<uint8_t>(
            shiftRound<kTotalBits>(row0[j] * kWhole + fy * (row1[j] - row0[j])));
    });
}

// ------------------------------------------------------------ vertical blend first

// The vertical blend: a * 16 + fy * (b - a), 0..4080, in 16-bit lanes. row0 and row1 start at the
// first element the horizontal taps read.
[[gnu::noinline]] void blendColumns(const uint8_t* __restrict row0, const uint8_t* __restrict row1,
                                    int32_t fy, size_t size, uint16_t* __restrict blend) {
    for (size_t e = 0; e < size; ++e)
        blend[e] = static_cast<uint16_t>(row0[e] * kWhole + fy * (row1[e] - row0[e]));
}
// The whole weight on one row, fy 0 or 16: a * 16, and the other row is not read (a one-row
// source has none).
[[gnu::noinline]] void scaleColumns(const uint8_t* __restrict row, size_t size,
                                    uint16_t* __restrict blend) {
    for (size_t e = 0; e < size; ++e) blend[e] = static_cast<uint16_t>(row[e] * kWhole);
}

// Blended element e and its right neighbour e + C in one load of the blend row, so that each output
// element costs one gathered load: 32 bits for C = 1, 64 bits for C = 2 and 3 (the neighbour in the
// top bits for 3; the scratch row has room after its end for the bits above it for 1 and 2).
// The pair loads below take the lower address as the low half.
static_assert(std::endian::native == std::endian::little);

template <int C>
struct NeighbourPair {
    static_assert(C >= 1 && C <= 3);
    using Word = std::conditional_t<C == 1, uint32_t, uint64_t>;
    static void load(const uint16_t* p, int32_t& a, int32_t& b) {
        Word w;
        std::memcpy(&w, p, sizeof(w));
        a = static_cast<int32_t>(w & 0xFFFF);
        b = static_cast<int32_t>((w >> (16 * C)) & 0xFFFF);
    }
};

// The horizontal step on a blended row: (a * 16 + fx * (b - a) + 128) >> 8 for each element, with
// `index` (counted from the first element read) and `weight` per pixel.
template <int C>
[[gnu::noinline]] void filterBlend(const uint16_t* __restrict blend,
                                   const int32_t* __restrict index,
                                   const int32_t* __restrict weight, size_t width,
                                   uint8_t* __restrict dst) {
    for (size_t i = 0; i < width; ++i) {
        const uint16_t* p = blend + index[i];
        const int32_t w = weight[i];
        for (int c = 0; c < C; ++c) {
            int32_t a, b;
            if constexpr (C <= 3) {
                NeighbourPair<C>::load(p + c, a, b);
            } else {
                a = p[c];
                b = p[c + C];
            }
            dst[i * C + c] = static_cast<uint8_t>(shiftRound<kTotalBits>(a * kWhole + w * (b - a)));
        }
    }
}
// Any channel count: the tables per element.
[[gnu::noinline]] void filterBlendAny(const uint16_t* __restrict blend,
                                      const int32_t* __restrict index,
                                      const int32_t* __restrict weight, size_t size,
                                      ptrdiff_t channels, uint8_t* __restrict dst) {
    for (size_t j = 0; j < size; ++j) {
        const int32_t a = blend[index[j]], b = blend[index[j] + channels];
        dst[j] = static_cast<uint8_t>(shiftRound<kTotalBits>(a * kWhole + weight[j] * (b - a)));
    }
}

}  // namespace

ResizerByteBilinear::ResizerByteBilinear(const ResizerParam& param) : Resizer(param) {
    const size_t dst = _param.dst_height;
    if (dst == 0) return;
    _y_weight.resize(dst);
    _y_index.resize(dst);
    const float scale = static_cast<float>(_param.src_height) / static_cast<float>(dst);
    const int32_t src = static_cast<int32_t>(_param.src_height);
    for (size_t i = 0; i < dst; ++i) {
        const IndexWeight iw = mapCentre(scale, src, i);
        _y_index[i] = iw.index;
        _y_weight[i] = iw.weight;
    }
}

void ResizerByteBilinear::run(const uint8_t* src, size_t src_stride, uint8_t* dst,
                              size_t dst_stride) {
    const size_t channels = _param.channels;
    const size_t row_size = static_cast<size_t>(_param.dst_width) * channels;
    if (_x_weight.data == nullptr) {
        _x_weight.resize(row_size);
        _x_index.resize(row_size);
        const float scale =
            static_cast<float>(_param.src_width) / static_cast<float>(_param.dst_width);
        const int32_t src_width = static_cast<int32_t>(_param.src_width);
        const int32_t ch = static_cast<int32_t>(channels);
        for (size_t i = 0; i < _param.dst_width; ++i) {
            const IndexWeight iw = mapCentre(scale, src_width, i);
            for (int32_t c = 0; c < ch; ++c) {
                _x_index[i * channels + c] = iw.index * ch + c;
                _x_weight[i * channels + c] = iw.weight;
            }
        }
    }
    if (_param.dst_height == 0 || row_size == 0) return;
    if (_param.src_height >= _param.dst_height) {
        runVerticalFirst(src, src_stride, dst, dst_stride);
        return;
    }
    _row_buffer[0].resize(row_size);
    _row_buffer[1].resize(row_size);

    int32_t* row0 = _row_buffer[0].data;
    int32_t* row1 = _row_buffer[1].data;
    int32_t prev = -2;
    for (size_t dy = 0; dy < _param.dst_height; ++dy, dst += dst_stride) {
        const int32_t sy = _y_index[dy];
        const int32_t fy = _y_weight[dy];
        if (sy != prev) {
            // A step of one keeps the former lower row as the upper one and filters one row;
            // a larger step filters both; a repeated sy filters none.
            int k = 0;
            if (sy == prev + 1) {
                std::swap(row0, row1);
                k = 1;
            }
            for (; k < 2; ++k)
                filterRowAny(src + static_cast<size_t>(sy + k) * src_stride, _x_index.data,
                             _x_weight.data, row_size, channels, k == 0 ? row0 : row1);
        }
        prev = sy;
        // The full-weight cases read one buffer only: the other may be stale or, in the first
        // rows of a one-row source, never written.
        if (fy == 0)
            storeRow(row0, row_size, dst);
        else if (fy == kWhole)
            storeRow(row1, row_size, dst);
        else
            blendRows(row0, row1, fy, row_size, dst);
    }
}

// Blends the two source rows of each destination row, then filters the blend horizontally.
void ResizerByteBilinear::runVerticalFirst(const uint8_t* src, size_t src_stride, uint8_t* dst,
                                           size_t dst_stride) {
    const size_t channels = _param.channels, width = _param.dst_width;
    const size_t row_size = width * channels;
    // The taps read elements first..last of a source row: the tables rise with the column, and a
    // one-pixel-wide source starts one pixel before the row, as the filter always did.
    const ptrdiff_t first = _x_index[0];
    const ptrdiff_t last = _x_index[row_size - 1] + static_cast<ptrdiff_t>(channels);
    const size_t count = static_cast<size_t>(last - first) + 1;
    constexpr size_t kLoadRoom = 3;  // 16-bit elements a 64-bit load may reach past the last
    AlignedArray<uint16_t> blend;
    AlignedArray<int32_t> index, weight;
    blend.resize(count + kLoadRoom);
    const bool per_pixel = channels <= 4;
    index.resize(per_pixel ? width : row_size);
    weight.resize(per_pixel ? width : row_size);
    if (!blend.data || !index.data || !weight.data) return;  // scratch failed: nothing written
    std::fill(blend.data + count, blend.data + count + kLoadRoom, uint16_t{0});
    const size_t step = per_pixel ? channels : 1;
    for (size_t i = 0; i < index.size; ++i) {
        index[i] = static_cast<int32_t>(_x_index[i * step] - first);
        weight[i] = _x_weight[i * step];
    }

    // Source row y from its first element read. Only rows that are read are addressed: a one-row
    // source has sy = -1 with the whole weight on row 0.
    auto sourceRow = [&](ptrdiff_t y) {
        return src + y * static_cast<ptrdiff_t>(src_stride) + first;
    };
    for (size_t dy = 0; dy < _param.dst_height; ++dy, dst += dst_stride) {
        const ptrdiff_t sy = _y_index[dy];
        const int32_t fy = _y_weight[dy];
        if (fy == 0)
            scaleColumns(sourceRow(sy), count, blend.data);
        else if (fy == kWhole)
            scaleColumns(sourceRow(sy + 1), count, blend.data);
        else
            blendColumns(sourceRow(sy), sourceRow(sy + 1), fy, count, blend.data);
        withChannelCount(
            channels,
            [&](auto c) {
                filterBlend<decltype(c)::value>(blend.data, index.data, weight.data, width, dst);
            },
            [&] {
                filterBlendAny(blend.data, index.data, weight.data, row_size,
                               static_cast<ptrdiff_t>(channels), dst);
            });
    }
}

}  // namespace Simd::Base
