#include "backend_reference.h"
#include "test_support.h"

namespace {

using zq::Rect;
using zq::Size;
using zqtest::assertsWith;
using zqtest::throwsExactly;

const char* const kContexts =
    "src.deviceContext() == DeviceContext::cpuContext() && src.deviceContext() == dst.deviceContext()";

zq::Frame randomFrame(zq::FrameFormat format, Size size, uint32_t seed) {
    zq::Frame f;
    f.reuse(format, size);
    zqtest::fillRandom(f, seed);
    return f;
}

zq::Frame onDevice(zq::FrameFormat format, Size size) {
    zq::Frame f;
    f.reuse(format, size, zq::DeviceContext(7, 1));
    return f;
}

TEST(CvBackendBase, Property) {
    zq::CvBackendBase backend;
    EXPECT_EQ(backend.getIntProperty(1), 1);
    EXPECT_EQ(backend.getIntProperty(2), -1);
    EXPECT_FALSE(backend.setIntProperty(2, 1));
    EXPECT_EQ(backend.getIntProperty(1), 1);
    EXPECT_TRUE(backend.setIntProperty(1, 0));  // nearest neighbour, accepted here
    EXPECT_EQ(backend.getIntProperty(1), 0);
    EXPECT_TRUE(backend.getDeviceContext() == zq::DeviceContext::cpuContext());
}

TEST(CvBackendBase, Assertions) {
    zq::CvBackendBase backend;
    const zq::Frame src = randomFrame(zq::ZQ_FRAME_BGR24, Size(4, 4), 1);
    zq::Frame dst = randomFrame(zq::ZQ_FRAME_GRAY8, Size(4, 4), 2);
    zq::Frame none;
    zq::Frame gpu = onDevice(zq::ZQ_FRAME_GRAY8, Size(4, 4));
    EXPECT_TRUE(assertsWith([&] { backend.colorCvt(none, dst, Rect()); }, "src.initialized()"));
    EXPECT_TRUE(assertsWith([&] { backend.colorCvt(src, gpu, Rect()); }, kContexts));
    EXPECT_TRUE(assertsWith([&] { backend.resize(src, dst, Rect(), Rect()); },
                            "src.initialized() && src.format() == dst.format()"));
    EXPECT_TRUE(assertsWith([&] { backend.convert(src, none, Rect()); },
                            "src.initialized() && dst.initialized()"));
    EXPECT_TRUE(assertsWith([&] { backend.convert(src, gpu, Rect()); }, kContexts));
    EXPECT_TRUE(assertsWith([&] { backend.add(none, 1.0f, Rect()); }, "src_dst.initialized()"));
    zq::Frame gpu_float = onDevice(zq::ZQ_FRAME_32F_C1, Size(4, 4));
    EXPECT_TRUE(assertsWith([&] { backend.mul(gpu_float, 1.0f, Rect()); },
                            "src_dst.deviceContext() == DeviceContext::cpuContext()"));
}

TEST(CvBackendBase, ColorCvtOfARegionAtTheEdge) {
    zq::CvBackendBase backend;
    const zq::Frame src = randomFrame(zq::ZQ_FRAME_BGR24, Size(9, 7), 3);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 3));
    backend.colorCvt(src, dst, Rect(5, 4, 4, 3));  // touches the right and bottom edges
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) {
            const unsigned char* p = zqtest::at(src, 0, 4 + y, 3 * (5 + x));
            EXPECT_EQ(*zqtest::at(dst, 0, y, x), ref::pipeGray(p[0], p[1], p[2])) << x << "," << y;
        }
    // A region whose size differs from dst fails before anything is written.
    zqtest::fillPlanes(dst, 0x5A);
    EXPECT_TRUE(assertsWith([&] { backend.colorCvt(src, dst, Rect(6, 4, 4, 3)); },
                            "temp.size() == dst.size()"));
    EXPECT_EQ(*zqtest::at(dst, 0, 0, 0), 0x5A);
}

