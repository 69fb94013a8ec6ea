#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "simd.h"
#include "simd_test_image.h"

using namespace Simd;
using simd_test::ByteImage;
using simd_test::Image;

namespace {

struct Sizes {
    size_t sw, sh, dw, dh, ch;
};
void PrintTo(const Sizes& z, std::ostream* os) {
    *os << z.sw << "x" << z.sh << " -> " << z.dw << "x" << z.dh << ", " << z.ch << " channels";
}

template <class T>
void resize(Image<T>& src, Image<T>& dst, ResizerMethod method, size_t extra_stride = 0) {
    const auto type = sizeof(T) == 4 ? ResizerChannelFloat : ResizerChannelByte;
    std::unique_ptr<Resizer> r(
        makeResizer(src.width, src.height, dst.width, dst.height, src.channels, type, method));
    for (int pass = 0; pass < 2; ++pass)  // a second run reuses the tables made by the first
        r->run(src.bytes(), src.strideBytes() + extra_stride, dst.bytes(), dst.strideBytes());
}

TEST(Resizers, FactoryServesOnlyItsCombinations) {
    const char* byte[] = {"bilinear", nullptr, "area", nullptr, nullptr};  // by method 0..4
    const char* flt[] = {"float", "float", nullptr, "float", nullptr};
    for (uint32_t type = 0; type < 3; ++type)
        for (uint32_t m = 0; m < 5; ++m) {
            std::unique_ptr<Resizer> r(
                makeResizer(4, 4, 2, 2, 1, ResizerChannelType(type), ResizerMethod(m)));
            const char* got = !r                                                  ? nullptr
                              : dynamic_cast<Base::ResizerByteBilinear*>(r.get()) ? "bilinear"
                              : dynamic_cast<Base::ResizerByteArea*>(r.get())     ? "area"
                                                                                  : "float";
            EXPECT_STREQ(got, type == 0 ? byte[m] : type == 1 ? flt[m] : nullptr) << type << m;
        }
}

TEST(Resizers, AlignedArrayBlocks) {
    EXPECT_EQ(alignedRequestBytes(1, 16), 144u);  // (4 + 143) & ~15
    EXPECT_EQ(alignedRequestBytes(5, 4), 148u);   // 4 + 20 + 127 = 151, down to 148
    AlignedArray<int32_t> a;
    a.resize(0);
    EXPECT_EQ(a.data, nullptr);
    a.resize(10);
    ASSERT_NE(a.data, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a.data) % 16, 0u);
    a.data[-16] = a.data[10 + 15] = a[9] = 42;  // 64 bytes either side belong to the block
    int32_t* before = a.data;
    a.resize(10);
    EXPECT_EQ(a.data, before);
    EXPECT_EQ(a[9], 42);
#if !defined(__SANITIZE_ADDRESS__)  // ASan aborts on an impossible allocation
    const size_t huge = (SIZE_MAX - 1000) / 4;
    testing::internal::CaptureStdout();
    a.resize(huge);
    a.resize(huge);  // same count: no second attempt, no second line
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "The function posix_memalign can't allocate " +
                  std::to_string(alignedRequestBytes(huge, 16)) + " bytes with align 16 !\n");
    EXPECT_EQ(a.data, nullptr);
    EXPECT_EQ(a.size, huge);
#endif
}

// Reference loops, written from the definitions in int64. Neighbours outside the image always
// carry weight 0, so they are read as pixel 0.
template <class T>
T pixel(Image<T>& s, int64_t x, int64_t y, size_t c) {
    return s.at(size_t(std::max<int64_t>(x, 0)), size_t(std::max<int64_t>(y, 0)), c);
}

// Bilinear, centres aligned: pos = fma(scale, i + 0.5, -0.5); left neighbour, 4-bit weight.
void centreMap(size_t src, size_t dst, size_t i, int64_t& idx, int64_t& w) {
    const float pos = std::fmaf(float(src) / float(dst), float(i) + 0.5f, -0.5f);
    idx = std::max<int64_t>(int64_t(std::floor(pos)), 0);
    w = idx >= int64_t(src) - 1 ? 16 : int64_t(std::fmaf(std::max(pos - idx, 0.0f), 16, 0.5f));
    idx = std::min<int64_t>(idx, int64_t(src) - 2);
}

