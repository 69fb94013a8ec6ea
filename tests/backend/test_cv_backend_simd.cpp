#include <cmath>
#include <limits>

#include "backend_reference.h"
#include "test_support.h"

namespace {

using zq::Rect;
using zq::Size;
using zqtest::assertsWith;
using zqtest::throwsExactly;

const char* const kEven = "src_region.width() % 2 == 0 && src_region.height() % 2 == 0";

zq::Frame randomFrame(zq::FrameFormat format, Size size, uint32_t seed) {
    zq::Frame f;
    f.reuse(format, size);
    zqtest::fillRandom(f, seed);
    return f;
}

zq::Frame frameOf(zq::FrameFormat format, Size size) {
    zq::Frame f;
    f.reuse(format, size);
    return f;
}

float* floatRow(const zq::Frame& f, int p, int y) {
    return reinterpret_cast<float*>(zqtest::at(f, p, y));
}

TEST(CvBackendSimd, Property) {
    zq::CvBackendSimd backend;
    EXPECT_EQ(backend.getIntProperty(1), zq::ResizeBilinear);
    EXPECT_FALSE(backend.setIntProperty(2, 0));
    EXPECT_EQ(backend.getIntProperty(2), -1);
    EXPECT_TRUE(assertsWith([&] { backend.setIntProperty(1, 0); },
                            "value == ResizeBilinear || value == ResizeArea"));
    EXPECT_TRUE(backend.setIntProperty(1, zq::ResizeArea));
    EXPECT_EQ(backend.getIntProperty(1), zq::ResizeArea);
}

TEST(CvBackendSimd, ColorCvtRefusals) {
    zq::CvBackendSimd backend;
    struct Case {
        zq::FrameFormat src, dst;
        Size size;
        zq::Status status;
        std::string text;
    } cases[] = {
        {zq::ZQ_FRAME_YV12, zq::ZQ_FRAME_BGR24, {4, 4}, zq::ZQ_STATUS_UNSUPPORTED_FORMAT,
         "colorCvt: Unsupported src format YV12."},
        {zq::ZQ_FRAME_32F_C1, zq::ZQ_FRAME_YUYV, {4, 4}, zq::ZQ_STATUS_UNSUPPORTED_FORMAT,
         "colorCvt: Unsupported src format 32F_C1."},
        {zq::ZQ_FRAME_RGB24, zq::ZQ_FRAME_GRAY8, {4, 4}, zq::ZQ_STATUS_UNSUPPORTED_FORMAT,
         "colorCvt: Unsupported dst format GRAY8."},
        {zq::ZQ_FRAME_GRAY8, zq::ZQ_FRAME_RGB24, {4, 4}, zq::ZQ_STATUS_UNSUPPORTED_FORMAT,
         "colorCvt: Unsupported dst format RGB24."},
        {zq::ZQ_FRAME_RGB24_PLANAR, zq::ZQ_FRAME_BGR24_PLANAR, {4, 4}, zq::ZQ_STATUS_UNSUPPORTED_FORMAT,
         "colorCvt: Unsupported dst format BGR24_PLANAR."},
        {zq::ZQ_FRAME_BGR24, zq::ZQ_FRAME_NV21, {4, 4}, zq::ZQ_STATUS_UNSUPPORTED_FORMAT,
         "colorCvt: Unsupported dst format NV21."},
        // The even-size rule comes before the destination is looked at.
        {zq::ZQ_FRAME_I420, zq::ZQ_FRAME_GRAY8, {3, 4}, zq::ZQ_STATUS_ASSERTION_FAILED,
         std::string("Assertion failed: ") + kEven},
        {zq::ZQ_FRAME_I420, zq::ZQ_FRAME_YUV24, {3, 4}, zq::ZQ_STATUS_ASSERTION_FAILED,
         std::string("Assertion failed: ") + kEven},
        {zq::ZQ_FRAME_NV12, zq::ZQ_FRAME_I420, {4, 3}, zq::ZQ_STATUS_ASSERTION_FAILED,
         std::string("Assertion failed: ") + kEven},
        {zq::ZQ_FRAME_BGR24, zq::ZQ_FRAME_NV12, {5, 4}, zq::ZQ_STATUS_ASSERTION_FAILED,
         std::string("Assertion failed: ") + kEven},
        {zq::ZQ_FRAME_I420, zq::ZQ_FRAME_YUV24, {4, 4}, zq::ZQ_STATUS_UNSUPPORTED_FORMAT,
         "colorCvt: Unsupported dst format YUV24."},
    };
    for (const auto& c : cases) {
        const zq::Frame src = randomFrame(c.src, c.size, 1);
        zq::Frame dst = frameOf(c.dst, c.size);
        zqtest::fillPlanes(dst, 0x77);
        EXPECT_TRUE(throwsExactly([&] { backend.colorCvt(src, dst, Rect()); }, c.status, c.text))
            << zq::toString(c.src) << " -> " << zq::toString(c.dst);
        EXPECT_EQ(*zqtest::at(dst, 0, 0), 0x77);
    }
    const zq::Frame src = randomFrame(zq::ZQ_FRAME_BGR24, Size(6, 6), 2);
    zq::Frame small = frameOf(zq::ZQ_FRAME_GRAY8, Size(6, 6));
    EXPECT_TRUE(assertsWith([&] { backend.colorCvt(src, small, Rect(1, 1, 4, 4)); },
                            "src_region.size() == dst.size()"));
    zq::Frame none;
    EXPECT_TRUE(assertsWith([&] { backend.colorCvt(src, none, Rect()); },
                            "src.initialized() && dst.initialized()"));
}

TEST(CvBackendSimd, SameFormatCopiesAnyRegionAndFormat) {
    zq::CvBackendSimd backend;
    for (auto format : {zq::ZQ_FRAME_YUYV, zq::ZQ_FRAME_I420, zq::ZQ_FRAME_16U_C1}) {
        zq::Frame src = randomFrame(format, Size(9, 7), 3);
        zq::Frame dst = frameOf(format, Size(3, 5));
        backend.colorCvt(src, dst, Rect(1, 1, 3, 5));
        EXPECT_TRUE(zqtest::samePixels(dst, zq::getRegion(src, Rect(1, 1, 3, 5))));
    }
}

// Runs one conversion on a random frame and checks every output pixel with
// the formulas, so that a wrong plane, channel or route shows.
TEST(CvBackendSimd, RoutesComputeTheKernelFormulas) {
    zq::CvBackendSimd backend;
    const Size size(6, 4);
    const zq::Frame bgr = randomFrame(zq::ZQ_FRAME_BGR24, size, 11);
    auto px = [&](int x, int y, int c) { return int(*zqtest::at(bgr, 0, y, 3 * x + c)); };

    zq::Frame gray = frameOf(zq::ZQ_FRAME_GRAY8, size);
    backend.colorCvt(bgr, gray, Rect());
    zq::Frame yuv444 = frameOf(zq::ZQ_FRAME_YUV444_PLANAR, size);
    backend.colorCvt(bgr, yuv444, Rect());
    zq::Frame yuv24 = frameOf(zq::ZQ_FRAME_YUV24, size);
    backend.colorCvt(bgr, yuv24, Rect());
    zq::Frame i420 = frameOf(zq::ZQ_FRAME_I420, size);
    backend.colorCvt(bgr, i420, Rect());
    zq::Frame nv12 = frameOf(zq::ZQ_FRAME_NV12, size);
    backend.colorCvt(bgr, nv12, Rect());
    zq::Frame rgb = frameOf(zq::ZQ_FRAME_RGB24, size);
    backend.colorCvt(bgr, rgb, Rect());
    zq::Frame planar = frameOf(zq::ZQ_FRAME_BGR24_PLANAR, size);
    backend.colorCvt(bgr, planar, Rect());

    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const int b = px(x, y, 0), g = px(x, y, 1), r = px(x, y, 2);
            EXPECT_EQ(*zqtest::at(gray, 0, y, x), ref::simdGray(b, g, r));
            EXPECT_EQ(*zqtest::at(yuv444, 0, y, x), ref::simdY(b, g, r));
            EXPECT_EQ(*zqtest::at(yuv444, 1, y, x), ref::simdU(b, g, r));
            EXPECT_EQ(*zqtest::at(yuv444, 2, y, x), ref::simdV(b, g, r));
            for (int c = 0; c < 3; ++c) {
                EXPECT_EQ(*zqtest::at(yuv24, 0, y, 3 * x + c), *zqtest::at(yuv444, c, y, x));
                EXPECT_EQ(*zqtest::at(rgb, 0, y, 3 * x + c), px(x, y, 2 - c));
                EXPECT_EQ(*zqtest::at(planar, c, y, x), px(x, y, c));
            }
            EXPECT_EQ(*zqtest::at(i420, 0, y, x), ref::simdY(b, g, r));
            EXPECT_EQ(*zqtest::at(nv12, 0, y, x), ref::simdY(b, g, r));
        }
    // Chroma of 2x2 blocks: channel means rounded to 8 bits first.
    for (int y = 0; y < size.height / 2; ++y)
        for (int x = 0; x < size.width / 2; ++x) {
            int m[3];
            for (int c = 0; c < 3; ++c)
                m[c] = (px(2 * x, 2 * y, c) + px(2 * x + 1, 2 * y, c) + px(2 * x, 2 * y + 1, c) +
                        px(2 * x + 1, 2 * y + 1, c) + 2) >> 2;
            EXPECT_EQ(*zqtest::at(i420, 1, y, x), ref::simdU(m[0], m[1], m[2]));
            EXPECT_EQ(*zqtest::at(i420, 2, y, x), ref::simdV(m[0], m[1], m[2]));
            EXPECT_EQ(*zqtest::at(nv12, 1, y, 2 * x), ref::simdU(m[0], m[1], m[2]));
            EXPECT_EQ(*zqtest::at(nv12, 1, y, 2 * x + 1), ref::simdV(m[0], m[1], m[2]));
        }

