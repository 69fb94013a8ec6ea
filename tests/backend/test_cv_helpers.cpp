#include <cmath>

#include "test_support.h"

namespace {

using zq::Size;
using zqtest::assertsWith;

TEST(ResizeFrame, EmptyRequestsClearTheDestination) {
    zq::Frame src;
    src.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 4));
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_GRAY8, Size(2, 2));
    zq::resizeFrame(src, Size(0, 3), dst, zq::ResizeBilinear);
    EXPECT_FALSE(dst.initialized());
    dst.reuse(zq::ZQ_FRAME_GRAY8, Size(2, 2));
    zq::resizeFrame(zq::emptyFrame(), Size(3, 3), dst, zq::ResizeBilinear);
    EXPECT_FALSE(dst.initialized());
    EXPECT_TRUE(assertsWith([&] { zq::resizeFrame(src, Size(2, 2), dst, zq::ResizeMethod(0)); },
                            "value == ResizeBilinear || value == ResizeArea"));
}

TEST(ResizeFrame, AllocatesAndScales) {
    zq::Frame src;
    src.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 2));
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 4; ++x) *zqtest::at(src, 0, y, x) = uint8_t(40 * x + 100 * y);
    zq::Frame dst;
    zq::resizeFrame(src, Size(2, 1), dst, zq::ResizeArea);
    ASSERT_EQ(dst.size(), Size(2, 1));
    // 2x2 means rounded half up: (0 + 40 + 100 + 140) / 4 = 70.
    EXPECT_EQ(dst.data(0)[0], 70);
    EXPECT_EQ(dst.data(0)[1], 150);
}

TEST(ColorConvert, ConvertsOrClears) {
    zq::Frame dst;
    zq::colorConvert(zq::emptyFrame(), zq::ZQ_FRAME_GRAY8, dst);
    EXPECT_FALSE(dst.initialized());
    zq::Frame src;
    src.reuse(zq::ZQ_FRAME_BGR24, Size(3, 1));
    zqtest::fillPlanes(src, 255);
    zq::colorConvert(src, zq::ZQ_FRAME_NONE, dst);
    EXPECT_FALSE(dst.initialized());
    zq::colorConvert(src, zq::ZQ_FRAME_GRAY8, dst);
    EXPECT_EQ(dst.size(), Size(3, 1));
    EXPECT_EQ(dst.data(0)[2], 255);
    EXPECT_THROW(zq::colorConvert(src, zq::ZQ_FRAME_YUYV, dst), zq::Exception);
}

TEST(HalfFloat, ForwardersConvertEveryElement) {
    const unsigned short half[5] = {0x3C00, 0xC000, 0x0001, 0x7C00, 0x7BFF};
    float f[5];
    zq::convertFp16ToFp32(half, 5, f);
    EXPECT_EQ(f[0], 1.0f);
    EXPECT_EQ(f[1], -2.0f);
    EXPECT_EQ(f[2], std::ldexp(1.0f, -24));
    EXPECT_TRUE(std::isinf(f[3]));
    EXPECT_EQ(f[4], 65504.0f);
    unsigned short back[5];
    zq::convertFp32ToFp16(f, 5, back);
    EXPECT_EQ(std::memcmp(back, half, sizeof(half)), 0);
}

TEST(TensorFp16ToFp32, DoublesStridesAndConvertsPadding) {
    // 2 rows of 3 halves, rows padded to 4 halves (8 bytes).
    zq::Tensor src;
    src.reuse(zq::TensorLayout(zq::TENSOR_FLOAT_16, zq::TENSOR_FORMAT_NHWC, zq::TensorSize(2, 3),
                               zq::TensorSize(8, 2), zq::TENSOR_ORDER_BGR));
    const unsigned short values[8] = {0x3C00, 0x4000, 0x4200, 0x7E00, 0xBC00, 0x0000, 0x8000, 0x3800};
    std::memcpy(src.data(), values, sizeof(values));
    zq::Tensor dst;
    zq::tensorFp16ToFp32(src, dst);
    ASSERT_TRUE(dst.initialized());
    EXPECT_EQ(dst.layout().dataType(), zq::TENSOR_FLOAT_32);
    EXPECT_EQ(dst.layout().channelOrder(), zq::TENSOR_ORDER_NONE);
    EXPECT_EQ(dst.layout().format(), zq::TENSOR_FORMAT_NHWC);
    EXPECT_EQ(dst.layout().strides().dims[0], 16u);
    EXPECT_EQ(dst.layout().strides().dims[1], 4u);
    EXPECT_EQ(dst.layout().bytes(), 32u);
    const float* out = reinterpret_cast<const float*>(dst.data());
    const float expected[8] = {1.0f, 2.0f, 3.0f, NAN, -1.0f, 0.0f, -0.0f, 0.5f};
    for (int i = 0; i < 8; ++i) {
        if (std::isnan(expected[i]))
            EXPECT_TRUE(std::isnan(out[i]));  // the padding element converts too
        else
            EXPECT_EQ(out[i], expected[i]) << i;
    }
    EXPECT_TRUE(std::signbit(out[6]));
}

TEST(TensorFp16ToFp32, Assertions) {
    zq::Tensor empty, dst;
    EXPECT_TRUE(assertsWith([&] { zq::tensorFp16ToFp32(empty, dst); },
                            "src.initialized() && src.layout().dataType() == TENSOR_FLOAT_16"));
    zq::Tensor f32;
    f32.reuse(zq::TensorLayout(zq::TENSOR_FLOAT_32, zq::TENSOR_FORMAT_NCHW, zq::TensorSize(4),
                               zq::TensorSize(), zq::TENSOR_ORDER_NONE));
    EXPECT_TRUE(assertsWith([&] { zq::tensorFp16ToFp32(f32, dst); },
                            "src.initialized() && src.layout().dataType() == TENSOR_FLOAT_16"));
    zq::Tensor half;
    half.reuse(zq::TensorLayout(zq::TENSOR_FLOAT_16, zq::TENSOR_FORMAT_NCHW, zq::TensorSize(4),
                                zq::TensorSize(), zq::TENSOR_ORDER_NONE));
    zq::Tensor on_device;
    on_device.reuse(zq::TensorLayout(zq::TENSOR_FLOAT_32, zq::TENSOR_FORMAT_NCHW, zq::TensorSize(4),
                                     zq::TensorSize(), zq::TENSOR_ORDER_NONE),
                    zq::DeviceContext(3, 0));
    EXPECT_TRUE(assertsWith(
        [&] { zq::tensorFp16ToFp32(half, on_device); },
        "src.deviceContext() == DeviceContext::cpuContext() && src.deviceContext() == dst.deviceContext()"));
}

}  // namespace