uint8_t bilinearPixel(ByteImage& s, const Sizes& z, size_t x, size_t y, size_t c) {
    int64_t sx, fx, sy, fy;
    centreMap(z.sw, z.dw, x, sx, fx);
    centreMap(z.sh, z.dh, y, sy, fy);
    auto row = [&](int64_t yy) {
        const int64_t a = pixel(s, sx, yy, c), b = pixel(s, sx + 1, yy, c);
        return a * 16 + fx * (b - a);
    };
    return uint8_t((row(sy) * 16 + fy * (row(sy + 1) - row(sy)) + 128) >> 8);
}

// Area: boundary i at i * scale, weight (1 - fraction) * 2048 / scale truncated; (src - 1, 0) at
// the far edge. Each source pixel counts with its share of the footprint on both axes.
void areaBoundary(size_t src, size_t dst, size_t i, int64_t& idx, int64_t& w) {
    const float scale = float(src) / float(dst), pos = float(i) * scale;
    idx = int64_t(std::trunc(pos));
    w = idx == int64_t(src) ? 0 : int64_t(((1.0f - (pos - float(idx))) * 2048.0f) / scale);
    idx = std::min<int64_t>(idx, int64_t(src) - 1);
}

uint8_t areaPixel(ByteImage& s, const Sizes& z, size_t x, size_t y, size_t c) {
    int64_t x0, wx0, x1, wx1, y0, wy0, y1, wy1, zero, wx, wy;
    areaBoundary(z.sw, z.dw, x, x0, wx0), areaBoundary(z.sw, z.dw, x + 1, x1, wx1);
    areaBoundary(z.sh, z.dh, y, y0, wy0), areaBoundary(z.sh, z.dh, y + 1, y1, wy1);
    areaBoundary(z.sw, z.dw, 0, zero, wx), areaBoundary(z.sh, z.dh, 0, zero, wy);
    int64_t acc = 0;
    for (int64_t yy = y0; yy <= y1; ++yy)
        for (int64_t xx = x0; xx <= x1; ++xx)
            acc += ((yy == y0 ? wy0 : wy) - (yy == y1 ? wy1 : 0)) *
                   ((xx == x0 ? wx0 : wx) - (xx == x1 ? wx1 : 0)) * pixel(s, xx, yy, c);
    return uint8_t((acc + (1 << 21)) >> 22);
}

class ByteResizers : public testing::TestWithParam<Sizes> {};