    // Back to BGR: I420 directly, NV12 through I420, the 4:4:4 formats per pixel.
    for (const zq::Frame* src : {&i420, &nv12, &yuv444, &yuv24}) {
        zq::Frame out = frameOf(zq::ZQ_FRAME_BGR24, size);
        backend.colorCvt(*src, out, Rect());
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x) {
                int Y, U, V;
                if (src == &i420 || src == &nv12) {
                    Y = *zqtest::at(i420, 0, y, x);
                    U = *zqtest::at(i420, 1, y / 2, x / 2);
                    V = *zqtest::at(i420, 2, y / 2, x / 2);
                } else {
                    Y = *zqtest::at(yuv444, 0, y, x);
                    U = *zqtest::at(yuv444, 1, y, x);
                    V = *zqtest::at(yuv444, 2, y, x);
                }
                uint8_t e[3];
                ref::simdBgr(Y, U, V, e);
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(*zqtest::at(out, 0, y, 3 * x + c), e[c])
                        << zq::toString(src->format()) << " " << x << "," << y << " c" << c;
            }
    }
    // To gray from a luma/chroma format: the luma plane as it is.
    for (const zq::Frame* src : {&i420, &nv12, &yuv444, &yuv24}) {
        zq::Frame out = frameOf(zq::ZQ_FRAME_GRAY8, size);
        backend.colorCvt(*src, out, Rect());
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x)
                EXPECT_EQ(*zqtest::at(out, 0, y, x), *zqtest::at(yuv444, 0, y, x));
    }
    // NV12 <-> I420 are exact rearrangements.
    zq::Frame nv12_from_i420 = frameOf(zq::ZQ_FRAME_NV12, size);
    backend.colorCvt(i420, nv12_from_i420, Rect());
    EXPECT_TRUE(zqtest::samePixels(nv12_from_i420, nv12));
    zq::Frame i420_from_nv12 = frameOf(zq::ZQ_FRAME_I420, size);
    backend.colorCvt(nv12, i420_from_nv12, Rect());
    EXPECT_TRUE(zqtest::samePixels(i420_from_nv12, i420));
}