TEST(CvBackendBase, ColorCvtNamedColours) {
    zq::CvBackendBase backend;
    zq::Frame src;
    src.reuse(zq::ZQ_FRAME_BGR24, Size(2, 2));
    zqtest::fillPlanes(src, 255);
    zq::Frame yuv;
    yuv.reuse(zq::ZQ_FRAME_I420, Size(2, 2));
    backend.colorCvt(src, yuv, zq::emptyRoi());
    EXPECT_EQ(*zqtest::at(yuv, 0, 1, 1), 234);
    EXPECT_EQ(*zqtest::at(yuv, 1, 0, 0), 128);
    EXPECT_EQ(*zqtest::at(yuv, 2, 0, 0), 128);
    zq::Frame back;
    back.reuse(zq::ZQ_FRAME_BGR24, Size(2, 2));
    backend.colorCvt(yuv, back, zq::emptyRoi());
    EXPECT_EQ(*zqtest::at(back, 0, 1, 5), 252);
}

TEST(CvBackendBase, ResizeIntoADestinationRegionOnly) {
    zq::CvBackendBase backend;
    const zq::Frame src = randomFrame(zq::ZQ_FRAME_GRAY8, Size(8, 6), 4);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_GRAY8, Size(10, 10));
    zqtest::fillPlanes(dst, 0xEE);
    backend.resize(src, dst, Rect(), Rect(3, 2, 4, 3));
    // The same scaling run directly, for comparison.
    zq::Scaler scaler;
    scaler.reuse(src, Size(4, 3), zq::ZQ_SCALE_BILINEAR);
    zq::Frame expected;
    zq::produceFrame(scaler, expected);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x) {
            const bool inside = x >= 3 && x < 7 && y >= 2 && y < 5;
            EXPECT_EQ(*zqtest::at(dst, 0, y, x), inside ? *zqtest::at(expected, 0, y - 2, x - 3) : 0xEE)
                << x << "," << y;
        }
}

TEST(CvBackendBase, ResizeWithPropertyZeroIsNearestNeighbour) {
    zq::CvBackendBase backend;
    backend.setIntProperty(1, 0);
    zq::Frame src;
    src.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 1));
    for (int x = 0; x < 4; ++x) src.data(0)[x] = uint8_t(10 * (x + 1));
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_GRAY8, Size(2, 1));
    backend.resize(src, dst, Rect(), Rect());
    // Centres of 4 -> 2: columns 1 and 3.
    EXPECT_EQ(dst.data(0)[0], 20);
    EXPECT_EQ(dst.data(0)[1], 40);
    backend.setIntProperty(1, 7);
    EXPECT_TRUE(throwsExactly([&] { backend.resize(src, dst, Rect(), Rect()); },
                              zq::ZQ_STATUS_INVALID_PARAMETER,
                              "Failure in Scaler::reuse(...) : parameter 'method' is invalid 7."));
}

// Records which virtual operations convert() goes through.
class CountingBackend : public zq::CvBackendBase {
public:
    int color_calls = 0, resize_calls = 0;
    void colorCvt(const zq::Frame& s, zq::Frame& d, Rect r) override {
        ++color_calls;
        CvBackendBase::colorCvt(s, d, r);
    }
    void resize(const zq::Frame& s, zq::Frame& d, Rect a, Rect b) override {
        ++resize_calls;
        CvBackendBase::resize(s, d, a, b);
    }
};

TEST(CvBackendBase, ConvertChoosesCopyScaleOrScaleThenConvert) {
    const zq::Frame src = randomFrame(zq::ZQ_FRAME_BGR24, Size(12, 8), 5);
    {
        CountingBackend backend;
        zq::Frame dst;
        dst.reuse(zq::ZQ_FRAME_BGR24, Size(12, 8));
        backend.convert(src, dst, Rect());
        EXPECT_TRUE(zqtest::samePixels(dst, src));
        EXPECT_EQ(backend.color_calls, 1);
        EXPECT_EQ(backend.resize_calls, 0);
    }
    {
        CountingBackend backend;
        zq::Frame dst;
        dst.reuse(zq::ZQ_FRAME_BGR24, Size(6, 4));
        backend.convert(src, dst, Rect());
        EXPECT_EQ(backend.resize_calls, 1);
        zq::Scaler scaler;
        scaler.reuse(src, Size(6, 4), zq::ZQ_SCALE_BILINEAR);
        zq::Frame expected;
        zq::produceFrame(scaler, expected);
        EXPECT_TRUE(zqtest::samePixels(dst, expected));
    }
    {
        // Both differ: scaled in BGR24 first, then converted.
        CountingBackend backend;
        zq::Frame dst;
        dst.reuse(zq::ZQ_FRAME_I420, Size(6, 4));
        backend.convert(src, dst, Rect(2, 0, 10, 8));
        EXPECT_EQ(backend.color_calls + backend.resize_calls, 0);
        const zq::Frame region = zq::getRegion(const_cast<zq::Frame&>(src), Rect(2, 0, 10, 8));
        zq::Scaler scaler;
        scaler.reuse(region, Size(6, 4), zq::ZQ_SCALE_BILINEAR);
        zq::FormatConverter converter;
        converter.reuse(scaler, zq::ZQ_FRAME_I420);
        zq::Frame expected;
        zq::produceFrame(converter, expected);
        EXPECT_TRUE(zqtest::samePixels(dst, expected));
    }
}