TEST_P(ByteResizers, MatchReferenceLoops) {
    const Sizes z = GetParam();
    std::mt19937 rng(unsigned(z.sw * 1000 + z.dw));
    ByteImage src(z.sw, z.sh, z.ch);
    src.randomize(rng);
    for (ResizerMethod method : {ResizerMethodBilinear, ResizerMethodArea}) {
        ByteImage dst(z.dw, z.dh, z.ch, 5);
        resize(src, dst, method);
        for (size_t y = 0; y < z.dh; ++y)
            for (size_t x = 0; x < z.dw; ++x)
                for (size_t c = 0; c < z.ch; ++c)
                    ASSERT_EQ(+dst.at(x, y, c), method == ResizerMethodBilinear
                                                    ? +bilinearPixel(src, z, x, y, c)
                                                    : +areaPixel(src, z, x, y, c))
                        << "method " << method << " at " << x << "," << y << "," << c;
        EXPECT_TRUE(dst.outsideUntouched());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, ByteResizers,
    testing::Values(Sizes{1, 1, 5, 4, 3}, Sizes{1, 7, 9, 3, 1}, Sizes{7, 1, 3, 9, 2},
                    Sizes{17, 13, 17, 13, 3}, Sizes{32, 24, 16, 12, 1}, Sizes{33, 17, 15, 16, 4},
                    Sizes{10, 10, 37, 23, 3}, Sizes{100, 3, 17, 50, 1}, Sizes{5, 5, 1, 1, 3},
                    Sizes{64, 48, 63, 47, 2},
                    Sizes{2, 3, 700, 500, 1},  // area sums wrap modulo 2^32
                    Sizes{5, 7, 48, 48, 2}));  // fused and plain multiply-add map differently

TEST(ByteResizers, ExactCases) {
    std::mt19937 rng(7);
    ByteImage src(18, 10, 3), bilinear(9, 5, 3), area(9, 5, 3), twice(36, 20, 3);
    src.randomize(rng);
    resize(src, bilinear, ResizerMethodBilinear);
    resize(src, area, ResizerMethodArea);
    resize(src, twice, ResizerMethodArea);
    for (size_t y = 0; y < 20; ++y)
        for (size_t x = 0; x < 36; ++x)
            for (size_t c = 0; c < 3; ++c) {
                // Enlarging by 2 repeats each pixel; halving is the rounded mean of each block
                // (weights 8 + 8 bilinear, 1024 + 1024 area).
                ASSERT_EQ(twice.at(x, y, c), src.at(x / 2, y / 2, c));
                if (x >= 9 || y >= 5) continue;
                const int sum = src.at(2 * x, 2 * y, c) + src.at(2 * x + 1, 2 * y, c) +
                                src.at(2 * x, 2 * y + 1, c) + src.at(2 * x + 1, 2 * y + 1, c);
                ASSERT_EQ(bilinear.at(x, y, c), (sum + 2) >> 2);
                ASSERT_EQ(area.at(x, y, c), (sum + 2) >> 2);
            }
    ByteImage five(4, 4, 5), none(2, 2, 5);
    five.randomize(rng);
    resize(five, none, ResizerMethodArea);  // 5 channels: area writes nothing
    EXPECT_TRUE(none.outsideUntouched() && none.at(0, 0) == 0xA5);
}

// Float bilinear: the three mappings, each blend one fma with the product f * b rounded first.
void floatMap(ResizerMethod m, size_t src, size_t dst, size_t i, int64_t& idx, float& frac) {
    const float pos = m == ResizerMethodBilinear
                          ? std::fmaf(float(src) / float(dst), float(i) + 0.5f, -0.5f)
                      : m == ResizerMethodBilinearCorners
                          ? float(i) * (dst > 1 ? float(src - 1) / float(dst - 1) : 0.0f)
                          : float(i) * (float(src) / float(dst));
    idx = std::max<int64_t>(int64_t(std::floor(pos)), 0);
    frac = idx >= int64_t(src) - 1 ? 1.0f : std::max(pos - float(idx), 0.0f);
    idx = std::min<int64_t>(idx, int64_t(src) - 2);
}

float floatPixel(Image<float>& s, ResizerMethod m, const Sizes& z, size_t x, size_t y, size_t c) {
    int64_t sx, sy;
    float fx, fy;
    floatMap(m, z.sw, z.dw, x, sx, fx);
    floatMap(m, z.sh, z.dh, y, sy, fy);
    auto row = [&](int64_t yy) {
        return std::fmaf(pixel(s, sx, yy, c), 1.0f - fx, fx * pixel(s, sx + 1, yy, c));
    };
    return std::fmaf(1.0f - fy, row(sy), fy * row(sy + 1));
}

class FloatBilinear : public testing::TestWithParam<std::tuple<ResizerMethod, Sizes>> {};

TEST_P(FloatBilinear, MatchesReferenceLoops) {
    const auto [method, z] = GetParam();
    std::mt19937 rng(unsigned(z.sw * 1000 + z.dw));
    Image<float> src(z.sw, z.sh, z.ch), dst(z.dw, z.dh, z.ch, 5);
    src.randomize(rng, std::uniform_real_distribution<float>(-100.0f, 100.0f));
    resize(src, dst, method, 3);  // a byte stride that isn't a multiple of 4 loses the rest
    const bool same = z.sw == z.dw && z.sh == z.dh;  // then every mapping is the identity
    for (size_t y = 0; y < z.dh; ++y)
        for (size_t x = 0; x < z.dw; ++x)
            for (size_t c = 0; c < z.ch; ++c) {
                ASSERT_EQ(std::bit_cast<uint32_t>(dst.at(x, y, c)),
                          std::bit_cast<uint32_t>(floatPixel(src, method, z, x, y, c)))
                    << x << "," << y << "," << c;
                if (same) {
                    ASSERT_EQ(dst.at(x, y, c), src.at(x, y, c));
                }
            }
    EXPECT_TRUE(dst.outsideUntouched());
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, FloatBilinear,
    testing::Combine(testing::Values(ResizerMethodBilinear, ResizerMethodBilinearCorners,
                                     ResizerMethodBilinearOrigin),
                     testing::Values(Sizes{1, 1, 4, 3, 2}, Sizes{1, 5, 7, 2, 1},
                                     Sizes{6, 1, 3, 8, 3}, Sizes{9, 7, 9, 7, 1},
                                     Sizes{16, 12, 8, 6, 3}, Sizes{10, 8, 23, 17, 1},
                                     Sizes{17, 15, 16, 15, 4}, Sizes{5, 4, 1, 1, 2},
                                     Sizes{5, 7, 48, 48, 1})));

// The same bytes on every target: hashes of outputs of fixed inputs, recorded once. The reference
// loops can't see a difference that they share with the kernel on one platform (a float rounding,
// a library function); this can, when the ARM build runs it. mt19937's raw output is fixed by the
// standard, unlike its distributions.
template <class T>
uint64_t resizedHash(size_t sw, size_t sh, size_t dw, size_t dh, size_t ch, ResizerMethod method) {
    std::mt19937 rng(unsigned(sw * 31 + dw));
    std::vector<T> src((sw * sh + 2) * ch), dst(dw * dh * ch);
    for (T& v : src)  // bytes, or floats in [-128, 128) with 24 significant bits
        v = sizeof(T) == 1 ? T(rng() >> 24) : T(float(int32_t(rng() >> 8) - (1 << 23)) * 0x1p-16f);
    std::unique_ptr<Resizer> r(makeResizer(
        sw, sh, dw, dh, ch, sizeof(T) == 4 ? ResizerChannelFloat : ResizerChannelByte, method));
    r->run(reinterpret_cast<const uint8_t*>(src.data() + ch), sw * ch * sizeof(T),
           reinterpret_cast<uint8_t*>(dst.data()), dw * ch * sizeof(T));
    uint64_t h = 14695981039346656037ull;  // FNV-1a
    for (size_t i = 0; i < dst.size() * sizeof(T); ++i)
        h = (h ^ reinterpret_cast<const uint8_t*>(dst.data())[i]) * 1099511628211ull;
    return h;
}

TEST(Resizers, SameBytesOnEveryTarget) {
    EXPECT_EQ(resizedHash<uint8_t>(37, 23, 16, 29, 3, ResizerMethodBilinear),
              11663283649498883901ull);
    EXPECT_EQ(resizedHash<uint8_t>(37, 23, 16, 29, 3, ResizerMethodArea), 12660263567344549902ull);
    EXPECT_EQ(resizedHash<uint8_t>(10, 7, 233, 171, 1, ResizerMethodArea), 18413704533981534057ull);
    EXPECT_EQ(resizedHash<float>(37, 23, 16, 29, 2, ResizerMethodBilinear),
              13821165084344033279ull);
    EXPECT_EQ(resizedHash<float>(37, 23, 16, 29, 2, ResizerMethodBilinearCorners),
              4997100560157414981ull);
    EXPECT_EQ(resizedHash<float>(37, 23, 16, 29, 2, ResizerMethodBilinearOrigin),
              3386637943695830215ull);
}

}  // namespace
