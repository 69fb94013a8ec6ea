#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "simd.h"

namespace {

uint32_t bits(float f) {
    return std::bit_cast<uint32_t>(f);
}
float fromBits(uint32_t b) {
    return std::bit_cast<float>(b);
}

// The value of a finite half pattern: 1 sign, 5 exponent bits (bias 15), 10 mantissa bits.
float halfValue(uint16_t h) {
    const int e = (h >> 10) & 31, m = h & 1023;
    const double v = e == 0 ? std::ldexp(double(m), -24) : std::ldexp(double(1024 + m), e - 25);
    return float(h & 0x8000 ? -v : v);
}

// Truncation toward zero: the largest half magnitude not above |x|; beyond 65504, infinity.
uint16_t referenceToHalf(float x) {
    static const std::vector<float> magnitudes = [] {
        std::vector<float> m;
        for (uint16_t h = 0; h < 0x7C00; ++h) m.push_back(halfValue(h));
        return m;
    }();
    const float a = std::fabs(x);
    const auto it = std::upper_bound(magnitudes.begin(), magnitudes.end(), a);
    return uint16_t((std::signbit(x) ? 0x8000 : 0) |
                    (a > 65504.0f ? 0x7C00 : it - magnitudes.begin() - 1));
}

TEST(HalfFloat, EveryHalfPatternConvertsExactlyAndBack) {
    std::vector<uint16_t> half(65536), again(65536);
    std::vector<float> single(65536);
    for (size_t i = 0; i < half.size(); ++i) half[i] = uint16_t(i);
    Simd::halfToFloat(half.data(), half.size(), single.data());
    Simd::floatToHalf(single.data(), single.size(), again.data());
    for (uint32_t h = 0; h < 65536; ++h) {
        // Infinities and NaNs: sign, exponent 255, payload on top of the mantissa.
        const uint32_t expected = (h & 0x7C00) == 0x7C00
                                      ? ((h & 0x8000) << 16) | 0x7F800000 | ((h & 0x3FF) << 13)
                                      : bits(halfValue(uint16_t(h)));
        ASSERT_EQ(bits(single[h]), expected) << std::hex << h;
        ASSERT_EQ(again[h], h) << std::hex << h;
    }
}

TEST(HalfFloat, FloatToHalfTruncates) {
    const struct {
        uint32_t in;
        uint16_t out;
    } cases[] = {
        {0x477FE000, 0x7BFF},  // 65504, the largest half
        {0x477FE001, 0x7C00},  // just above: infinity, though nearer to 65504
        {0x7F7FFFFF, 0x7C00}, {0xC77FE001, 0xFC00},
        {0x7F800000, 0x7C00}, {0x7F800001, 0x7C01},  // payload only in dropped bits: stays NaN
        {0x7F801FFF, 0x7C01}, {0x7FC00000, 0x7E00},
        {0xFFC00001, 0xFE00}, {0x3F801FFF, 0x3C00},  // just below the next half above 1.0
        {0x387FFFFF, 0x03FF},                        // just below 2^-14: the largest subnormal
        {0x38800000, 0x0400}, {0x33800000, 0x0001},
        {0x337FFFFF, 0x0000}, {0x80000000, 0x8000},
    };
    for (const auto& c : cases) {
        const float in = fromBits(c.in);
        uint16_t out;
        Simd::floatToHalf(&in, 1, &out);
        EXPECT_EQ(out, c.out) << std::hex << c.in;
    }
    std::mt19937 rng(11);
    std::vector<float> in(10001);
    for (size_t i = 0; i < in.size(); ++i) {
        const uint32_t r = rng();
        // Odd: up to 2^16 in magnitude. Even: any pattern, the top exponent bit cleared when the
        // exponent is all ones (no infinities or NaNs; those are above).
        in[i] = i % 2 ? float(int32_t(r)) * 0x1p-15f
                      : fromBits((r & 0x7F800000) == 0x7F800000 ? r & 0xBFFFFFFF : r);
    }
    std::vector<uint16_t> out(in.size());
    Simd::floatToHalf(in.data(), in.size(), out.data());
    for (size_t i = 0; i < in.size(); ++i)
        ASSERT_EQ(out[i], referenceToHalf(in[i])) << std::hex << bits(in[i]);
}

TEST(DepthKernels, FloatToBytesTruncatesAndHoldsToRange) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        float x, lower, upper;
        uint8_t out;
    } cases[] = {
        {254.9f, 0, 255, 254},   {255.0f, 0, 255, 255}, {300.0f, 0, 255, 255},
        {INFINITY, 0, 255, 255}, {-1.0f, 0, 255, 0},    {-INFINITY, 0, 255, 0},
        {nan, 0, 255, 0},        {0.5f, 0, 1, 127},     {15.0f, 10, 20, 127},
        {20.0f, 10, 20, 255},    {nan, 10, 20, 0},      {9.0f, 10, 20, 0},
    };
    for (const auto& c : cases) {
        uint8_t out;
        Simd::floatToBytes(&c.x, 1, &c.lower, &c.upper, &out);
        EXPECT_EQ(out, c.out) << c.x << " in [" << c.lower << ", " << c.upper << "]";
    }
}

