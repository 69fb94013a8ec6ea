#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "simd.h"
#include "simd_test_image.h"

using simd_test::ByteImage;

namespace {

// Reference formulas: 14 fraction bits from BGR, 13 to BGR, arithmetic shifts, in int64.
int64_t gray(int64_t b, int64_t g, int64_t r) {
    return (b * 1868 + g * 9617 + r * 4899 + 8192) >> 14;
}
int64_t lumaY(int64_t b, int64_t g, int64_t r) {
    return ((b * 1606 + g * 8258 + r * 4211 + 8192) >> 14) + 16;
}
int64_t chromaU(int64_t b, int64_t g, int64_t r) {
    return ((b * 7193 - g * 4768 - r * 2425 + 8192) >> 14) + 128;
}
int64_t chromaV(int64_t b, int64_t g, int64_t r) {
    return ((r * 7193 - g * 6029 - b * 1163 + 8192) >> 14) + 128;
}
int64_t toBgr(int64_t Y, int64_t U, int64_t V, int c) {
    const int64_t y = (Y - 16) * 9535, u = U - 128, v = V - 128;
    const int64_t x = c == 0 ? y + u * 16531 : c == 1 ? y - u * 3203 - v * 6660 : y + v * 13074;
    return std::clamp<int64_t>((x + 4096) >> 13, 0, 255);
}

TEST(ColorKernels, WorkedValues) {
    const uint8_t bgr[6] = {255, 255, 255, 0, 0, 0};  // white, black
    uint8_t g[2], y[2], u[2], v[2];
    Simd::bgrToGray(bgr, 2, 1, 6, g, 2);
    Simd::bgrToYuv444Planar(bgr, 2, 1, 6, y, 2, u, 2, v, 2);
    EXPECT_EQ(std::vector<int>({g[0], g[1], y[0], y[1], u[0], u[1], v[0], v[1]}),
              std::vector<int>({255, 0, 235, 16, 128, 128, 128, 128}));
    const uint8_t Y[] = {16, 235, 255, 0}, U[] = {128, 128, 255, 128}, V[] = {128, 128, 128, 128};
    uint8_t out[12];
    Simd::yuv444PlanarToBgr(Y, 4, U, 4, V, 4, 4, 1, out, 12);
    // Black; white ((219 * 9535 + 4096) >> 13); blue and red clamp high; -19 clamps to 0.
    EXPECT_EQ(std::vector<int>(out, out + 12),
              std::vector<int>({0, 0, 0, 255, 255, 255, 255, 229, 255, 0, 0, 0}));
}

// Widths around the 16-pixel block, padded strides. Destinations are filled with another value
// than sources, so a byte copied from a source's padding would show.
class ColorKernels : public testing::TestWithParam<size_t> {};
constexpr uint8_t kDst = 0x5A;

TEST_P(ColorKernels, MatchReferenceFormulas) {
    const size_t w = GetParam(), h = 4, pads[] = {1, 2, 3, 5, 7, 9};
    std::mt19937 rng{unsigned(w)};
    ByteImage bgr(w, h, 3), yuv_in(w, h, 3);
    bgr.randomize(rng), yuv_in.randomize(rng);
    auto out = [&](size_t ch, size_t n) { return ByteImage(w, h, ch, pads[n % 6], kDst); };
    ByteImage g = out(1, 0), g3 = out(3, 1), sw = out(3, 2), p0 = out(1, 3), p1 = out(1, 4),
              p2 = out(1, 5), mg = out(3, 0), y = out(1, 1), u = out(1, 2), v = out(1, 3),
              back = out(3, 4), uv = out(2, 5), su = out(1, 0), sv = out(1, 1), cp = out(3, 2);
    Simd::bgrToGray(bgr.data(), w, h, bgr.stride, g.data(), g.stride);
    Simd::grayToBgr(g.data(), w, h, g.stride, g3.data(), g3.stride);
    Simd::swapChannels3(bgr.data(), w, h, bgr.stride, sw.data(), sw.stride);
    Simd::splitChannels3(bgr.data(), bgr.stride, w, h, p0.data(), p0.stride, p1.data(), p1.stride,
                         p2.data(), p2.stride);
    Simd::mergeChannels3(p0.data(), p0.stride, p1.data(), p1.stride, p2.data(), p2.stride, w, h,
                         mg.data(), mg.stride);
    Simd::bgrToYuv444Planar(bgr.data(), w, h, bgr.stride, y.data(), y.stride, u.data(), u.stride,
                            v.data(), v.stride);
    Simd::mergeUv(p0.data(), p0.stride, p1.data(), p1.stride, w, h, uv.data(), uv.stride);
    Simd::splitUv(uv.data(), uv.stride, w, h, su.data(), su.stride, sv.data(), sv.stride);
    Simd::copyPlane(bgr.data(), bgr.stride, w, h, 3, cp.data(), cp.stride);
    // Arbitrary YUV planes for the inverse: interleaved input split by the kernel tested above.
    ByteImage yi = out(1, 4), ui = out(1, 5), vi = out(1, 0);
    Simd::splitChannels3(yuv_in.data(), yuv_in.stride, w, h, yi.data(), yi.stride, ui.data(),
                         ui.stride, vi.data(), vi.stride);
    Simd::yuv444PlanarToBgr(yi.data(), yi.stride, ui.data(), ui.stride, vi.data(), vi.stride, w, h,
                            back.data(), back.stride);
    for (size_t r = 0; r < h; ++r)
        for (size_t x = 0; x < w; ++x) {
            const int64_t B = bgr.at(x, r, 0), G = bgr.at(x, r, 1), R = bgr.at(x, r, 2);
            ASSERT_EQ(g.at(x, r), gray(B, G, R));
            ASSERT_EQ(y.at(x, r), lumaY(B, G, R));
            ASSERT_EQ(u.at(x, r), chromaU(B, G, R));
            ASSERT_EQ(v.at(x, r), chromaV(B, G, R));
            for (int c = 0; c < 3; ++c) {
                const uint8_t s = bgr.at(x, r, c);
                ASSERT_EQ(g3.at(x, r, c), g.at(x, r));
                ASSERT_EQ(sw.at(x, r, 2 - c), s);
                ASSERT_EQ((c == 0 ? p0 : c == 1 ? p1 : p2).at(x, r), s);
                ASSERT_EQ(mg.at(x, r, c), s);
                ASSERT_EQ(cp.at(x, r, c), s);
                ASSERT_EQ(back.at(x, r, c),
                          toBgr(yuv_in.at(x, r, 0), yuv_in.at(x, r, 1), yuv_in.at(x, r, 2), c));
            }
            ASSERT_TRUE(uv.at(x, r, 0) == p0.at(x, r) && uv.at(x, r, 1) == p1.at(x, r));
            ASSERT_TRUE(su.at(x, r) == p0.at(x, r) && sv.at(x, r) == p1.at(x, r));
        }
    for (auto* img : {&g, &g3, &sw, &p0, &p1, &p2, &mg, &y, &u, &v, &back, &uv, &su, &sv, &cp})
        EXPECT_TRUE(img->outsideUntouched());
}

TEST_P(ColorKernels, I420BlocksMatchReferenceFormulas) {
    const size_t w = GetParam() * 2, h = 4;
    std::mt19937 rng{unsigned(w)};
    ByteImage bgr(w, h, 3), y(w, h, 1, 3, kDst), u(w / 2, h / 2, 1, 3, kDst),
        v(w / 2, h / 2, 1, 4, kDst), back(w, h, 3, 3, kDst);
    bgr.randomize(rng);
    Simd::bgrToI420(bgr.data(), w, h, bgr.stride, y.data(), y.stride, u.data(), u.stride, v.data(),
                    v.stride);
    Simd::i420ToBgr(y.data(), y.stride, u.data(), u.stride, v.data(), v.stride, w, h, back.data(),
                    back.stride);
    for (size_t r = 0; r < h; ++r)
        for (size_t x = 0; x < w; ++x) {
            int64_t m[3] = {};  // block means, rounded half up
            for (int c = 0; c < 3; ++c) {
                for (size_t k = 0; k < 4; ++k)
                    m[c] += bgr.at(x / 2 * 2 + k % 2, r / 2 * 2 + k / 2, c);
                m[c] = (m[c] + 2) >> 2;
            }
            ASSERT_EQ(y.at(x, r), lumaY(bgr.at(x, r, 0), bgr.at(x, r, 1), bgr.at(x, r, 2)));
            ASSERT_EQ(u.at(x / 2, r / 2), chromaU(m[0], m[1], m[2]));
            ASSERT_EQ(v.at(x / 2, r / 2), chromaV(m[0], m[1], m[2]));
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(back.at(x, r, c),
                          toBgr(y.at(x, r), u.at(x / 2, r / 2), v.at(x / 2, r / 2), c));
        }
    for (auto* img : {&y, &u, &v, &back}) EXPECT_TRUE(img->outsideUntouched());
}

INSTANTIATE_TEST_SUITE_P(Widths, ColorKernels, testing::Values(1, 2, 7, 15, 16, 17, 33));

}  // namespace
