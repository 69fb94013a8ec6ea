// Reference loops for the nearest-neighbour and bilinear stages, written from
// their formulas in 64-bit arithmetic, and the helpers their tests share.
#pragma once

#include <zq/scaler_bilinear.h>
#include <zq/scaler_nn.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "test_support.h"

namespace scalerref {

using zq::Frame;
using zq::FrameFormat;
using zq::Size;

enum class Kind { Nearest, X, Y, XY };

// step = (src << 16) / dst, truncated. Nearest: sample i = (step / 2 + i * step) >> 16.
// Bilinear: coordinate i = max((step - 0x10000) / 2 + i * step, 0), dividing toward zero.
inline std::vector<int64_t> table(Kind kind, int src, int dst) {
    const int64_t step = (int64_t(src) << 16) / dst;
    std::vector<int64_t> t;
    for (int64_t i = 0; i < dst; ++i)
        t.push_back(kind == Kind::Nearest ? (step / 2 + i * step) >> 16
                                          : std::max<int64_t>((step - 65536) / 2 + i * step, 0));
    return t;
}

struct Element {
    int bytes, channels;  // of one sample, of one pixel
};

// The elements of each plane, by format number; none for a format the stages
// refuse. YUYV counts as 3-byte and UYVY as 4-byte pixels.
inline std::vector<Element> elements(FrameFormat f) {
    const std::vector<Element> c1{{1, 1}}, c2{{1, 2}}, c3{{1, 3}}, c4{{1, 4}};
    const std::vector<Element> planar{{1, 1}, {1, 1}, {1, 1}}, pairs{{1, 1}, {1, 2}};
    const std::vector<Element> by_format[] = {
        {}, c1, {},    {}, c3,     planar, planar, planar, pairs,    pairs,   planar,
        c3, c4, pairs, c3, planar, c2,     c3,     c4,     {{2, 1}}, {{4, 1}}};
    return size_t(f) < std::size(by_format) ? by_format[size_t(f)] : std::vector<Element>{};
}

// Samples in native order (both targets are little-endian).
inline uint64_t sample(const uint8_t* row, int64_t i, int bytes) {
    uint64_t v = 0;
    std::memcpy(&v, row + i * bytes, size_t(bytes));
    return v;
}
inline void setSample(uint8_t* row, int64_t i, int bytes, uint64_t v) {
    std::memcpy(row + i * bytes, &v, size_t(bytes));
}

inline uint64_t lerp(uint64_t a, uint64_t b, int64_t f) {
    return ((65536 - uint64_t(f)) * a + uint64_t(f) * b) >> 16;
}

// Writes into `dst` (already shaped, possibly a region) what a stage of `kind`
// fed by `src` produces. A frame source clamps the vertical window to its
// height, a producer does not. Returns false when the stage must refuse the
// format instead.
inline bool scale(const Frame& src, Frame& dst, Kind kind, bool frame_source) {
    const zq::FrameLayout &sl = src.layout(), &dl = dst.layout();
    const int sw = sl.size.width, sh = sl.size.height, dw = dl.size.width, dh = dl.size.height;
    const bool vertical = kind == Kind::Y || kind == Kind::XY;
    const bool copy =
        (sw == dw && (kind == Kind::Nearest || kind == Kind::X)) || (sh == dh && kind == Kind::Y);
    const std::vector<Element> el = elements(sl.format);
    if (el.empty() && !copy) return false;

    const auto xs = table(kind, sw, dw), ys = table(kind, sh, dh);
    int ws = dl.plane_count > 1 && dl.planes[0].height != dl.planes[1].height ? 4 : 2;
    if (frame_source) ws = std::min(ws, sh);
    for (int p = 0; p < dl.plane_count; ++p) {
        const int smask = zq::rowMask(sl, p), dmask = zq::rowMask(dl, p);
        for (int j = 0; j < dl.planes[p].height; ++j) {
            const int r = j << dmask;  // the destination luma row that writes plane row j
            const int64_t y = vertical ? ys[r] : (kind == Kind::X ? r : ys[r]) << 16;
            const int64_t sy = y >> 16, fy = y & 0xffff;
            // The window stands at min(sy, sh - ws); plane 0 pairs with the next
            // luma row, other planes with the one two rows down; the bottom repeats.
            const int64_t wr = sy - std::min<int64_t>(sy, sh - ws);
            const int64_t sy2 = p == 0 ? (wr < ws - 1 ? sy + 1 : sy) : (wr < ws - 2 ? sy + 2 : sy);
            const uint8_t* a = zqtest::at(src, p, int(sy >> smask));
            const uint8_t* b = zqtest::at(src, p, int(sy2 >> smask));
            uint8_t* out = zqtest::at(dst, p, j);
            if (copy) {
                std::memcpy(out, a, size_t(sl.planes[p].row_bytes));
                continue;
            }
            const Element e = el[size_t(p)];
            for (int x = 0; x < dl.planes[p].width; ++x) {
                if (kind == Kind::Nearest) {
                    const int n = e.bytes * e.channels;
                    std::memcpy(out + x * n, a + xs[x] * n, size_t(n));
                    continue;
                }
                const int64_t sx = kind == Kind::Y ? x : xs[x] >> 16;
                const int64_t fx = kind == Kind::Y ? 0 : xs[x] & 0xffff;
                const int64_t sx2 = sx < sl.planes[p].width - 1 ? sx + 1 : sx;
                for (int c = 0; c < e.channels; ++c) {
                    const auto at = [&](const uint8_t* row, int64_t col) {
                        return sample(row, col * e.channels + c, e.bytes);
                    };
                    const uint64_t top = lerp(at(a, sx), at(a, sx2), fx);
                    const uint64_t v =
                        vertical ? lerp(top, lerp(at(b, sx), at(b, sx2), fx), fy) : top;
                    setSample(out, x * e.channels + c, e.bytes, v);
                }
            }
        }
    }
    return true;
}

// Fills every row of every plane over its whole stride, with random bytes of
// a fixed seed, or with `value` when the seed is 0.
inline void fillStrides(Frame& f, uint32_t seed, uint8_t value = 0) {
    std::mt19937 rng(seed);
    for (int p = 0; p < f.layout().plane_count; ++p)
        for (int y = 0; y < f.layout().planes[p].height; ++y)
            for (int i = 0; i < f.layout().planes[p].stride; ++i)
                zqtest::at(f, p, y)[i] = seed ? uint8_t(rng()) : value;
}

inline Frame makeFrame(FrameFormat format, Size size, uint32_t seed, uint8_t value = 0) {
    Frame f;
    f.reuse(format, size);
    fillStrides(f, seed, value);
    return f;
}

// Compares whole strides, so bytes that must stay untouched count.
inline ::testing::AssertionResult sameStrides(const Frame& a, const Frame& b) {
    for (int p = 0; p < a.layout().plane_count; ++p)
        for (int y = 0; y < a.layout().planes[p].height; ++y)
            if (std::memcmp(zqtest::at(a, p, y), zqtest::at(b, p, y),
                            size_t(a.layout().planes[p].stride)))
                return ::testing::AssertionFailure() << "plane " << p << " row " << y << " differs";
    return ::testing::AssertionSuccess();
}

// The four stages; reuse() configures the one of `kind` and returns it. A
// one-axis stage takes its axis of `dst`.
struct Stages {
    zq::ScalerNearestNeighbor nn;
    zq::ScalerBilinearX x;
    zq::ScalerBilinearY y;
    zq::ScalerBilinearXY xy;

