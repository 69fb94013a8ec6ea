// Reference models of the scaler stages, written from their formulas with 64-bit arithmetic on
// whole frames and kept plain (no shared rows, sums wrapped by hand) so that they do not follow
// the library's code; and the helpers their tests share.
#pragma once

#include <algorithm>
#include <cmath>
#include <numeric>
#include <type_traits>

#include "../../examples/zq_kernels.h"
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
// window start zeroed); with seed 0, 0xA5 over whole strides.
inline Frame make(FrameFormat f, Size size, uint32_t seed) {
    Frame frame;
    frame.reuse(f, size);
    std::mt19937 rng(seed);
    for (int p = 0; p < frame.layout().plane_count; ++p)
        for (int y = 0; y < frame.layout().planes[p].height; ++y)
            for (int x = 0; x < frame.layout().planes[p].stride; ++x)
                *at(frame, p, y, x) =
                    seed ? (x < frame.layout().planes[p].row_bytes) * rng() : 0xA5;
    return frame;
}

// A destination at odd addresses with odd strides, room past each row for the stages that write
// there, and sentinel bytes all around. same(): the rows of `want`, and every other byte as in
// `room`, or else still the sentinel.
struct Room : zqtest::AppFrame {
    Room(FrameFormat f, Size size) : AppFrame(f, size, 4 * size.width + 3, 17, 16) {}
    ::testing::AssertionResult same(const Frame& want, const Room* room = nullptr) const {
        auto same = zqtest::samePixels(frame, want);
        if (same && (room ? blocks != room->blocks : !roomKept()))
            return ::testing::AssertionFailure() << "a byte outside the rows differs";
        return same;
    }
};

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
inline bool is420(FrameFormat f) {
    return f >= ZQ_FRAME_I420 && f <= ZQ_FRAME_NV21;
}

// Channels of each plane's kernel by format number, "" where the stages refuse the format. YUYV
// counts as 3-byte and UYVY as 4-byte pixels.
inline std::string planes(FrameFormat f) {
    const char* const t[] = {"",  "1", "",   "",  "3",   "111", "111", "111", "12", "12", "111",
                             "3", "4", "12", "3", "111", "2",   "3",   "4",   "1",  "1"};
    return size_t(f) < std::size(t) ? t[f] : "";
}