TEST(CvBackendSimd, OddSizesOutsideTheFourTwoZeroFormats) {
    zq::CvBackendSimd backend;
    const Size odd(5, 3);
    const zq::Frame bgr = randomFrame(zq::ZQ_FRAME_BGR24, odd, 12);
    zq::Frame yuv24 = frameOf(zq::ZQ_FRAME_YUV24, odd);
    backend.colorCvt(bgr, yuv24, Rect());  // through the temporary frame
    zq::Frame back = frameOf(zq::ZQ_FRAME_BGR24, odd);
    backend.colorCvt(yuv24, back, Rect());
    for (int x = 0; x < 5; ++x) {
        const unsigned char* p = zqtest::at(bgr, 0, 2, 3 * x);
        const unsigned char* q = zqtest::at(yuv24, 0, 2, 3 * x);
        EXPECT_EQ(q[0], ref::simdY(p[0], p[1], p[2]));
        uint8_t e[3];
        ref::simdBgr(q[0], q[1], q[2], e);
        EXPECT_EQ(*zqtest::at(back, 0, 2, 3 * x + 1), e[1]);
    }
}

// Byte <-> float routes copy values in memory order, whatever the names of the
// formats say, both for dense frames and for regions (row by row).
TEST(CvBackendSimd, FloatRoutesKeepMemoryOrder) {
    zq::CvBackendSimd backend;
    zq::Frame rgb = randomFrame(zq::ZQ_FRAME_RGB24, Size(7, 5), 13);
    for (Rect roi : {Rect(), Rect(1, 1, 4, 3)}) {
        const zq::Frame src = roi.empty() ? rgb : zq::getRegion(rgb, roi);
        zq::Frame f = frameOf(zq::ZQ_FRAME_BGR32F, src.size());
        backend.colorCvt(rgb, f, roi);
        zq::Frame fp = frameOf(zq::ZQ_FRAME_BGR32F_PLANAR, src.size());
        backend.colorCvt(rgb, fp, roi);
        for (int y = 0; y < src.height(); ++y)
            for (int x = 0; x < src.width(); ++x)
                for (int c = 0; c < 3; ++c) {
                    const float v = float(*zqtest::at(src, 0, y, 3 * x + c));
                    EXPECT_EQ(floatRow(f, 0, y)[3 * x + c], v);
                    EXPECT_EQ(floatRow(fp, c, y)[x], v);
                }
        zq::Frame bgr = frameOf(zq::ZQ_FRAME_BGR24, src.size());
        backend.colorCvt(f, bgr, Rect());
        for (int y = 0; y < src.height(); ++y)
            EXPECT_EQ(std::memcmp(zqtest::at(bgr, 0, y), zqtest::at(src, 0, y), size_t(3 * src.width())), 0);
        zq::Frame planar = frameOf(zq::ZQ_FRAME_RGB24_PLANAR, src.size());
        backend.colorCvt(fp, planar, Rect());
        for (int y = 0; y < src.height(); ++y)
            for (int x = 0; x < src.width(); ++x)
                EXPECT_EQ(*zqtest::at(planar, 2, y, x), *zqtest::at(src, 0, y, 3 * x + 2));
    }
    // Out-of-range floats: truncated, clamped to the bounds; not-a-number gives 0.
    zq::Frame f = frameOf(zq::ZQ_FRAME_BGR32F, Size(2, 1));
    const float values[6] = {-1.0f, 254.9f, 300.0f, std::numeric_limits<float>::quiet_NaN(), 255.0f, 0.5f};
    std::memcpy(f.data(0), values, sizeof(values));
    zq::Frame out = frameOf(zq::ZQ_FRAME_BGR24, Size(2, 1));
    backend.colorCvt(f, out, Rect());
    const unsigned char expected[6] = {0, 254, 255, 0, 255, 0};
    EXPECT_EQ(std::memcmp(out.data(0), expected, 6), 0);
}