struct ArithmeticCase {
    zq::FrameFormat format;
    bool multiply;
};

class CvBackendBaseArithmetic : public ::testing::TestWithParam<ArithmeticCase> {};

// Only the extent of the region counts: its pixels are counted from the
// top-left corner of the frame.
TEST_P(CvBackendBaseArithmetic, RegionExtentFromTheTopLeftCorner) {
    const auto& c = GetParam();
    zq::CvBackendBase backend;
    zq::Frame f;
    f.reuse(c.format, Size(16, 16));
    const auto& layout = f.layout();
    for (int p = 0; p < layout.plane_count; ++p)
        for (int y = 0; y < 16; ++y)
            for (int i = 0; i < layout.planes[p].width * layout.planes[p].channels; ++i)
                reinterpret_cast<float*>(zqtest::at(f, p, y))[i] = float(p * 1000 + y * 50 + i);
    const float value = 2.5f;
    if (c.multiply)
        backend.mul(f, value, Rect(10, 10, 4, 4));
    else
        backend.add(f, value, Rect(10, 10, 4, 4));
    for (int p = 0; p < layout.plane_count; ++p)
        for (int y = 0; y < 16; ++y)
            for (int i = 0; i < layout.planes[p].width * layout.planes[p].channels; ++i) {
                const float before = float(p * 1000 + y * 50 + i);
                const bool inside = y < 4 && i < 4 * layout.planes[p].channels;
                const float expected = inside ? (c.multiply ? before * value : before + value) : before;
                ASSERT_EQ(reinterpret_cast<float*>(zqtest::at(f, p, y))[i], expected)
                    << p << " " << i << "," << y;
            }
    // A zero-width region means the whole frame.
    if (!c.multiply) {
        backend.add(f, 1.0f, Rect(3, 3, 0, 5));
        EXPECT_EQ(reinterpret_cast<float*>(zqtest::at(f, 0, 15))[15], float(15 * 50 + 15) + 1.0f);
    }
    EXPECT_TRUE(assertsWith(
        [&] {
            if (c.multiply)
                backend.mul(f, 1.0f, Rect(16, 0, 4, 4));
            else
                backend.add(f, 1.0f, Rect(16, 0, 4, 4));
        },
        "!src_roi.empty()"));
}

INSTANTIATE_TEST_SUITE_P(FloatFormats, CvBackendBaseArithmetic,
                         ::testing::Values(ArithmeticCase{zq::ZQ_FRAME_32F_C1, false},
                                           ArithmeticCase{zq::ZQ_FRAME_32F_C1, true},
                                           ArithmeticCase{zq::ZQ_FRAME_BGR32F, false},
                                           ArithmeticCase{zq::ZQ_FRAME_BGR32F, true},
                                           ArithmeticCase{zq::ZQ_FRAME_BGR32F_PLANAR, false},
                                           ArithmeticCase{zq::ZQ_FRAME_BGR32F_PLANAR, true}));

TEST(CvBackendBase, ArithmeticRefusesOtherFormats) {
    zq::CvBackendBase backend;
    zq::Frame f = randomFrame(zq::ZQ_FRAME_BGR24, Size(4, 4), 6);
    const zq::Frame before = [&] {
        zq::Frame c;
        f.copyTo(c);
        return c;
    }();
    EXPECT_TRUE(throwsExactly([&] { backend.add(f, 1.0f, Rect()); }, zq::ZQ_STATUS_UNSUPPORTED_FORMAT,
                              "ADD error, unsupported data type."));
    EXPECT_TRUE(throwsExactly([&] { backend.mul(f, 1.0f, Rect()); }, zq::ZQ_STATUS_UNSUPPORTED_FORMAT,
                              "MUL error, unsupported data type."));
    EXPECT_TRUE(zqtest::samePixels(f, before));
}

}  // namespace