TEST(DepthKernels, FusedMultiplyAddsRoundOnce) {
    // (1 + 2^-12)^2 - (1 + 2^-11) is 2^-24 exactly; a separate multiply would round it to 0.
    const float a = 1.0f + 0x1p-12f;
    float acc = -(1.0f + 0x1p-11f);
    Simd::mulAddFloats(&a, 1, &a, &acc);
    EXPECT_EQ(acc, 0x1p-24f);
    const float lo = 0.25f, hi = 3.5f;  // a range whose / 255 differs from * (1 / 255)
    uint8_t b[255];
    float f[255];
    for (int i = 0; i < 255; ++i) b[i] = uint8_t(i);
    Simd::bytesToFloat(b, 255, &lo, &hi, f);
    for (int i = 0; i < 255; ++i)
        ASSERT_EQ(bits(f[i]), bits(std::fmaf((hi - lo) / 255.0f, float(i), lo))) << i;
}

// Counts below, at and beyond the block of four: each element written once, nothing after.
class DepthCounts : public testing::TestWithParam<size_t> {};

TEST_P(DepthCounts, EveryKernelWritesExactlyCountElements) {
    const size_t n = GetParam();
    const float one = 1.0f, two = 2.0f, lo = 0.0f, hi = 255.0f;
    float in[12], add[12], mul[12], fb[12], fh[12];
    uint8_t bin[12], bout[12];
    uint16_t hin[12], hout[12];
    for (size_t i = 0; i < 12; ++i) {
        in[i] = float(i) + 0.75f, bin[i] = uint8_t(i * 20), hin[i] = uint16_t(0x3C00 + i);
        add[i] = mul[i] = fb[i] = fh[i] = 3.0f, bout[i] = 0xA5, hout[i] = 0xA5A5;
    }
    Simd::addConstantFloats(&one, add, n);
    Simd::mulAddFloats(in, n, &two, mul);
    Simd::bytesToFloat(bin, n, &lo, &hi, fb);  // bounds 0 and 255: values as they are
    Simd::floatToBytes(in, n, &lo, &hi, bout);
    Simd::halfToFloat(hin, n, fh);
    Simd::floatToHalf(in, n, hout);
    for (size_t i = 0; i < 12; ++i) {
        const bool w = i < n;
        EXPECT_EQ(add[i], w ? 4.0f : 3.0f) << i;
        EXPECT_EQ(mul[i], w ? 3.0f + 2.0f * in[i] : 3.0f) << i;
        EXPECT_EQ(fb[i], w ? float(bin[i]) : 3.0f) << i;
        EXPECT_EQ(bout[i], w ? uint8_t(i) : 0xA5) << i;
        EXPECT_EQ(fh[i], w ? 1.0f + float(i) / 1024 : 3.0f) << i;  // 0x3C00 + i: 1 + i / 1024
        EXPECT_EQ(hout[i], w ? referenceToHalf(in[i]) : 0xA5A5) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Counts, DepthCounts, testing::Values(0, 1, 2, 3, 4, 5, 8, 11));

}  // namespace