TEST(CvBackendSimd, ResizeOnePlaneAtATime) {
    zq::CvBackendSimd backend;
    // Equal sizes: each pixel maps to itself through the bilinear arithmetic.
    for (auto format : {zq::ZQ_FRAME_I420, zq::ZQ_FRAME_NV12, zq::ZQ_FRAME_BGR24}) {
        const zq::Frame src = randomFrame(format, Size(10, 6), 14);
        zq::Frame dst = frameOf(format, Size(10, 6));
        backend.resize(src, dst, Rect(0, 0, 0, 100), Rect());
        EXPECT_TRUE(zqtest::samePixels(dst, src)) << zq::toString(format);
    }
    // 2:1 by area on NV12: the chroma plane averages U and V pairs separately.
    backend.setIntProperty(1, zq::ResizeArea);
    const zq::Frame src = randomFrame(zq::ZQ_FRAME_NV12, Size(8, 4), 15);
    zq::Frame dst = frameOf(zq::ZQ_FRAME_NV12, Size(4, 2));
    backend.resize(src, dst, Rect(), Rect());
    for (int c = 0; c < 2; ++c) {
        const int sum = *zqtest::at(src, 1, 0, c) + *zqtest::at(src, 1, 0, 2 + c) +
                        *zqtest::at(src, 1, 1, c) + *zqtest::at(src, 1, 1, 2 + c);
        EXPECT_EQ(*zqtest::at(dst, 1, 0, c), (sum * 1024 * 1024 + (1 << 21)) >> 22);
    }
    const int luma = *zqtest::at(src, 0, 2, 6) + *zqtest::at(src, 0, 2, 7) +
                     *zqtest::at(src, 0, 3, 6) + *zqtest::at(src, 0, 3, 7);
    EXPECT_EQ(*zqtest::at(dst, 0, 1, 3), (luma * 1024 * 1024 + (1 << 21)) >> 22);
}

