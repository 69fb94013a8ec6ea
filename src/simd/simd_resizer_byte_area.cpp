// Area averaging of interleaved 8-bit data. Each axis has 11 fraction bits of weight: a whole
// source pixel weighs 2048 / scale, so the weights of one destination pixel sum to about 2048 per
// axis and 2^22 over both. The sum is rounded once: (acc + 2^21) >> 22.
//
// The sums are taken modulo 2^32 in unsigned words. On a large enlargement the weights grow with
// 1 / scale and the products wy0 * row(y0) and wy1 * row(y1) may wrap while their difference,
// the value that counts, doesn't. Only the final word is read as signed.
//
// A destination pixel's sum is a double sum over its footprint: over rows y of cy(y) times the sum
// over columns x of cx(x) * s(y, x), where each source row and column has one net coefficient:
// the boundary weight for the first, the whole weight for the others, less the far boundary's
// weight for the last. Integers modulo 2^32 form a ring, so the order of the products and sums
// doesn't change the word: run computes the rows' part once per destination row for every source
// element (a contiguous loop), then each destination pixel's columns from those column sums. Rows
// and columns at the ends of a footprint whose net coefficient is 0 (a boundary on a pixel edge)
// are skipped; they add nothing.
#include <algorithm>
#include <cmath>

#include "simd_math.h"
#include "simd_resizer.h"

