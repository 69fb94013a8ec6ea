// Chains of scalers and converters run through produceFrame give the same
// pixels as the same stages run one after the other through whole frames, and
// write into a region of a larger frame without touching its surroundings.
#include "test_support.h"

namespace {

using zq::Size;

zq::Frame randomFrame(zq::FrameFormat format, Size size, uint32_t seed) {
    zq::Frame f;
    f.reuse(format, size);
    zqtest::fillRandom(f, seed);
    return f;
}

struct ChainCase {
    zq::FrameFormat from, to;
    Size src, dst;
    zq::ScaleMethod method;
    bool scale_first;
};

class ScalerConverterChain : public ::testing::TestWithParam<ChainCase> {};

TEST_P(ScalerConverterChain, MatchesTheStagesRunOneByOne) {
    const ChainCase& c = GetParam();
    zq::Frame src = randomFrame(c.from, c.src, 21);

    // Step by step, with the intermediate held as a frame.
    zq::Frame middle, expected;
    zq::Scaler scaler;
    zq::FormatConverter converter;
    if (c.scale_first) {
        scaler.reuse(src, c.dst, c.method);
        zq::produceFrame(scaler, middle);
        converter.reuse(middle, c.to);
        zq::produceFrame(converter, expected);
    } else {
        converter.reuse(src, c.to);
        zq::produceFrame(converter, middle);
        scaler.reuse(middle, c.dst, c.method);
        zq::produceFrame(scaler, expected);
    }

    // Chained, into a region of a larger frame pre-filled with a sentinel.
    zq::Frame big;
    big.reuse(c.to, Size(c.dst.width + 5, c.dst.height + 3));
    zqtest::fillPlanes(big, 0xC3);
    zq::Frame region = zq::getRegion(big, zq::Rect(2, 2, c.dst.width, c.dst.height));
    zq::Scaler chained_scaler;
    zq::FormatConverter chained_converter;
    zq::IRowProducer* last;
    if (c.scale_first) {
        chained_scaler.reuse(src, c.dst, c.method);
        chained_converter.reuse(chained_scaler, c.to);
        last = &chained_converter;
    } else {
        chained_converter.reuse(src, c.to);
        chained_scaler.reuse(chained_converter, c.dst, c.method);
        last = &chained_scaler;
    }
    zq::produceFrame(*last, region);
    EXPECT_TRUE(zqtest::samePixels(region, expected));

    // The sentinel survives around the region.
    const auto& layout = big.layout();
    int touched = 0;
    for (int p = 0; p < layout.plane_count; ++p) {
        const auto& rp = region.layout().planes[p];
        const int sx = layout.planes[p].width < big.width() ? 2 : 1;
        const int sy = layout.planes[p].height < big.height() ? 2 : 1;
        const int bpp = layout.planes[p].row_bytes / layout.planes[p].width;
        for (int y = 0; y < layout.planes[p].height; ++y)
            for (int x = 0; x < layout.planes[p].row_bytes; ++x) {
                const bool inside = y >= 2 / sy && y < 2 / sy + rp.height && x >= (2 / sx) * bpp &&
                                    x < (2 / sx) * bpp + rp.row_bytes;
                if (!inside && *zqtest::at(big, p, y, x) != 0xC3) ++touched;
            }
    }
    EXPECT_EQ(touched, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Chains, ScalerConverterChain,
    ::testing::Values(
        ChainCase{zq::ZQ_FRAME_BGR24, zq::ZQ_FRAME_I420, {23, 17}, {10, 8}, zq::ZQ_SCALE_BILINEAR, true},
        ChainCase{zq::ZQ_FRAME_BGR24, zq::ZQ_FRAME_NV12, {16, 12}, {22, 15}, zq::ZQ_SCALE_AREA, true},
        ChainCase{zq::ZQ_FRAME_BGR24, zq::ZQ_FRAME_GRAY8, {9, 9}, {4, 13}, zq::ZQ_SCALE_NEAREST, true},
        ChainCase{zq::ZQ_FRAME_I420, zq::ZQ_FRAME_BGR24, {20, 14}, {9, 7}, zq::ZQ_SCALE_BILINEAR, true},
        ChainCase{zq::ZQ_FRAME_NV12, zq::ZQ_FRAME_YUV444_PLANAR, {18, 10}, {8, 6}, zq::ZQ_SCALE_AREA, true},
        ChainCase{zq::ZQ_FRAME_BGR24, zq::ZQ_FRAME_I420, {24, 16}, {11, 9}, zq::ZQ_SCALE_BILINEAR, false},
        ChainCase{zq::ZQ_FRAME_BGR24, zq::ZQ_FRAME_YUV24, {15, 11}, {7, 5}, zq::ZQ_SCALE_AREA, false},
        ChainCase{zq::ZQ_FRAME_I420, zq::ZQ_FRAME_BGR24, {12, 8}, {30, 20}, zq::ZQ_SCALE_BILINEAR, false},
        ChainCase{zq::ZQ_FRAME_GRAY8, zq::ZQ_FRAME_BGR24, {10, 10}, {5, 3}, zq::ZQ_SCALE_NEAREST, false}));

}  // namespace