TEST(CvBackendSimd, ResizeChecks) {
    zq::CvBackendSimd backend;
    zq::Frame none;
    zq::Frame gray = frameOf(zq::ZQ_FRAME_GRAY8, Size(4, 4));
    zq::Frame bgr = frameOf(zq::ZQ_FRAME_BGR24, Size(4, 4));
    EXPECT_TRUE(assertsWith([&] { backend.resize(none, gray, Rect(), Rect()); },
                            "src.initialized() && src.format() == dst.format()"));
    EXPECT_TRUE(assertsWith([&] { backend.resize(gray, bgr, Rect(), Rect()); },
                            "src.initialized() && src.format() == dst.format()"));
    zq::Frame deep = frameOf(zq::ZQ_FRAME_16U_C1, Size(4, 4));
    zq::Frame deep2 = frameOf(zq::ZQ_FRAME_16U_C1, Size(2, 2));
    EXPECT_TRUE(assertsWith([&] { backend.resize(deep, deep2, Rect(), Rect()); },
                            "bits_per_channel == 8 || bits_per_channel == 32"));
}

TEST(CvBackendSimd, FloatResizeIsBilinear) {
    zq::CvBackendSimd backend;
    zq::Frame src = frameOf(zq::ZQ_FRAME_32F_C1, Size(4, 1));
    const float row[4] = {0.0f, 4.0f, 8.0f, 12.0f};
    std::memcpy(src.data(0), row, sizeof(row));
    zq::Frame dst = frameOf(zq::ZQ_FRAME_32F_C1, Size(2, 1));
    backend.resize(src, dst, Rect(), Rect());
    // Centres 0.5 and 2.5: halfway between neighbours.
    EXPECT_EQ(floatRow(dst, 0, 0)[0], 2.0f);
    EXPECT_EQ(floatRow(dst, 0, 0)[1], 10.0f);
}

TEST(CvBackendSimd, ConvertResizesThenConverts) {
    zq::CvBackendSimd backend;
    zq::Frame src = randomFrame(zq::ZQ_FRAME_BGR24, Size(12, 8), 16);
    zq::Frame dst = frameOf(zq::ZQ_FRAME_GRAY8, Size(6, 4));
    backend.convert(src, dst, Rect(2, 0, 10, 8));
    zq::Frame resized = frameOf(zq::ZQ_FRAME_BGR24, Size(6, 4));
    backend.resize(zq::getRegion(src, Rect(2, 0, 10, 8)), resized, Rect(), Rect());
    zq::Frame expected = frameOf(zq::ZQ_FRAME_GRAY8, Size(6, 4));
    backend.colorCvt(resized, expected, Rect());
    EXPECT_TRUE(zqtest::samePixels(dst, expected));

    zq::Frame same = frameOf(zq::ZQ_FRAME_BGR24, Size(10, 8));
    backend.convert(src, same, Rect(2, 0, 10, 8));
    EXPECT_TRUE(zqtest::samePixels(same, zq::getRegion(src, Rect(2, 0, 10, 8))));
}

