#include <zq/core.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

TEST(TensorLayout, TotalSizeFromTheOutermostStride) {
    const zq::TensorLayout dense(zq::TENSOR_FLOAT_16, zq::TENSOR_FORMAT_NCHW,
                                 zq::TensorSize(1, 3, 4, 5), zq::TensorSize(),
                                 zq::TENSOR_ORDER_RGB);
    EXPECT_EQ(dense.bytes(), 3u * 4 * 5 * 2);
    EXPECT_EQ(dense.strides().dims[3], 2u);
    EXPECT_EQ(dense.strides().dims[2], 10u);

    // Padded rows: the total follows the strides.
    const zq::TensorLayout padded(zq::TENSOR_FLOAT_32, zq::TENSOR_FORMAT_NHWC, zq::TensorSize(2, 3),
                                  zq::TensorSize(64, 4), zq::TENSOR_ORDER_NONE);
    EXPECT_EQ(padded.bytes(), 128u);
}

// Constant arithmetic on the pixels of a region; the rest of the plane keeps
// its values, and the C3 forms use one value per channel.
TEST(ConstantArithmetic, ChangesTheRegionOnly) {
    const int width = 5, height = 4, stride = 8 * 3 * 4;  // padded rows
    for (int channels : {1, 3}) {
        for (bool multiply : {false, true}) {
            std::vector<float> plane(size_t(stride / 4) * height);
            for (size_t i = 0; i < plane.size(); ++i) plane[i] = float(i % 17) + 0.5f;
            const std::vector<float> before = plane;
            const zq::Rect region(1, 2, 3, 2);
            const float values[3] = {2.0f, -1.5f, 0.25f};
            auto* data = reinterpret_cast<unsigned char*>(plane.data());
            if (channels == 1)
                (multiply ? zq::mulConstant_32f_C1 : zq::addConstant_32f_C1)(values[0], data,
                                                                             stride, region);
            else
                (multiply ? zq::mulConstant_32f_C3 : zq::addConstant_32f_C3)(values, data, stride,
                                                                             region);
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width * channels; ++x) {
                    const size_t i = size_t(y) * (stride / 4) + x;
                    const bool inside = y >= 2 && y < 4 && x >= channels && x < 4 * channels;
                    const float v = values[channels == 1 ? 0 : x % 3];
                    const float expected =
                        inside ? (multiply ? before[i] * v : before[i] + v) : before[i];
                    EXPECT_EQ(plane[i], expected)
                        << channels << " " << multiply << " " << x << "," << y;
                }
        }
    }
}

}  // namespace
