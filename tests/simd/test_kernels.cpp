// The vector kernels against independent models of their arithmetic: depth and half-float
// conversions, the colour weighted sums, resizers.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "simd.h"

using namespace Simd;
using std::bit_cast;

namespace {

// An image with padding after each row and a guard zone before the first row and after the last.
// A destination is filled before the kernel runs, so that writes outside the pixels show; a source
// is random throughout, so that reads of its padding show. at() is signed: a model may read the
// element before a row, or the row before the first, as the kernels do, with weight 0.
template <class T>
struct Image {
    size_t width, height, channels = 1, pad = 3;
    T fill = T(0xA5);
    size_t stride = width * channels + pad;            // in elements
    size_t guard = std::max<size_t>(64, stride + 64);  // elements before and after the rows
    std::vector<T> mem = std::vector<T>(2 * guard + stride * height, fill);

    T* data() { return mem.data() + guard; }
    T& at(long x, long y, long c = 0) { return mem[guard + y * stride + x * channels + c]; }
    // Each pixel element equals want(x, y, c) exactly, and every other element holds the fill.
    template <class F>
    testing::AssertionResult matches(F want) {
        Image rest = *this;
        for (size_t y = 0; y < height; ++y)
            for (size_t x = 0; x < width * channels; ++x) {
                if (!(at(0, y, x) == want(x / channels, y, x % channels)))
                    return testing::AssertionFailure() << +at(0, y, x) << " at " << x << "," << y;
                rest.at(0, y, x) = fill;
            }
        return std::count(rest.mem.begin(), rest.mem.end(), fill) == ptrdiff_t(mem.size())
                   ? testing::AssertionSuccess()
                   : testing::AssertionFailure() << "an element outside the pixels changed";
    }
};

// Runs a kernel over the first n elements for n from 0 to 9 (within and beyond the block of four)
// and for all: those elements hold `want`, bit for bit, and the element after them keeps `fill`.
template <class T, class Kernel>
void expectCounts(const std::vector<T>& want, T fill, Kernel kernel) {
    for (size_t n = 0; n <= want.size(); n = n < 9 ? n + 1 : std::max(n + 1, want.size())) {
        std::vector<T> out(want.size() + 1, fill);
        kernel(n, out.data());
        for (size_t i = 0; i <= n; ++i)
            ASSERT_EQ(std::memcmp(&out[i], i < n ? &want[i] : &fill, sizeof(T)), 0)
                << "count " << n << ", element " << i << ": " << +out[i];
    }
}

TEST(HalfFloat, ConversionsFollowTheBitRules) {
    std::vector<uint16_t> half(65536);
    std::vector<float> single(65536);
    for (uint32_t h = 0; h < 65536; ++h) {
        // 1 sign, 5 exponent bits (bias 15), 10 mantissa bits. Exponent 31: infinities and NaNs,
        // payload on top of the mantissa.
        const uint32_t e = (h >> 10) & 31, m = h & 1023, sign = (h & 0x8000) << 16;
        const float v = std::ldexp(float(e ? 1024 + m : m), int(std::max(e, 1u)) - 25);
        half[h] = uint16_t(h);
        single[h] =
            bit_cast<float>(sign | (e == 31 ? 0x7F800000 | m << 13 : bit_cast<uint32_t>(v)));
    }
    expectCounts(single, 3.0f, [&](size_t n, float* o) { halfToFloat(half.data(), n, o); });
    // Back: each half exactly, and again with random float bits below its last bit, which
    // truncation drops, except that above 65504 lies infinity, and that infinity becomes a NaN.
    std::mt19937 rng(11);
    for (uint32_t h = 0; h < 65536; ++h) {
        const uint32_t low = rng() & 0x1FFF, top = h & 0x7FFF;
        single.push_back(bit_cast<float>(bit_cast<uint32_t>(single[h]) | low));
        half.push_back(uint16_t(low && (top == 0x7BFF || top == 0x7C00) ? h + 1 : h));
    }
    // Float bits between halves (each half itself is converted above): just above 65504, the
    // largest half, which is infinity though nearer to 65504, and the largest float; NaNs whose
    // payload lies only in the dropped bits stay NaN; just below the next half above 1.0; just
    // below 2^-14 (the largest subnormal) and 2^-24 (zero), where more than 13 bits are dropped.
    const uint32_t cases[][2] = {{0x477FE001, 0x7C00}, {0xC77FE001, 0xFC00}, {0x7F7FFFFF, 0x7C00},
                                 {0x7F800001, 0x7C01}, {0x7F801FFF, 0x7C01}, {0xFFC00001, 0xFE00},
                                 {0x3F801FFF, 0x3C00}, {0x387FFFFF, 0x03FF}, {0x337FFFFF, 0x0000}};
    for (auto& c : cases) single.push_back(bit_cast<float>(c[0])), half.push_back(uint16_t(c[1]));
    expectCounts(half, uint16_t(0xA5A5),
                 [&](size_t n, uint16_t* o) { floatToHalf(single.data(), n, o); });
}

// Gray and Y, U, V of B, G, R: 14 fraction bits, the coefficients of B, G, R and the offset.
const int64_t kSums[4][4] = {{1868, 9617, 4899, 0},
                             {1606, 8258, 4211, 16},
                             {7193, -4768, -2425, 128},
                             {-1163, -6029, 7193, 128}};

// The weighted sums against the formula for every B, G, R: gray, and Y, U, V, which bgrToI420
// also takes from the block means. One row per value of B. The kernels at block edges, on regions
// and padded rows are held to the same formulas through the vector backend's routes.
TEST(ColorKernels, WeightedSumsOfEveryPixelValue) {
    std::vector<uint8_t> bgr(3 * 65536), out(4 * 65536);
    for (int b = 0; b < 256; ++b) {
        for (int i = 0; i < 3 * 65536; ++i)
            bgr[i] = uint8_t(i % 3 ? i / 3 >> (i % 3 == 1 ? 8 : 0) : b);
        uint8_t* o = out.data();
        bgrToGray(bgr.data(), 65536, 1, 0, o, 0);
        bgrToYuv444Planar(bgr.data(), 65536, 1, 0, o + 65536, 0, o + 2 * 65536, 0, o + 3 * 65536,
                          0);
        for (int i = 0; i < 4 * 65536; ++i) {
            const int64_t* w = kSums[i / 65536];
            const int64_t g = i % 65536 >> 8, r = i & 255;
            ASSERT_EQ(out[i], ((w[0] * b + w[1] * g + w[2] * r + 8192) >> 14) + w[3])
                << "b " << b << " g " << g << " r " << r;
        }
    }
}

TEST(Resizers, FactoryRefusesOtherCombinations) {
    for (auto [t, m] : {std::pair{0, 1}, {0, 3}, {0, 4}, {1, 2}, {1, 4}, {2, 0}})  // type, method
        EXPECT_EQ(makeResizer(4, 4, 2, 2, 1, ResizerChannelType(t), ResizerMethod(m)), nullptr);
}

// The source pixels under destination pixel i on one axis, with their weights. Bilinear: the left
// neighbour by the mapping, clamped into the image, and the fraction f toward the right one;
// floats weigh 1 - f and f, bytes 16 - w and w, w = f * 16 + 0.5 fused and truncated. Area:
// boundary k at k * scale, weight (1 - fraction) * 2048 / scale truncated, or (src - 1, 0) at the
// far edge; each pixel counts with the full weight (boundary 0's) less what the boundaries cut off.
// A neighbour before the first pixel or row has weight 0: it is read from the padding or the guard
// zone, as the kernels do.
using Taps = std::vector<std::pair<int64_t, float>>;
std::vector<Taps> axisTaps(bool floats, ResizerMethod m, int64_t src, int64_t dst) {
    const float scale = m == ResizerMethodBilinearCorners
                            ? (dst > 1 ? float(src - 1) / float(dst - 1) : 0.0f)
                            : float(src) / float(dst);
    auto boundary = [&](int64_t k) -> std::pair<int64_t, float> {
        const float pos = float(k) * scale;
        const int64_t idx = int64_t(std::trunc(pos));
        if (idx == src) return {src - 1, 0};
        return {idx, float(int64_t((1.0f - (pos - float(idx))) * 2048.0f / scale))};
    };
    std::vector<Taps> all(dst);
    for (int64_t i = 0; i < dst; ++i) {
        if (m != ResizerMethodArea) {
            const float pos = m == ResizerMethodBilinear ? std::fmaf(scale, float(i) + 0.5f, -0.5f)
                                                         : float(i) * scale;
            const int64_t idx = std::max<int64_t>(int64_t(std::floor(pos)), 0),
                          left = std::min(idx, src - 2);
            const float f = idx >= src - 1 ? 1.0f : std::max(pos - float(idx), 0.0f);
            const float w = float(int64_t(std::fmaf(f, 16, 0.5f)));
            all[i] = floats ? Taps{{left, 1.0f - f}, {left + 1, f}}
                            : Taps{{left, 16 - w}, {left + 1, w}};
            continue;
        }
        const auto [i0, w0] = boundary(i);
        const auto [i1, w1] = boundary(i + 1);
        for (int64_t k = i0; k <= i1; ++k)
            all[i].push_back({k, (k == i0 ? w0 : boundary(0).second) - (k == i1 ? w1 : 0)});
    }
    return all;
}

// Floats: each blend one fma, with the product of the second tap rounded first. Bytes: one
// rounding, of 8 bits for bilinear, of 22 for area, which writes nothing beyond 4 channels.
template <class T>
T model(Image<T>& s, const Taps& tx, const Taps& ty, ResizerMethod m, size_t c) {
    if constexpr (sizeof(T) == 4) {
        auto blend = [](auto& t, auto v) {
            return std::fmaf(t[0].second, v(t[0].first), t[1].second * v(t[1].first));
        };
        return blend(ty, [&](long j) { return blend(tx, [&](long i) { return s.at(i, j, c); }); });
    } else {
        const int bits = m == ResizerMethodArea ? 22 : 8;
        int64_t acc = int64_t(1) << (bits - 1);
        for (auto [j, wy] : ty)
            for (auto [i, wx] : tx) acc += int64_t(wy) * int64_t(wx) * s.at(i, j, c);
        return bits == 22 && s.channels > 4 ? T(0xA5) : T(acc >> bits);
    }
}

// A resizer against the models, run twice (the second run reuses the tables of the first). Float
// strides in bytes are not multiples of 4: the rest is dropped. The inputs come from mt19937's raw
// output, which the standard fixes, and the outputs go into `hash`, which shows any difference
// between targets, also one that the models share with the kernels on one platform.
// z: source width and height, destination width and height, channels.
template <class T>
void check(ResizerMethod m, const size_t (&z)[5], uint64_t& hash, size_t src_pad = 3,
           size_t dst_pad = 5) {
    std::mt19937 rng(unsigned(z[0] * 1000 + z[2]));
    Image<T> src{z[0], z[1], z[4], src_pad}, dst{z[2], z[3], z[4], dst_pad};
    // Bytes, or floats in [-128, 128) with 24 significant bits: the rows and 64 elements either
    // side first, then the rest of the guard zones.
    const size_t near = src.guard - 64, far = near + src.stride * src.height + 128;
    auto random = [&] { return T(int32_t(rng()) >> 8) * T(sizeof(T) == 4 ? 0x1p-16 : 1); };
    for (size_t i = near; i < far; ++i) src.mem[i] = random();
    for (size_t i = 0; i < src.mem.size(); ++i)
        if (i < near || i >= far) src.mem[i] = random();
    std::unique_ptr<Resizer> r(
        makeResizer(z[0], z[1], z[2], z[3], z[4], ResizerChannelType(sizeof(T) / 4), m));
    for (int pass = 0; pass < 2; ++pass)
        r->run(reinterpret_cast<uint8_t*>(src.data()), src.stride * sizeof(T) + sizeof(T) / 4 * 3,
               reinterpret_cast<uint8_t*>(dst.data()), dst.stride * sizeof(T));
    const auto tx = axisTaps(sizeof(T) == 4, m, z[0], z[2]),
               ty = axisTaps(sizeof(T) == 4, m, z[1], z[3]);
    EXPECT_TRUE(dst.matches([&](auto x, auto y, auto c) { return model(src, tx[x], ty[y], m, c); }))
        << m << ": " << z[0] << "x" << z[1] << " to " << z[2] << "x" << z[3] << " x" << z[4];
    // FNV-1a over the rows and 64 elements either side.
    const uint8_t* begin = reinterpret_cast<const uint8_t*>(dst.data() - 64);
    for (size_t i = 0; i < (dst.stride * dst.height + 128) * sizeof(T); ++i)
        hash = (hash ^ begin[i]) * 1099511628211ull;
}

// Bytes: bilinear and area. Floats: bilinear, corners and origin.
void checkAll(const size_t (&z)[5], uint64_t& hash, size_t pad_u8 = 3, size_t pad_f = 3,
              size_t dst_u8 = 5, size_t dst_f = 5) {
    for (uint32_t m : {0, 2}) check<uint8_t>(ResizerMethod(m), z, hash, pad_u8, dst_u8);
    for (uint32_t m : {0, 1, 3}) check<float>(ResizerMethod(m), z, hash, pad_f, dst_f);
}

TEST(Resizers, MatchModelsWithTheSameBytesOnEveryTarget) {
    const size_t cases[][5] = {{1, 1, 5, 4, 3},     {1, 7, 9, 3, 1},     {7, 1, 3, 9, 2},
                               {17, 13, 17, 13, 3}, {32, 24, 16, 12, 1}, {33, 17, 15, 16, 4},
                               {10, 10, 37, 23, 3}, {100, 3, 17, 50, 1}, {5, 5, 1, 1, 3},
                               {64, 48, 63, 47, 2}, {18, 10, 9, 5, 5},   {9, 5, 18, 10, 3},
                               {2, 3, 700, 500, 1},  // area sums wrap modulo 2^32
                               {5, 7, 48, 48, 2}};   // fused and plain multiply-add map differently
    uint64_t hash = 14695981039346656037ull;
    for (const auto& z : cases) checkAll(z, hash);
    EXPECT_EQ(hash, 2596165990705533994ull);
}

// Source widths around vector blocks, each reduced, kept and enlarged, with 1 to 5 channels and
// heights that reduce, keep and enlarge too; odd strides on both sides. Then more than 2048 source
// pixels under one destination pixel (a whole pixel weighs 0 in 11 bits: footprints are empty,
// the area sum is 0, nothing past the tables is read). The digest is the same on every target.
TEST(Resizers, MatchModelsAtBlockEdges) {
    uint64_t hash = 0;
    for (size_t w : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65}) {
        const size_t h = 1 + w % 9, widths[] = {std::max<size_t>(1, w / 3), (w + 1) / 2, w, w + 7},
                     heights[] = {std::max<size_t>(1, h / 2), h, 2 * h + 1};
        for (size_t i = 0; i < 4; ++i)
            checkAll({w, h, widths[i], heights[(w + i) % 3], 1 + w % 5}, hash, 1 + w % 4, w % 3, 7,
                     1);
    }
    const size_t area[][5] = {
        {2049, 1, 1, 1, 1}, {4097, 1, 2, 1, 1},    {2049, 3, 1, 3, 3},
        {3, 2049, 3, 1, 1}, {4500, 2100, 2, 1, 4},
    };
    for (const auto& z : area) check<uint8_t>(ResizerMethodArea, z, hash);
    EXPECT_EQ(hash, 8544580477036658519ull);
}

}  // namespace