    template <typename Source>
    zq::IRowProducer& reuse(Kind kind, Source& source, Size dst) {
        if (kind == Kind::Nearest) return nn.reuse(source, dst), nn;
        if (kind == Kind::X) return x.reuse(source, dst.width), x;
        if (kind == Kind::Y) return y.reuse(source, dst.height), y;
        return xy.reuse(source, dst), xy;
    }
};

inline std::string unsupportedText(Kind kind) {
    const char* names[] = {"ScalerNearestNeighbor", "ScalerBilinearX", "ScalerBilinearY",
                           "ScalerBilinearXY"};
    return std::string("Failure in ") + names[int(kind)] +
           "::produce(...) : unsupported frame format.";
}

// Every format over odd sizes, 1-pixel sources and destinations, both
// directions on each axis, an unchanged axis, a downscale by 3 that skips rows
// and sources too short for a producer's window; through one object of `kind`, so that its tables
// are kept while only the format changes and rebuilt when the geometry does; fed by the frame and
// then by a producer of the same rows.
inline void checkAgainstReference(Kind kind) {
    const std::pair<Size, Size> sizes[] = {
        {{7, 5}, {3, 9}},   {{5, 9}, {12, 4}}, {{1, 1}, {4, 3}}, {{6, 6}, {1, 1}},
        {{9, 7}, {9, 3}},   {{9, 7}, {9, 11}}, {{8, 4}, {5, 4}}, {{33, 17}, {20, 31}},
        {{12, 13}, {4, 5}}, {{2, 8}, {1, 1}},  {{6, 3}, {4, 2}}};
    Stages stages;
    for (auto [src_size, size] : sizes)
        for (FrameFormat format : zqtest::allFormats()) {
            const Size dst(kind == Kind::Y ? src_size.width : size.width,
                           kind == Kind::X ? src_size.height : size.height);
            SCOPED_TRACE(::testing::Message()
                         << zq::toString(format) << " " << src_size.width << "x" << src_size.height
                         << " -> " << dst.width << "x" << dst.height);
            Frame src = makeFrame(format, src_size, 7u + unsigned(format));
            Frame expected = makeFrame(format, dst, 0, 0xA5),
                  actual = makeFrame(format, dst, 0, 0xA5);
            zq::IRowProducer& stage = stages.reuse(kind, src, dst);
            if (!scale(src, expected, kind, true)) {
                EXPECT_TRUE(zqtest::throwsExactly([&] { zq::produceFrame(stage, actual); },
                                                  zq::ZQ_STATUS_UNSUPPORTED_FORMAT,
                                                  unsupportedText(kind)));
                continue;
            }
            zq::produceFrame(stage, actual);
            EXPECT_TRUE(sameStrides(actual, expected));

            // A producer hands over row_bytes only (its slots are zero beyond),
            // and its window is not clamped to the source height. A fresh
            // object: a window that served another producer keeps counting that
            // producer's rows.
            for (int p = 0; p < src.layout().plane_count; ++p)
                for (int y = 0; y < src.layout().planes[p].height; ++y)
                    std::memset(
                        zqtest::at(src, p, y, src.layout().planes[p].row_bytes), 0,
                        size_t(src.layout().planes[p].stride - src.layout().planes[p].row_bytes));
            zqtest::FrameProducer producer(src);
            Stages fresh;
            const zq::FrameLayout dl(format, dst, 64);
            const int rows =
                dl.plane_count > 1 && dl.planes[0].height != dl.planes[1].height ? 4 : 2;
            if ((kind == Kind::Y || kind == Kind::XY) && rows > src_size.height) {
                EXPECT_TRUE(zqtest::throwsExactly([&] { fresh.reuse(kind, producer, dst); },
                                                  zq::ZQ_STATUS_OUT_OF_RANGE,
                                                  "Parameter 'window_size' is out of range."));
                continue;
            }
            // A window that skips rows never fetches the chroma of a skipped
            // group's first row: compare only where nothing is skipped.
            const bool grouped = src.layout().plane_count > 1 && zq::rowMask(src.layout(), 1) == 1;
            if (grouped && kind != Kind::X && dst.height < src_size.height) continue;
            fillStrides(expected, 0, 0xA5);
            fillStrides(actual, 0, 0xA5);
            scale(src, expected, kind, false);
            zq::produceFrame(fresh.reuse(kind, producer, dst), actual);
            EXPECT_TRUE(sameStrides(actual, expected)) << "fed by a producer";
        }
}

}  // namespace scalerref
