// Area averaging of interleaved 8-bit data. Each axis has 11 fraction bits of weight: a whole
// source pixel weighs 2048 / scale, so the weights of one destination pixel sum to about 2048 per
// axis and 2^22 over both. The sum is rounded once: (acc + 2^21) >> 22.
//
// The sums are taken modulo 2^32 in unsigned words. On a large enlargement the weights grow with
// 1 / scale and the products wy0 * row(y0) and wy1 * row(y1) may wrap while their difference,
// the value that counts, doesn't. Only the final word is read as signed.
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

struct AreaTables {
    const int32_t* x_index;
    const int32_t* x_weight;
    const int32_t* y_index;
    const int32_t* y_weight;
};

// One loop per channel count, so that the N channel sums stay in locals.
template <int N>
void resizeArea(const ResizerParam& p, const AreaTables& t, const uint8_t* src, size_t src_stride,
                uint8_t* dst, size_t dst_stride) {
    const uint32_t wy = static_cast<uint32_t>(t.y_weight[0]);  // a whole source row
    const uint32_t wx = static_cast<uint32_t>(t.x_weight[0]);  // a whole source pixel
    for (size_t dy = 0; dy < p.dst_height; ++dy, dst += dst_stride) {
        const int32_t y0 = t.y_index[dy], y1 = t.y_index[dy + 1];
        const uint32_t wy0 = static_cast<uint32_t>(t.y_weight[dy]);
        const uint32_t wy1 = static_cast<uint32_t>(t.y_weight[dy + 1]);
        for (size_t dx = 0; dx < p.dst_width; ++dx) {
            const int32_t x0 = t.x_index[dx], x1 = t.x_index[dx + 1];
            const uint32_t wx0 = static_cast<uint32_t>(t.x_weight[dx]);
            const uint32_t wx1 = static_cast<uint32_t>(t.x_weight[dx + 1]);
            // Row sum: the first pixel with its partial share, the rest whole; the last one then
            // gives back wx1, leaving its partial share.
            uint32_t row[N];
            auto rowSum = [&](int32_t y) {
                const uint8_t* s = src + static_cast<size_t>(y) * src_stride;
                for (int c = 0; c < N; ++c) row[c] = s[x0 * N + c] * wx0;
                for (int32_t x = x0 + 1; x <= x1; ++x)
                    for (int c = 0; c < N; ++c) row[c] += s[x * N + c] * wx;
                for (int c = 0; c < N; ++c) row[c] -= s[x1 * N + c] * wx1;
            };
            // The same for rows: the first row with wy0, the rest with wy; row then holds row y1,
            // which gives back wy1.
            uint32_t acc[N];
            rowSum(y0);
            for (int c = 0; c < N; ++c) acc[c] = wy0 * row[c];
            for (int32_t y = y0 + 1; y <= y1; ++y) {
                rowSum(y);
                for (int c = 0; c < N; ++c) acc[c] += wy * row[c];
            }
            for (int c = 0; c < N; ++c) acc[c] -= wy1 * row[c];
            for (int c = 0; c < N; ++c) {
                const int32_t value = static_cast<int32_t>(acc[c] + kRound);
                dst[dx * N + c] = static_cast<uint8_t>(value >> kTotalBits);
            }
        }
    }
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
    const AreaTables t{_x_index.data, _x_weight.data, _y_index.data, _y_weight.data};
    switch (_param.channels) {
        case 1:
            resizeArea<1>(_param, t, src, src_stride, dst, dst_stride);
            break;
        case 2:
            resizeArea<2>(_param, t, src, src_stride, dst, dst_stride);
            break;
        case 3:
            resizeArea<3>(_param, t, src, src_stride, dst, dst_stride);
            break;
        case 4:
            resizeArea<4>(_param, t, src, src_stride, dst, dst_stride);
            break;
        default:
            break;  // other channel counts leave the destination untouched
    }
}

}  // namespace Simd::Base