// ---------------------------------------------------------- nearest neighbour and bilinear
// step = (src << 16) / dst, truncated. Nearest: index i = (step / 2 + i * step) >> 16, kept as a
// 16.16 coordinate without fraction. Bilinear: max((step - 0x10000) / 2 + i * step, 0), the
// division toward zero. lerp = ((65536 - f) * a + f * b) >> 16. Nearest neighbour is the
// bilinear arithmetic with fractions 0 and a window of 1 row. A frame source clamps the vertical
// window to its height, a producer does not.
inline bool scale(const Frame& src, Frame& dst, Kind kind, bool frame_source) {
    const FrameLayout &sl = src.layout(), &dl = dst.layout();
    const int sw = sl.size.width, sh = sl.size.height, e = bytesOf(sl.format);
    const bool copy = (sw == dl.size.width && kind <= X) || (sh == dl.size.height && kind == Y);
    const std::string chans = planes(sl.format);
    if (chans.empty() && !copy) return false;
    auto table = [&](int64_t s, int64_t d, int64_t i) {
        const int64_t step = (s << 16) / d;
        return kind == Nearest ? (step / 2 + i * step) >> 16 << 16
                               : std::max<int64_t>((step - 65536) / 2 + i * step, 0);
    };
    auto lerp = [](uint64_t a, uint64_t b, int64_t f) { return ((65536 - f) * a + f * b) >> 16; };
    const bool half = dl.plane_count > 1 && dl.planes[0].height != dl.planes[1].height;
    const int ws = std::min(half ? 4 : 2, frame_source ? sh : 4);
    for (int p = 0; p < dl.plane_count; ++p)
        for (int j = 0; j < dl.planes[p].height; ++j) {
            const int r = j << rowMask(dl, p);  // the output luma row that writes plane row j
            const int64_t y = kind == X ? int64_t(r) << 16 : table(sh, dl.size.height, r);
            // The window stands at min(sy, sh - ws); plane 0 pairs with the next luma row, other
            // planes with the one two rows down; the bottom of the window repeats.
            const int64_t sy = y >> 16, fy = y & 0xffff, wr = sy - std::min<int64_t>(sy, sh - ws);
            const int64_t sy2 = p == 0 ? (wr < ws - 1 ? sy + 1 : sy) : (wr < ws - 2 ? sy + 2 : sy);
            const uint8_t* a = at(src, p, int(sy >> rowMask(sl, p)));
            const uint8_t* b = at(src, p, int(sy2 >> rowMask(sl, p)));
            if (copy) std::memcpy(at(dst, p, j), a, size_t(sl.planes[p].row_bytes));
            const int c = copy ? 0 : chans[p] - '0';
            for (int x = 0; x < dl.planes[p].width * c; ++x) {
                const int64_t xc = kind == Y ? 0 : table(sw, dl.size.width, x / c), k = x % c;
                const int64_t sx = kind == Y ? x / c : xc >> 16, fx = xc & 0xffff;
                const int64_t sx2 = sx < sl.planes[p].width - 1 ? sx + 1 : sx;
                const uint64_t top = lerp(get(a, sx * c + k, e), get(a, sx2 * c + k, e), fx);
                const uint64_t bottom = lerp(get(b, sx * c + k, e), get(b, sx2 * c + k, e), fx);
                put(at(dst, p, j), x, e, kind == X ? top : lerp(top, bottom, fy));
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

// One output sample: e0's weight on its first sample; reducing, the whole weight `w` on the
// samples up to e1's and the rest of e1's weight on that one, within `slots` samples; enlarging,
// the rest of `w` on the next sample. term(n, weight) weighs the sample n past e0's.
template <class Term>
uint64_t areaSum(Entry e0, Entry e1, int64_t w, bool reduce, int64_t slots, Term term) {
    const int64_t span = e1.index - e0.index;
    uint64_t acc = term(0, e0.weight);
    for (int64_t n = 1; reduce && n < std::min(span, slots); ++n) acc += term(n, w);
    if (reduce && w != e1.weight && span < slots) acc += term(span, w - e1.weight);
    if (!reduce && w != e0.weight) acc += term(1, w - e0.weight);
    return acc;
}

// Width change; every plane uses the luma width.
inline void areaX(const Frame& src, Frame& out, int bits) {
    const int sw = src.width(), e = bytesOf(src.format());
    if (sw == out.width()) return src.copyTo(out);
    const std::vector<Entry> t = areaTable(sw, out.width(), bits);
    const std::string chans = planes(src.format());
    for (int p = 0; p < int(chans.size()); ++p)
        for (int r = 0, c = chans[p] - '0', ow = out.layout().planes[p].width;
             r < src.layout().planes[p].height; ++r)
            for (int i = 0; i < ow * c; ++i) {
                auto term = [&](int64_t n, int64_t v) {
                    return uint64_t(v) * get(at(src, p, r), (t[i / c].index + n) * c + i % c, e);
                };
                const uint64_t acc =
                    areaSum(t[i / c], t[i / c + 1], t.back().weight, ow < sw, INT64_MAX, term);
                put(at(out, p, r), i, e, acc >> (bits - 1));
            }
}

// Height change. The window's first row is modelled, since a slot past its end holds no row.
// Planar 4:2:0 chroma takes the table by chroma row, two window rows apart; semi-planar chroma
// the luma row's window rows; 2- and 4-byte pixels compute one byte each.
inline void areaY(const Frame& src, Frame& out, int bits) {
    const FrameFormat f = src.format();
    const int sh = src.height(), dh = out.height(), e = bytesOf(f);
    if (sh == dh) return src.copyTo(out);
    const std::vector<Entry> t = areaTable(sh, dh, bits);
    const int64_t w = t.back().weight;
    const FrameLayout& ol = out.layout();
    const bool half = ol.plane_count >= 2 && ol.planes[1].height != ol.planes[0].height;
    // The rows one output row spans; partial ones at both ends.
    const int slots = dh > sh ? 2 : int(t[1].index) + (w != t[1].weight ? 2 : 0);
    const int ws = std::min(half ? 2 * slots : slots, sh);
    const std::string chans = planes(f);
    const bool bytewise = f == ZQ_FRAME_8U_C2 || f == ZQ_FRAME_UYVY || f == ZQ_FRAME_8U_C4;
    for (int k = 0; k < dh; ++k) {
        // The window's first row; it never moves back, as the targets rise with k.
        const int64_t first = std::min<int64_t>(half ? 2 * t[k / 2].index : t[k].index, sh - ws);
        for (int p = 0; p < int(chans.size()); ++p) {
            const bool sub = src.layout().planes[p].height != sh, osub = ol.planes[p].height != dh;
            if (osub && k % 2) continue;
            const int c = bytewise ? 1 : chans[p] - '0';
            const int step = p && (f == ZQ_FRAME_I420 || f == ZQ_FRAME_YV12) ? 2 : 1;
            const Entry e0 = t[k / step];
            std::vector<const uint8_t*> rows;
            for (int64_t i = 0, n = step * e0.index - first; i < slots; ++i, n += step)
                rows.push_back(n < ws ? at(src, p, int(sub ? (first + n) / 2 : first + n))
                                      : nullptr);
            for (int j = 0; j < ol.planes[p].width * c; ++j) {
                auto term = [&](int64_t n, int64_t v) {
                    return rows[n] ? uint64_t(product(e, v, get(rows[n], j, e))) : 0;
                };
                const uint64_t acc = areaSum(e0, t[k / step + 1], w, dh < sh, slots, term);
                put(at(out, p, osub ? k / 2 : k), j, e, acc >> (bits - 1));
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
                    auto px = [&](int64_t x) {
                        return get(at(src, p, int(y)), x * c + std::min(i % c, sums - 1), e);
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
inline bool expect(const Frame& src, Frame& dst, Kind kind, int bits, bool frame_source) {
    if (kind < AreaX) return scale(src, dst, kind, frame_source);
    kind == AreaX   ? areaX(src, dst, bits)
    : kind == AreaY ? areaY(src, dst, bits)
                    : areaXY(src, dst);
    const bool copy = kind == AreaX ? src.width() == dst.width() : src.height() == dst.height();
    return (copy && kind != AreaXY) ||
           (!planes(src.format()).empty() && src.format() != ZQ_FRAME_32U_C1);
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

// ---------------------------------------------------------------- convolution
// One axis: for each destination position its first source element and its weight row of
// `capacity` weights (wrapped to the weight type), and the taps every position runs.
struct Table {
    std::vector<int> first;
    std::vector<std::vector<int>> rows;
    int taps = 0;
};

inline int wrapTo(int bits, int64_t v) {  // two's complement narrowing to `bits`
    const int64_t m = int64_t(1) << bits, r = ((v % m) + m) % m;
    return int(r >= m / 2 ? r - m : r);
}

// Area under the kernel from `from` to `to`: trapezoids on the points from + n/16 (each point
// the previous plus 1/16) below `to`, and one last trapezoid from the last such point to `to`.
inline float integral(IKernel& k, float centre, float from, float to) {
    auto f = [&](float x) { return k.weight(x - centre); };
    float pairs = 0.0f, x = from;
    for (float next = from + 0.0625f; next < to; x = next, next = next + 0.0625f)
        pairs += f(next) + f(x);
    return pairs * 0.03125f + (f(x) + f(to)) * (to - x) * 0.5f;
}

// The table of one axis; `bits` is 8 or 16 (6 or 14 fraction bits). Inner rows (wholly inside
// the source) are shared by phase, within 0.001, the first found; past 16 phases a phase is
// floored to 1/16. Border rows fold the taps outside the source back in by mirroring.
inline Table table(IKernel& k, int src, int dst, int bits) {
    const int unit = 1 << (bits - 2);
    const float scale = float(src) / float(dst);
    k.setScale(scale);
    const float width = k.width();
    const int capacity = int(std::ceil(width + 1.0f));
    std::vector<std::pair<float, std::vector<int>>> inner;
    std::vector<int> border(size_t(capacity), 0);  // keeps what earlier border rows left
    Table t;
    for (int i = 0; i < dst; ++i) {
        const float left = (float(i) + 0.5f) * scale - width * 0.5f;
        float phase = left - std::floor(left);
        int first = int(std::floor(left));
        const bool is_inner = first >= 0 && first + capacity <= src;
        if (is_inner && dst / std::gcd(src, dst) > 16) phase = std::floor(phase * 16.0f) / 16.0f;
        auto hit = std::find_if(inner.begin(), inner.end(), [&](auto& e) {
            return std::fabs(double(e.first - phase)) < 0.001;
        });
        if (is_inner && hit != inner.end()) {
            t.first.push_back(first);
            t.rows.push_back(hit->second);
            continue;
        }
        const float reach = k.width() + phase;
        const int aperture = int(std::ceil(reach));
        std::vector<float> raw;
        float sum = 0.0f;
        for (int j = 0; j < aperture; ++j)
            sum += raw.emplace_back(integral(k, phase + width * 0.5f, std::max(float(j), phase),
                                             std::min(float(j) + 1.0f, reach)));
        std::vector<int> w(size_t(capacity), 0);
        int isum = 0;
        for (int j = 0; j < aperture; ++j)
            isum += w[j] = wrapTo(bits, std::lround(raw[j] * (float(unit) / std::fabs(sum))));
        // The error, one unit per step from the centre out: an odd row's centre twice, then
        // right and left in turn; an even row's left centre, then right and left in turn.
        const int h = aperture / 2, c = h - 1 + aperture % 2;
        std::vector<int> order{c};
        if (aperture % 2 && h > 0) order.push_back(h);
        for (int j = 1; j <= h; ++j) order.insert(order.end(), {c + j, c - j});
        if (h > 0) order.pop_back();  // the last step is to the right only
        const int delta = isum < unit ? 1 : -1;
        for (size_t s = 0; s < order.size() && isum != unit; ++s, isum += delta)
            w[order[s]] = wrapTo(bits, w[order[s]] + delta);
        if (is_inner) {
            inner.push_back({phase, w});
        } else {
            const int start = std::max(first + aperture > src ? src - aperture : first, 0);
            std::fill(border.begin(), border.begin() + aperture, 0);
            for (int j = 0; j < aperture; ++j) {
                const int m = (first + j < 0 ? -(first + j) - 1 : first + j) % (2 * src);
                const int q = (m < src ? m : 2 * src - 1 - m) - start;
                border[q] = wrapTo(bits, border[q] + w[j]);
            }
            w = border;
            first = start;
        }
        t.taps = std::max(t.taps, aperture);
        t.first.push_back(first);
        t.rows.push_back(w);
    }
    return t;
}

// sum of weight * sample(j) over the taps of row i of `t`, wrapped at 32 bits, divided by the
// unit toward zero, clamped to a byte; a sample under a weight of 0 adds nothing and is not read.
template <class Sample>
uint8_t convolve(const Table& t, int i, int bits, Sample sample) {
    int64_t acc = 0;
    for (int j = 0; j < t.taps; ++j)
        if (t.rows[i][j]) acc += t.rows[i][j] * int64_t(sample(j));
    return uint8_t(std::clamp(int32_t(uint32_t(uint64_t(acc))) / (1 << (bits - 2)), 0, 255));
}

// Horizontal pass over a whole frame. A source row is read through `row(p, y)`, which must give
// the same bytes the library reads, also past the row's end.
template <class RowOf>
void passX(IKernel& k, const FrameLayout& sl, RowOf row, Frame& out, int bits) {
    for (int p = 0; p < sl.plane_count; ++p) {
        const Table t = table(k, sl.planes[p].width, out.layout().planes[p].width, bits);
        const int c = planes(sl.format)[p] - '0';
        for (int y = 0; y < sl.planes[p].height; ++y) {
            const uint8_t* src = row(p, y);
            for (int i = 0; i < out.layout().planes[p].width * c; ++i)
                *at(out, p, y, i) = convolve(
                    t, i / c, bits, [&](int j) { return src[(t.first[i / c] + j) * c + i % c]; });
        }
    }
}

// Vertical pass. The window holds `window` rows and starts at row 0; destination row r > 0 moves
// it down by the rise of plane 0's first source row since the row before (never up, never past
// the bottom), and every row reads its taps from the top of the window. Chroma of a half-height
// plane is read from the luma rows' chroma rows.
inline void passY(IKernel& k, const Frame& in, Frame& out, int bits) {
    const FrameLayout &il = in.layout(), &ol = out.layout();
    std::vector<Table> tables;
    int window = 0, top = 0, last = 0;
    for (int p = 0; p < il.plane_count; ++p) {
        tables.push_back(table(k, il.planes[p].height, ol.planes[p].height, bits));
        window = std::max(window, tables.back().taps);
    }
    for (int r = 0; r < ol.size.height; ++r) {
        const int start = tables[0].first[r];
        if (r > 0 && start > last)
            top = std::min(top + start - last, std::max(top, il.size.height - window));
        if (r > 0) last = start;
        for (int p = 0; p < il.plane_count; ++p) {
            const int omask = rowMask(ol, p), imask = rowMask(il, p), prow = omask ? r / 2 : r;
            if (r & omask) continue;
            for (int x = 0; x < il.planes[p].row_bytes; ++x)
                *at(out, p, prow, x) = convolve(tables[p], prow, bits, [&](int j) {
                    return *at(in, p, imask ? (top + j) / 2 : top + j, x);
                });
        }
    }
}

}  // namespace ref