namespace Simd::Base {

namespace {

constexpr int kAxisBits = 11;
constexpr float kAxisOne = 2048.0f;  // 2^11
constexpr int kTotalBits = 2 * kAxisBits;
constexpr uint32_t kRound = uint32_t{1} << (kTotalBits - 1);  // 2^21 = 2097152
static_assert(kAxisOne == float(1 << kAxisBits));

// Boundary i lies at source position i * scale. Its weight is the share of the pixel it cuts that
// lies to the right of it, (1 - fraction) * 2048 / scale, truncated; each step rounded to float in
// this order. A boundary exactly at the far edge is (src - 1, 0).
void fillBoundaries(size_t src, size_t dst, int32_t* index, int32_t* weight) {
    const float scale = static_cast<float>(src) / static_cast<float>(dst);
    for (size_t i = 0; i <= dst; ++i) {
        const float pos = static_cast<float>(i) * scale;
        const uint32_t idx = truncToUint32(std::trunc(pos));
        if (idx == src) {
            index[i] = static_cast<int32_t>(src - 1);
            weight[i] = truncToInt32(0.0f / scale);
        } else {
            index[i] = static_cast<int32_t>(idx);
            const float share = 1.0f - (pos - static_cast<float>(idx));
            weight[i] = truncToInt32((share * kAxisOne) / scale);
        }
    }
}

// The source pixels under destination pixel i on one axis, as net coefficients: from boundary i to
// boundary i + 1, the first with the weight of boundary i, the others with the whole weight
// (entry 0), and the last giving back the weight of boundary i + 1. Zero coefficients at either
// end are dropped, so `count` may be 0. coef must have room for index[i + 1] - index[i] + 1.
struct Footprint {
    int32_t first;  // source pixel of coef[0]
    int32_t count;
};
Footprint footprint(const int32_t* index, const int32_t* weight, size_t i, uint32_t* coef) {
    const int32_t x0 = index[i], x1 = index[i + 1];
    const uint32_t whole = static_cast<uint32_t>(weight[0]);
    int32_t n = 0;
    for (int32_t x = x0; x <= x1; ++x) {
        uint32_t c = x == x0 ? static_cast<uint32_t>(weight[i]) : whole;
        if (x == x1) c -= static_cast<uint32_t>(weight[i + 1]);
        coef[n++] = c;
    }
    int32_t begin = 0;
    while (begin < n && coef[begin] == 0) ++begin;
    while (n > begin && coef[n - 1] == 0) --n;
    if (begin > 0) std::copy(coef + begin, coef + n, coef);
    return {x0 + begin, n - begin};
}

// The rows' part: sums[e] = sum over the footprint's rows of cy * s(y, e), for `size` elements,
// two rows at a time. Out of line with __restrict: the sums never overlap the source.
[[gnu::noinline]] void firstRow(const uint8_t* __restrict src, uint32_t coef, size_t size,
                                uint32_t* __restrict sums) {
    for (size_t e = 0; e < size; ++e) sums[e] = coef * src[e];
}
[[gnu::noinline]] void firstRows(const uint8_t* __restrict src0, const uint8_t* __restrict src1,
                                 uint32_t coef0, uint32_t coef1, size_t size,
                                 uint32_t* __restrict sums) {
    for (size_t e = 0; e < size; ++e) sums[e] = coef0 * src0[e] + coef1 * src1[e];
}
// Two rows of one weight (a reduction by a whole factor): the byte sums first, in 16-bit lanes.
[[gnu::noinline]] void firstRowsOneWeight(const uint8_t* __restrict src0,
                                          const uint8_t* __restrict src1, uint32_t coef,
                                          size_t size, uint32_t* __restrict sums) {
    for (size_t e = 0; e < size; ++e) sums[e] = coef * static_cast<uint16_t>(src0[e] + src1[e]);
}
[[gnu::noinline]] void addRow(const uint8_t* __restrict src, uint32_t coef, size_t size,
                              uint32_t* __restrict sums) {
    for (size_t e = 0; e < size; ++e) sums[e] += coef * src[e];
}
[[gnu::noinline]] void addRows(const uint8_t* __restrict src0, const uint8_t* __restrict src1,
                               uint32_t coef0, uint32_t coef1, size_t size,
                               uint32_t* __restrict sums) {
    for (size_t e = 0; e < size; ++e) sums[e] += coef0 * src0[e] + coef1 * src1[e];
}

// The columns' part of one destination row, N channels: every pixel has K taps, at sums[index[dx]
// + k * N + c] with weight[k * width + dx]; footprints shorter than K are padded with zero
// weights. The gather doesn't stop the arithmetic from vectorising.
template <int N, int K>
[[gnu::noinline]] void sumColumns(const uint32_t* __restrict sums, const int32_t* __restrict index,
                                  const uint32_t* __restrict weight, size_t width,
                                  uint8_t* __restrict dst) {
    for (size_t dx = 0; dx < width; ++dx) {
        const uint32_t* s = sums + index[dx];
        for (int c = 0; c < N; ++c) {
            uint32_t acc = kRound;
            for (int k = 0; k < K; ++k) acc += weight[k * width + dx] * s[k * N + c];
            dst[dx * N + c] = static_cast<uint8_t>(static_cast<int32_t>(acc) >> kTotalBits);
        }
    }
}

// The same for any number of taps: one tap at a time over the whole row, into `acc`.
template <int N>
[[gnu::noinline]] void sumColumnsAny(const uint32_t* __restrict sums,
                                     const int32_t* __restrict index,
                                     const uint32_t* __restrict weight, size_t taps, size_t width,
                                     uint32_t* __restrict acc, uint8_t* __restrict dst) {
    for (size_t j = 0; j < width * N; ++j) acc[j] = kRound;
    for (size_t k = 0; k < taps; ++k) {
        const uint32_t* w = weight + k * width;
        for (size_t dx = 0; dx < width; ++dx)
            for (int c = 0; c < N; ++c) acc[dx * N + c] += w[dx] * sums[index[dx] + k * N + c];
    }
    for (size_t j = 0; j < width * N; ++j)
        dst[j] = static_cast<uint8_t>(static_cast<int32_t>(acc[j]) >> kTotalBits);
}

using SumColumns = void (*)(const uint32_t*, const int32_t*, const uint32_t*, size_t, uint8_t*);

template <int N>
SumColumns sumColumnsFor(size_t taps) {
    switch (taps) {
        case 1:
            return sumColumns<N, 1>;
        case 2:
            return sumColumns<N, 2>;
        case 3:
            return sumColumns<N, 3>;
        case 4:
            return sumColumns<N, 4>;
        default:
            return nullptr;
    }
}

// One destination row of N channels from its column sums.
template <int N>
void sumRow(const uint32_t* sums, const int32_t* index, const uint32_t* weight, size_t taps,
            size_t width, uint32_t* acc, uint8_t* dst) {
    if (const SumColumns kernel = sumColumnsFor<N>(taps))
        kernel(sums, index, weight, width, dst);
    else
        sumColumnsAny<N>(sums, index, weight, taps, width, acc, dst);
}

}  // namespace

ResizerByteArea::ResizerByteArea(const ResizerParam& param) : Resizer(param) {
    _y_weight.resize(static_cast<size_t>(_param.dst_height) + 1);
    _y_index.resize(static_cast<size_t>(_param.dst_height) + 1);
    fillBoundaries(_param.src_height, _param.dst_height, _y_index.data, _y_weight.data);
    _x_weight.resize(static_cast<size_t>(_param.dst_width) + 1);
    _x_index.resize(static_cast<size_t>(_param.dst_width) + 1);
    fillBoundaries(_param.src_width, _param.dst_width, _x_index.data, _x_weight.data);
}

void ResizerByteArea::run(const uint8_t* src, size_t src_stride, uint8_t* dst, size_t dst_stride) {
    const size_t channels = _param.channels;
    const size_t width = _param.dst_width, height = _param.dst_height;
    if (channels < 1 || channels > 4 || width == 0 || height == 0)
        return;  // other channel counts leave the destination untouched

    // The column footprints, the same for every row, first as lists of coefficients (a footprint
    // spans index[i + 1] - index[i] + 1 pixels, so src + dst entries at most), then as K taps per
    // output element. Scratch that fails to allocate leaves the destination untouched.
    const int32_t* x_index = _x_index.data;
    const int32_t* x_weight = _x_weight.data;
    AlignedArray<int32_t> first_column, column_count;
    AlignedArray<uint32_t> coefs;
    first_column.resize(width);
    column_count.resize(width);
    coefs.resize(static_cast<size_t>(x_index[width] - x_index[0]) + width + 1);
    if (!first_column.data || !column_count.data || !coefs.data) return;
    size_t taps = 1, used_columns = 0;
    for (size_t dx = 0, start = 0; dx < width; ++dx) {
        const Footprint f = footprint(x_index, x_weight, dx, coefs.data + start);
        // An empty footprint (every pixel weighs 0 when the source is more than 2048 times wider)
        // still gets taps, of weight 0: they read column 0, which the sums always hold.
        first_column[dx] = f.count ? f.first : 0;
        column_count[dx] = f.count;
        start += static_cast<size_t>(f.count);
        taps = std::max(taps, static_cast<size_t>(f.count));
        if (f.count) used_columns = std::max(used_columns, static_cast<size_t>(f.first + f.count));
    }
    AlignedArray<int32_t> tap_index;
    AlignedArray<uint32_t> tap_weight, acc;
    tap_index.resize(width);
    tap_weight.resize(taps * width);
    if (!tap_index.data || !tap_weight.data) return;
    for (size_t dx = 0, start = 0; dx < width; ++dx) {
        const size_t count = static_cast<size_t>(column_count[dx]);
        tap_index[dx] = static_cast<int32_t>(static_cast<size_t>(first_column[dx]) * channels);
        for (size_t k = 0; k < taps; ++k)
            tap_weight[k * width + dx] = k < count ? coefs[start + k] : 0u;
        start += count;
    }

    // The column sums of one destination row. The padding taps read up to taps - 1 pixels past
    // the columns in use, with weight 0: they hold zeros.
    const size_t row_elements = used_columns * channels;
    AlignedArray<uint32_t> sums, row_coefs;
    sums.resize(row_elements + taps * channels);
    row_coefs.resize(static_cast<size_t>(_y_index[height] - _y_index[0]) + 1);
    if (taps > 4) acc.resize(width * channels);
    if (!sums.data || !row_coefs.data || (taps > 4 && !acc.data)) return;
    std::fill(sums.data, sums.data + sums.size, 0u);

    for (size_t dy = 0; dy < height; ++dy, dst += dst_stride) {
        const Footprint rows = footprint(_y_index.data, _y_weight.data, dy, row_coefs.data);
        if (rows.count == 0) std::fill(sums.data, sums.data + row_elements, 0u);
        for (int32_t k = 0; k < rows.count; k += 2) {
            const uint8_t* s0 = src + static_cast<size_t>(rows.first + k) * src_stride;
            const uint32_t c0 = row_coefs[k];
            if (k + 1 < rows.count) {
                const uint8_t* s1 = s0 + src_stride;
                const uint32_t c1 = row_coefs[k + 1];
                if (k == 0 && c0 == c1)
                    firstRowsOneWeight(s0, s1, c0, row_elements, sums.data);
                else if (k == 0)
                    firstRows(s0, s1, c0, c1, row_elements, sums.data);
                else
                    addRows(s0, s1, c0, c1, row_elements, sums.data);
            } else if (k == 0) {
                firstRow(s0, c0, row_elements, sums.data);
            } else {
                addRow(s0, c0, row_elements, sums.data);
            }
        }
        const int32_t* ti = tap_index.data;
        const uint32_t* tw = tap_weight.data;
        withChannelCount(
            channels,
            [&](auto n) {
                sumRow<decltype(n)::value>(sums.data, ti, tw, taps, width, acc.data, dst);
            },
            [] {});
    }
}

}  // namespace Simd::Base
