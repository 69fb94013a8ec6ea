// Reference loops for the area stages, written from their formulas with
// 64-bit arithmetic on whole frames, and the frame helpers of their tests.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "test_support.h"

namespace arearef {

using namespace zq;
using zqtest::at;

// Random row bytes and zero padding (kernels read a little past a row; the
// rings of a window start zeroed too).
inline Frame makeSource(FrameFormat f, Size size, uint32_t seed) {
    Frame frame;
    frame.reuse(f, size);
    std::mt19937 rng(seed);
    for (int p = 0; p < frame.layout().plane_count; ++p)
        for (int y = 0; y < frame.layout().planes[p].height; ++y)
            for (int x = 0; x < frame.layout().planes[p].stride; ++x)
                *at(frame, p, y, x) = x < frame.layout().planes[p].row_bytes ? uint8_t(rng()) : 0;
    return frame;
}

// Every byte of every stride set to `fill`, so that bytes no kernel writes show.
inline Frame makeTarget(FrameFormat f, Size size, uint8_t fill = 0xA5) {
    Frame frame;
    frame.reuse(f, size);
    for (int p = 0; p < frame.layout().plane_count; ++p)
        std::memset(frame.data(p), fill, size_t(frame.layout().planes[p].plane_bytes));
    return frame;
}

// Runs a stage into a new target frame.
inline Frame run(IRowProducer& stage) {
    Frame out = makeTarget(stage.layout().format, stage.layout().size);
    produceFrame(stage, out);
    return out;
}

// Whole strides of two frames of one layout (kernels may write past row_bytes).
inline ::testing::AssertionResult sameStrides(const Frame& a, const Frame& b) {
    for (int p = 0; p < a.layout().plane_count; ++p)
        for (int y = 0; y < a.layout().planes[p].height; ++y)
            if (std::memcmp(at(a, p, y), at(b, p, y), size_t(a.layout().planes[p].stride)))
                return ::testing::AssertionFailure() << "plane " << p << " row " << y;
    return ::testing::AssertionSuccess();
}

// Samples of 1, 2 or 4 bytes, little-endian as on both targets.
inline int sampleBytes(FrameFormat f) {
    return f == ZQ_FRAME_16U_C1 ? 2 : f == ZQ_FRAME_32U_C1 ? 4 : 1;
}
inline uint64_t load(const unsigned char* p, int bytes) {
    uint64_t v = 0;
    std::memcpy(&v, p, size_t(bytes));
    return v;
}
inline void store(unsigned char* p, int bytes, uint64_t v) {
    std::memcpy(p, &v, size_t(bytes));
}

// A weight times a sample as the kernels form it: exact for 8-bit samples,
// signed 32-bit for 16-bit samples, modulo 2^32 for 32-bit samples.
inline int64_t product(int bytes, int64_t w, uint64_t s) {
    const int64_t p = w * int64_t(s);
    if (bytes == 4) return p & 0xffffffff;
    return bytes == 2 && p >= (int64_t(1) << 31) ? p - (int64_t(1) << 32) : p;
}

// ---------------------------------------------------------------- one axis
struct Entry {
    int64_t index, weight;
};
struct Table {
    std::vector<Entry> e;
    int64_t weight;  // of a sample wholly inside an output sample
};

// raw = (dst << (precision - 1)) / src; entry i = (i * src / dst,
// clamp(raw * (index + 1) - i * one, 0, one)); entry dst = (src, min(one, raw)).
inline Table table(int src, int dst, int precision) {
    const int64_t one = int64_t(1) << (precision - 1),
                  raw = (int64_t(dst) << (precision - 1)) / src;
    Table t{{}, std::min(one, raw)};
    for (int64_t i = 0; i < dst; ++i) {
        const int64_t index = i * src / dst;
        t.e.push_back({index, std::clamp(raw * (index + 1) - i * one, int64_t(0), one)});
    }
    t.e.push_back({src, t.weight});
    return t;
}

// A plane and the channels its kernel treats; `rows` for the height change:
// 0 the plane's own rows, 1 every second window row from chroma row k / 2,
// 2 the luma row's window rows.
struct Step {
    int plane, channels, rows;
};

// clang-format off
inline std::vector<Step> xSteps(FrameFormat f) {
    switch (f) {
        case ZQ_FRAME_GRAY8: case ZQ_FRAME_16U_C1: case ZQ_FRAME_32U_C1: return {{0, 1, 0}};
        case ZQ_FRAME_BGR24: case ZQ_FRAME_YUYV: case ZQ_FRAME_YUV24: case ZQ_FRAME_8U_C3: return {{0, 3, 0}};
        case ZQ_FRAME_UYVY: case ZQ_FRAME_8U_C4: return {{0, 4, 0}};
        case ZQ_FRAME_8U_C2: return {{0, 2, 0}};
        case ZQ_FRAME_NV12: case ZQ_FRAME_NV21: case ZQ_FRAME_NV16: return {{0, 1, 0}, {1, 2, 0}};
        case ZQ_FRAME_BGR24_PLANAR: case ZQ_FRAME_YV16: case ZQ_FRAME_YUV444_PLANAR:
        case ZQ_FRAME_I420: case ZQ_FRAME_YV12: return {{0, 1, 0}, {1, 1, 0}, {2, 1, 0}};
        default: return {};
    }
}
inline std::vector<Step> ySteps(FrameFormat f) {
    switch (f) {
        case ZQ_FRAME_8U_C2: case ZQ_FRAME_UYVY: case ZQ_FRAME_8U_C4: return {{0, 1, 0}};
        case ZQ_FRAME_I420: case ZQ_FRAME_YV12: return {{0, 1, 0}, {1, 1, 1}, {2, 1, 1}};
        case ZQ_FRAME_NV12: case ZQ_FRAME_NV21: return {{0, 1, 0}, {1, 2, 2}};
        default: return xSteps(f);
    }
}
// clang-format on

// Width change into `out`: weights built at `table_precision`, shifted by
// `shift_precision` - 1. Every plane uses the luma source width.
inline void areaX(const Frame& src, Frame& out, int table_precision, int shift_precision) {
    const int sw = src.width(), bytes = sampleBytes(src.format());
    if (sw == out.width()) return src.copyTo(out);
    const Table t = table(sw, out.width(), table_precision);
    for (const Step& s : xSteps(src.format()))
        for (int r = 0; r < src.layout().planes[s.plane].height; ++r)
            for (int i = 0; i < out.layout().planes[s.plane].width; ++i)
                for (int c = 0; c < s.channels; ++c) {
                    auto px = [&](int64_t x) {
                        return load(at(src, s.plane, r, int((x * s.channels + c) * bytes)), bytes);
                    };
                    const Entry e0 = t.e[i], e1 = t.e[i + 1];
                    uint64_t acc = e0.weight * px(e0.index);
                    if (out.layout().planes[s.plane].width < sw) {
                        for (int64_t j = e0.index + 1; j < e1.index; ++j) acc += t.weight * px(j);
                        if (t.weight != e1.weight) acc += (t.weight - e1.weight) * px(e1.index);
                    } else if (t.weight != e0.weight) {
                        acc += (t.weight - e0.weight) * px(e0.index + 1);
                    }
                    store(at(out, s.plane, r, (i * s.channels + c) * bytes), bytes,
                          acc >> (shift_precision - 1));
                }
}

// Rows one output row of a height change can span: whole rows of the first
// step, plus 2 partial ones when its boundary falls inside a row.
inline int ySlots(const Table& t, int sh, int dh) {
    return dh < sh ? int(t.e[1].index) + (t.weight != t.e[1].weight ? 2 : 0) : dh > sh ? 2 : 1;
}

// Height change into `out`. The window's first row is modelled, since a slot
// past its end holds no row and adds nothing.
inline void areaY(const Frame& src, Frame& out, int table_precision, int shift_precision) {
    const int sh = src.height(), dh = out.height(), bytes = sampleBytes(src.format());
    if (sh == dh) return src.copyTo(out);
    const Table t = table(sh, dh, table_precision);
    const FrameLayout& ol = out.layout();
    const bool half = ol.plane_count >= 2 && ol.planes[1].height != ol.planes[0].height;
    const int slots = ySlots(t, sh, dh), ws = std::min(half ? 2 * slots : slots, sh);
    int64_t first = 0;
    for (int k = 0; k < dh; ++k) {
        const int64_t target = half ? 2 * t.e[k / 2].index : t.e[k].index;
        if (k > 0) first = std::max(first, std::min<int64_t>(target, sh - ws));
        for (const Step& s : ySteps(src.format())) {
            // Half-height planes (not in a frame of one row).
            const bool sub = src.layout().planes[s.plane].height != sh;
            const bool out_sub = ol.planes[s.plane].height != dh;
            if (out_sub && k % 2) continue;
            const int kk = s.rows == 1 ? k / 2 : k, stride = s.rows == 1 ? 2 : 1;
            const int64_t base = stride * t.e[kk].index - first;
            std::vector<const unsigned char*> rows;
            for (int64_t i = 0, w = base; i < slots; ++i, w += stride)
                rows.push_back(w < ws ? at(src, s.plane, int(sub ? (first + w) / 2 : first + w))
                                      : nullptr);
            const Entry e0 = t.e[kk], e1 = t.e[kk + 1];
            const int64_t span = e1.index - e0.index;
            for (int j = 0; j < ol.planes[s.plane].width * s.channels; ++j) {
                auto add = [&](int64_t slot, int64_t w) {
                    return rows[slot]
                               ? uint64_t(product(bytes, w, load(rows[slot] + j * bytes, bytes)))
                               : 0;
                };
                uint64_t acc = add(0, e0.weight);
                if (dh < sh) {
                    for (int64_t i = 1; i < std::min<int64_t>(span, slots); ++i)
                        acc += add(i, t.weight);
                    if (t.weight != e1.weight && span < slots)
                        acc += add(span, t.weight - e1.weight);
                } else if (t.weight != e0.weight) {
                    acc += add(1, t.weight - e0.weight);
                }
                store(at(out, s.plane, out_sub ? k / 2 : k, j * bytes), bytes,
                      acc >> (shift_precision - 1));
            }
        }
    }
}

// ---------------------------------------------------------------- two axes
// Box of output (c, k) in 16.16: columns [c * xs, c * xs + xs), rows one ys
// from k * ys (4:2:0 chroma: from its chroma step times k / 2); edge terms
// (frac * sample) >> 16, row terms (weight * sum) >> 16, and the mean
// ((acc mod 2^32) << 32) / (xs * ys). Four-byte pixels sum bytes 0 to 2.
inline void areaXY(const Frame& src, Frame& out) {
    const FrameFormat f = src.format();
    const int bytes = sampleBytes(f);
    const int64_t xs = (int64_t(src.width()) << 16) / out.width();
    const int64_t ys = (int64_t(src.height()) << 16) / out.height();
    const bool is420 = f >= ZQ_FRAME_I420 && f <= ZQ_FRAME_NV21;
    const int64_t cs =
        is420 ? (int64_t(src.layout().planes[1].height) << 16) / out.layout().planes[1].height : 0;
    const int64_t rows = (ys >> 16) + ((ys & 0xffff) ? 2 : 0);
    const int sums = f == ZQ_FRAME_UYVY || f == ZQ_FRAME_8U_C4 ? 3 : 4;
    for (int k = 0; k < out.height(); ++k)
        for (const Step& s : xSteps(f)) {
            const bool sub = is420 && s.plane > 0;
            if (sub && k % 2) continue;
            const int64_t yb = sub ? cs * (k / 2) : k * ys, ye = yb + ys;
            for (int c = 0; c < out.layout().planes[s.plane].width; ++c)
                for (int ch = 0; ch < s.channels; ++ch) {
                    const int64_t xb = c * xs, xe = xb + xs, fb = xb & 0xffff, fe = xe & 0xffff;
                    uint64_t acc = 0;
                    for (int64_t y = yb >> 16; y < (yb >> 16) + rows; ++y) {
                        const int64_t w = y == yb >> 16   ? 65536 - (yb & 0xffff)
                                          : y < ye >> 16  ? 65536
                                          : y == ye >> 16 ? ye & 0xffff
                                                          : 0;
                        if (w == 0) continue;
                        auto px = [&](int64_t x) {
                            const int64_t at_byte =
                                (x * s.channels + std::min(ch, sums - 1)) * bytes;
                            return load(at(src, s.plane, int(y), int(at_byte)), bytes);
                        };
                        auto edge = [&](int64_t frac, int64_t x) {
                            return uint64_t(product(bytes, frac, px(x)) >> 16);
                        };
                        uint64_t sum = fb == 0 ? px(xb >> 16) : edge(65536 - fb, xb >> 16);
                        if (fe) sum += edge(fe, xe >> 16);
                        for (int64_t x = (xb >> 16) + 1; x < xe >> 16; ++x) sum += px(x);
                        acc += (uint64_t(w) * sum) >> 16;
                    }
                    store(at(out, s.plane, sub ? k / 2 : k, (c * s.channels + ch) * bytes), bytes,
                          ((acc & 0xffffffff) << 32) / uint64_t(xs * ys));
                }
        }
}

}  // namespace arearef
