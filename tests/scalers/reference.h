// Reference models of the scaler stages, written from their formulas with 64-bit arithmetic on
// whole frames, and the helpers their tests share.
#pragma once

#include <algorithm>
#include <type_traits>

#include "test_support.h"

namespace ref {

using namespace zq;
using zqtest::at;

constexpr ScalerPrecision P8 = ZQ_SCALER_FIXED_POINT_8S, P16 = ZQ_SCALER_FIXED_POINT_16S;
enum Kind { Nearest, X, Y, XY, AreaX, AreaY, AreaXY };
const char* const kNames[] = {
    "ScalerNearestNeighbor", "ScalerBilinearX", "ScalerBilinearY", "ScalerBilinearXY",
    "ScalerAreaX",           "ScalerAreaY",     "scaleAreaXY"};
inline std::string unsupported(Kind k) {
    return std::string("Failure in ") + kNames[k] + "::produce(...) : unsupported frame format.";
}

// Random row bytes and zero padding (a producer hands over row bytes only, and the rings of a
// window start zeroed); with seed 0, `fill` over whole strides, so untouched bytes show.
inline Frame make(FrameFormat f, Size size, uint32_t seed, uint8_t fill = 0xA5) {
    Frame frame;
    frame.reuse(f, size);
    std::mt19937 rng(seed);
    for (int p = 0; p < frame.layout().plane_count; ++p)
        for (int y = 0; y < frame.layout().planes[p].height; ++y)
            for (int x = 0; x < frame.layout().planes[p].stride; ++x)
                *at(frame, p, y, x) =
                    seed ? (x < frame.layout().planes[p].row_bytes) * rng() : fill;
    return frame;
}

// Compares whole strides: bytes a stage must leave alone count too.
inline ::testing::AssertionResult sameStrides(const Frame& a, const Frame& b) {
    for (int p = 0; p < a.layout().plane_count; ++p)
        for (int y = 0; y < a.layout().planes[p].height; ++y)
            if (std::memcmp(at(a, p, y), at(b, p, y), size_t(a.layout().planes[p].stride)))
                return ::testing::AssertionFailure() << "plane " << p << " row " << y << " differs";
    return ::testing::AssertionSuccess();
}

// Samples of 1, 2 or 4 bytes in native order (both targets are little-endian).
inline int bytesOf(FrameFormat f) {
    return f == ZQ_FRAME_16U_C1 ? 2 : f == ZQ_FRAME_32U_C1 ? 4 : 1;
}
inline uint64_t get(const uint8_t* row, int64_t i, int bytes) {
    uint64_t v = 0;
    std::memcpy(&v, row + i * bytes, size_t(bytes));
    return v;
}
inline void put(uint8_t* row, int64_t i, int bytes, uint64_t v) {
    std::memcpy(row + i * bytes, &v, size_t(bytes));
}

// Channels of each plane's kernel by format number, "" where the stages refuse the format. YUYV
// counts as 3-byte and UYVY as 4-byte pixels.
inline std::string planes(FrameFormat f) {
    const char* const t[] = {"",  "1", "",   "",  "3",   "111", "111", "111", "12", "12", "111",
                             "3", "4", "12", "3", "111", "2",   "3",   "4",   "1",  "1"};
    return size_t(f) < std::size(t) ? t[f] : "";
}

// ---------------------------------------------------------- nearest neighbour and bilinear
// step = (src << 16) / dst, truncated. Nearest: index i = (step / 2 + i * step) >> 16, kept here
// as a 16.16 coordinate without fraction. Bilinear: coordinate i = max((step - 0x10000) / 2 +
// i * step, 0), the division toward zero.
inline std::vector<int64_t> table(Kind kind, int src, int dst) {
    const int64_t step = (int64_t(src) << 16) / dst;
    std::vector<int64_t> t;
    for (int64_t i = 0; i < dst; ++i)
        t.push_back(kind == Nearest ? (step / 2 + i * step) >> 16 << 16
                                    : std::max<int64_t>((step - 65536) / 2 + i * step, 0));
    return t;
}
inline uint64_t lerp(uint64_t a, uint64_t b, int64_t f) {
    return ((65536 - f) * a + f * b) >> 16;
}

// Nearest neighbour is the bilinear arithmetic with fractions 0 and a window of 1 row. A frame
// source clamps the vertical window to its height, a producer does not.
inline bool scale(const Frame& src, Frame& dst, Kind kind, bool frame_source) {
    const FrameLayout &sl = src.layout(), &dl = dst.layout();
    const int sw = sl.size.width, sh = sl.size.height, e = bytesOf(sl.format);
    const bool copy = (sw == dl.size.width && kind <= X) || (sh == dl.size.height && kind == Y);
    const std::string chans = planes(sl.format);
    if (chans.empty() && !copy) return false;
    const auto xs = table(kind, sw, dl.size.width), ys = table(kind, sh, dl.size.height);
    int ws = dl.plane_count > 1 && dl.planes[0].height != dl.planes[1].height ? 4 : 2;
    if (frame_source) ws = std::min(ws, sh);
    for (int p = 0; p < dl.plane_count; ++p)
        for (int j = 0; j < dl.planes[p].height; ++j) {
            const int r = j << rowMask(dl, p);  // the output luma row that writes plane row j
            const int64_t y = kind == X ? int64_t(r) << 16 : ys[r];
            // The window stands at min(sy, sh - ws); plane 0 pairs with the next luma row, other
            // planes with the one two rows down; the bottom of the window repeats.
            const int64_t sy = y >> 16, fy = y & 0xffff, wr = sy - std::min<int64_t>(sy, sh - ws);
            const int64_t sy2 = p == 0 ? (wr < ws - 1 ? sy + 1 : sy) : (wr < ws - 2 ? sy + 2 : sy);
            const uint8_t* a = at(src, p, int(sy >> rowMask(sl, p)));
            const uint8_t* b = at(src, p, int(sy2 >> rowMask(sl, p)));
            uint8_t* out = at(dst, p, j);
            if (copy) std::memcpy(out, a, size_t(sl.planes[p].row_bytes));
            const int c = copy ? 0 : chans[p] - '0';
            for (int x = 0; x < dl.planes[p].width * c; ++x) {
                const int64_t sx = kind == Y ? x / c : xs[x / c] >> 16, k = x % c;
                const int64_t fx = kind == Y ? 0 : xs[x / c] & 0xffff;
                const int64_t sx2 = sx < sl.planes[p].width - 1 ? sx + 1 : sx;
                const uint64_t top = lerp(get(a, sx * c + k, e), get(a, sx2 * c + k, e), fx);
                const uint64_t bottom = lerp(get(b, sx * c + k, e), get(b, sx2 * c + k, e), fx);
                put(out, x, e, kind == X ? top : lerp(top, bottom, fy));
            }
        }
    return true;
}

// ---------------------------------------------------------------- area, one axis
// A weight times a sample as the kernels form it: exact for 8-bit samples, signed 32-bit for
// 16-bit samples, modulo 2^32 for 32-bit samples.
inline int64_t product(int bytes, int64_t w, uint64_t s) {
    const int64_t p = w * int64_t(s);
    if (bytes == 4) return p & 0xffffffff;
    return bytes == 2 && p >= (int64_t(1) << 31) ? p - (int64_t(1) << 32) : p;
}

struct Entry {
    int64_t index, weight;
};
// raw = (dst << (precision - 1)) / src; entry i = (i * src / dst, clamp(raw * (index + 1) -
// i * one, 0, one)); the sentinel, entry dst = (src, min(one, raw)), holds the weight of a sample
// wholly inside an output sample.
inline std::vector<Entry> areaTable(int src, int dst, int precision) {
    const int64_t one = int64_t(1) << (precision - 1),
                  raw = (int64_t(dst) << (precision - 1)) / src;
    std::vector<Entry> t;
    for (int64_t i = 0, n = 0; i < dst; n = ++i * src / dst)
        t.push_back({n, std::clamp(raw * (n + 1) - i * one, int64_t(0), one)});
    t.push_back({src, std::min(one, raw)});
    return t;
}

// Width change: weights built at `tp`, shifted by `sp` - 1; every plane uses the luma width.
inline void areaX(const Frame& src, Frame& out, int tp, int sp) {
    const int sw = src.width(), e = bytesOf(src.format());
    if (sw == out.width()) return src.copyTo(out);
    const std::vector<Entry> t = areaTable(sw, out.width(), tp);
    const int64_t w = t.back().weight;
    const std::string chans = planes(src.format());
    for (int p = 0; p < int(chans.size()); ++p)
        for (int r = 0, c = chans[p] - '0'; r < src.layout().planes[p].height; ++r)
            for (int i = 0; i < out.layout().planes[p].width * c; ++i) {
                auto px = [&](int64_t x) { return get(at(src, p, r), x * c + i % c, e); };
                const Entry e0 = t[i / c], e1 = t[i / c + 1];
                uint64_t acc = e0.weight * px(e0.index);
                if (out.layout().planes[p].width < sw) {
                    for (int64_t j = e0.index + 1; j < e1.index; ++j) acc += w * px(j);
                    if (w != e1.weight) acc += (w - e1.weight) * px(e1.index);
                } else if (w != e0.weight) {
                    acc += (w - e0.weight) * px(e0.index + 1);
                }
                put(at(out, p, r), i, e, acc >> (sp - 1));
            }
}

inline bool is420(FrameFormat f) {
    return f >= ZQ_FRAME_I420 && f <= ZQ_FRAME_NV21;
}

// Height change. The window's first row is modelled, since a slot past its end holds no row.
// Planar 4:2:0 chroma takes the table by chroma row, two window rows apart; semi-planar chroma
// the luma row's window rows; 2- and 4-byte pixels compute one byte each.
inline void areaY(const Frame& src, Frame& out, int tp, int sp) {
    const int sh = src.height(), dh = out.height(), e = bytesOf(src.format());
    if (sh == dh) return src.copyTo(out);
    const std::vector<Entry> t = areaTable(sh, dh, tp);
    const int64_t w = t.back().weight;
    const FrameLayout& ol = out.layout();
    const FrameFormat f = src.format();
    const bool half = ol.plane_count >= 2 && ol.planes[1].height != ol.planes[0].height;
    int slots = dh > sh ? 2 : 1;  // the rows one output row spans; partial ones at both ends
    if (dh < sh) slots = int(t[1].index) + (w != t[1].weight ? 2 : 0);
    const int ws = std::min(half ? 2 * slots : slots, sh);
    const std::string chans = planes(f);
    for (int k = 0; k < dh; ++k) {
        // The window's first row; it never moves back, as the targets rise with k.
        const int64_t first = std::min<int64_t>(half ? 2 * t[k / 2].index : t[k].index, sh - ws);
        for (int p = 0; p < int(chans.size()); ++p) {
            const bool sub = src.layout().planes[p].height != sh, osub = ol.planes[p].height != dh;
            if (osub && k % 2) continue;
            const bool one = f == ZQ_FRAME_8U_C2 || f == ZQ_FRAME_UYVY || f == ZQ_FRAME_8U_C4;
            const int c = one ? 1 : chans[p] - '0';
            const int stride = p && (f == ZQ_FRAME_I420 || f == ZQ_FRAME_YV12) ? 2 : 1;
            const Entry e0 = t[stride == 2 ? k / 2 : k], e1 = t[(stride == 2 ? k / 2 : k) + 1];
            std::vector<const uint8_t*> rows;
            for (int64_t i = 0, n = stride * e0.index - first; i < slots; ++i, n += stride)
                rows.push_back(n < ws ? at(src, p, int(sub ? (first + n) / 2 : first + n))
                                      : nullptr);
            const int64_t span = e1.index - e0.index;
            for (int j = 0; j < ol.planes[p].width * c; ++j) {
                auto add = [&](int64_t s, int64_t v) {
                    return rows[s] ? uint64_t(product(e, v, get(rows[s], j, e))) : 0;
                };
                uint64_t acc = add(0, e0.weight);
                if (dh < sh) {
                    for (int64_t i = 1; i < std::min<int64_t>(span, slots); ++i) acc += add(i, w);
                    if (w != e1.weight && span < slots) acc += add(span, w - e1.weight);
                } else if (w != e0.weight) {
                    acc += add(1, w - e0.weight);
                }
                put(at(out, p, osub ? k / 2 : k), j, e, acc >> (sp - 1));
            }
        }
    }
}

// ---------------------------------------------------------------- area, two axes
// Box of output (c, k) in 16.16: columns [c * xs, c * xs + xs), rows one ys from k * ys (4:2:0
// chroma: from its chroma step times k / 2); edge terms (frac * sample) >> 16, row terms
// (weight * sum) >> 16, and the mean ((acc mod 2^32) << 32) / (xs * ys). Four-byte pixels sum
// bytes 0 to 2 and repeat byte 2.
inline void areaXY(const Frame& src, Frame& out) {
    const FrameFormat f = src.format();
    const int e = bytesOf(f), sums = f == ZQ_FRAME_UYVY || f == ZQ_FRAME_8U_C4 ? 3 : 4;
    const int64_t xs = (int64_t(src.width()) << 16) / out.width();
    const int64_t ys = (int64_t(src.height()) << 16) / out.height();
    const int out_chroma = is420(f) ? out.layout().planes[1].height : 1;
    const int64_t cs = (int64_t(src.layout().planes[1].height) << 16) / out_chroma;
    const int64_t rows = (ys >> 16) + ((ys & 0xffff) ? 2 : 0);
    const std::string chans = planes(f);
    for (int k = 0; k < out.height(); ++k)
        for (int p = 0; p < int(chans.size()); ++p) {
            const bool sub = is420(f) && p > 0;
            if (sub && k % 2) continue;
            const int64_t yb = sub ? cs * (k / 2) : k * ys, ye = yb + ys;
            for (int i = 0, c = chans[p] - '0'; i < out.layout().planes[p].width * c; ++i) {
                const int64_t xb = i / c * xs, xe = xb + xs, fb = xb & 0xffff, fe = xe & 0xffff;
                uint64_t acc = 0;
                for (int64_t y = yb >> 16; y < (yb >> 16) + rows; ++y) {
                    int64_t w = y < ye >> 16 ? 65536 : y == ye >> 16 ? ye & 0xffff : 0;
                    if (y == yb >> 16) w = 65536 - (yb & 0xffff);
                    if (w == 0) continue;  // no row is read there, not even beyond the image
                    const uint8_t* row = at(src, p, int(y));
                    auto px = [&](int64_t x) {
                        return get(row, x * c + std::min(i % c, sums - 1), e);
                    };
                    auto edge = [&](int64_t fr, int64_t x) {
                        return uint64_t(product(e, fr, px(x)) >> 16);
                    };
                    uint64_t sum = fb == 0 ? px(xb >> 16) : edge(65536 - fb, xb >> 16);
                    if (fe) sum += edge(fe, xe >> 16);
                    for (int64_t x = (xb >> 16) + 1; x < xe >> 16; ++x) sum += px(x);
                    acc += (uint64_t(w) * sum) >> 16;
                }
                put(at(out, p, sub ? k / 2 : k), i, e,
                    ((acc & 0xffffffff) << 32) / uint64_t(xs * ys));
            }
        }
}

// What a stage of `kind` writes into `dst`; false when its produce() must refuse the format (the
// area stages compute 32-bit rows and still refuse them).
inline bool expect(const Frame& src, Frame& dst, Kind kind, int precision, bool frame_source) {
    if (kind < AreaX) return scale(src, dst, kind, frame_source);
    const FrameFormat f = src.format();
    const bool copy =
        kind == AreaX ? src.width() == dst.width() : kind == AreaY && src.height() == dst.height();
    if (kind == AreaX) areaX(src, dst, precision, precision);
    if (kind == AreaY) areaY(src, dst, precision, precision);
    if (kind == AreaXY) areaXY(src, dst);
    return copy || (!planes(f).empty() && f != ZQ_FRAME_32U_C1);
}

// The destination of `kind` aiming at `to`: a one-axis stage keeps the other extent.
inline Size shape(Kind kind, Size from, Size to) {
    return {kind == Y || kind == AreaY ? from.width : to.width,
            kind == X || kind == AreaX ? from.height : to.height};
}

// One stage of each kind; reuse() configures the one of `kind` and returns it.
struct Stages {
    ScalerNearestNeighbor nn;
    ScalerBilinearX x;
    ScalerBilinearY y;
    ScalerBilinearXY xy;
    ScalerAreaX ax;
    ScalerAreaY ay;
    scaleAreaXY axy;

    template <typename Source>
    IRowProducer& reuse(Kind kind, Source& s, Size d, ScalerPrecision p = P16) {
        if (kind == Nearest) return nn.reuse(s, d), nn;
        if (kind == X) return x.reuse(s, d.width), x;
        if (kind == Y) return y.reuse(s, d.height), y;
        if (kind == XY) return xy.reuse(s, d), xy;
        if (kind == AreaX) return ax.reuse(s, d.width, p), ax;
        if (kind == AreaY) return ay.reuse(s, d.height, p), ay;
        // scaleAreaXY takes frames only; handed a producer, it stays as it was.
        if constexpr (std::is_same_v<std::decay_t<Source>, Frame>) axy.reuse(s, d, p);
        return axy;
    }
};

}  // namespace ref