TEST(CvBackendSimd, AddAndMulOnRegionsAtTheirPosition) {
    zq::CvBackendSimd backend;
    for (auto format : {zq::ZQ_FRAME_32F_C1, zq::ZQ_FRAME_BGR32F, zq::ZQ_FRAME_BGR32F_PLANAR}) {
        for (Rect roi : {Rect(), Rect(2, 1, 3, 2)}) {
            zq::Frame f = frameOf(format, Size(7, 4));
            const auto& layout = f.layout();
            auto init = [&](int p, int y, int i) { return float(p * 100 + y * 20 + i) - 30.0f; };
            for (int p = 0; p < layout.plane_count; ++p)
                for (int y = 0; y < 4; ++y)
                    for (int i = 0; i < 7 * layout.planes[p].channels; ++i) floatRow(f, p, y)[i] = init(p, y, i);
            backend.add(f, 1.5f, roi);
            backend.mul(f, -2.0f, roi);
            const int channels = layout.planes[0].channels;
            for (int p = 0; p < layout.plane_count; ++p)
                for (int y = 0; y < 4; ++y)
                    for (int i = 0; i < 7 * channels; ++i) {
                        const int x = i / channels;
                        const bool inside = roi.empty() || (x >= 2 && x < 5 && y >= 1 && y < 3);
                        const float expected = inside ? (init(p, y, i) + 1.5f) * -2.0f : init(p, y, i);
                        ASSERT_EQ(floatRow(f, p, y)[i], expected)
                            << zq::toString(format) << " p" << p << " " << i << "," << y;
                    }
        }
    }
}

TEST(CvBackendSimd, MulOnAnUnsupportedFormatZeroesTheRegionThenThrows) {
    zq::CvBackendSimd backend;
    zq::Frame f = randomFrame(zq::ZQ_FRAME_BGR24, Size(6, 4), 17);
    zqtest::fillPlanes(f, 9);
    EXPECT_TRUE(throwsExactly([&] { backend.add(f, 1.0f, Rect(1, 1, 2, 2)); },
                              zq::ZQ_STATUS_UNSUPPORTED_FORMAT, "add: Unsupported src format BGR24."));
    EXPECT_EQ(*zqtest::at(f, 0, 1, 3), 9);
    EXPECT_TRUE(throwsExactly([&] { backend.mul(f, 1.0f, Rect(1, 1, 2, 2)); },
                              zq::ZQ_STATUS_UNSUPPORTED_FORMAT, "mul: Unsupported src format BGR24."));
    EXPECT_EQ(*zqtest::at(f, 0, 1, 3), 0);
    EXPECT_EQ(*zqtest::at(f, 0, 1, 8), 0);
    EXPECT_EQ(*zqtest::at(f, 0, 1, 9), 9);
    EXPECT_EQ(*zqtest::at(f, 0, 0, 3), 9);
}

TEST(CvBackendSimd, MulByOneAndZero) {
    zq::CvBackendSimd backend;
    zq::Frame f = frameOf(zq::ZQ_FRAME_32F_C1, Size(5, 2));
    for (int i = 0; i < 5; ++i) floatRow(f, 0, 0)[i] = floatRow(f, 0, 1)[i] = 0.1f * float(i) - 0.2f;
    backend.mul(f, 1.0f, Rect());
    EXPECT_EQ(floatRow(f, 0, 1)[4], 0.1f * 4.0f - 0.2f);
    backend.mul(f, 0.0f, Rect());
    for (int i = 0; i < 5; ++i) EXPECT_EQ(floatRow(f, 0, 0)[i], 0.0f);
}

}  // namespace
