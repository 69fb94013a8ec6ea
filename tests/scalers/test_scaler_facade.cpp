#include "test_support.h"

namespace {

using zq::Size;
using zqtest::assertsWith;
using zqtest::throwsExactly;

zq::Frame randomFrame(zq::FrameFormat format, Size size, uint32_t seed) {
    zq::Frame f;
    f.reuse(format, size);
    zqtest::fillRandom(f, seed);
    return f;
}

template <typename Stage>
zq::Frame run(Stage& stage) {
    zq::Frame out;
    zq::produceFrame(stage, out);
    return out;
}

TEST(Scaler, InitializedReportsTheReverse) {
    zq::Scaler scaler;
    EXPECT_TRUE(scaler.initialized());
    const zq::Frame src = randomFrame(zq::ZQ_FRAME_GRAY8, Size(4, 4), 1);
    scaler.reuse(src, Size(2, 2), zq::ZQ_SCALE_BILINEAR);
    EXPECT_FALSE(scaler.initialized());
}

TEST(Scaler, SameSizeCopiesWhateverTheMethod) {
    for (int method : {0, 1, 2, 3, 99}) {
        for (auto format : {zq::ZQ_FRAME_I420, zq::ZQ_FRAME_RGB24, zq::ZQ_FRAME_BGR32F}) {
            const zq::Frame src = randomFrame(format, Size(7, 5), 2);
            zq::Scaler scaler;
            scaler.reuse(src, Size(7, 5), zq::ScaleMethod(method));
            EXPECT_TRUE(zqtest::samePixels(run(scaler), src)) << method;
            zqtest::FrameProducer producer(src);
            scaler.reuse(producer, Size(7, 5), zq::ScaleMethod(method));
            EXPECT_TRUE(zqtest::samePixels(run(scaler), src)) << method;
        }
    }
}

// The facade gives the same rows as the single stage it should pick: a stage
// for one axis when only one changes, X then Y for area on both.
TEST(Scaler, PicksTheStageForTheMethodAndAxes) {
    const zq::Frame src = randomFrame(zq::ZQ_FRAME_BGR24, Size(13, 9), 3);
    zq::Scaler scaler;
    {
        scaler.reuse(src, Size(13, 4), zq::ZQ_SCALE_BILINEAR);
        zq::ScalerBilinearY y;
        y.reuse(src, 4);
        EXPECT_TRUE(zqtest::samePixels(run(scaler), run(y)));
    }
    {
        scaler.reuse(src, Size(6, 9), zq::ZQ_SCALE_BILINEAR);
        zq::ScalerBilinearX x;
        x.reuse(src, 6);
        EXPECT_TRUE(zqtest::samePixels(run(scaler), run(x)));
    }
    {
        scaler.reuse(src, Size(20, 5), zq::ZQ_SCALE_BILINEAR);
        zq::ScalerBilinearXY xy;
        xy.reuse(src, Size(20, 5));
        EXPECT_TRUE(zqtest::samePixels(run(scaler), run(xy)));
    }
    {
        scaler.reuse(src, Size(5, 17), zq::ZQ_SCALE_NEAREST);
        zq::ScalerNearestNeighbor nn;
        nn.reuse(src, Size(5, 17));
        EXPECT_TRUE(zqtest::samePixels(run(scaler), run(nn)));
    }
    {
        scaler.reuse(src, Size(5, 4), zq::ZQ_SCALE_AREA);
        zq::ScalerAreaX x;
        x.reuse(src, 5, zq::ZQ_SCALER_FIXED_POINT_16S);
        zq::ScalerAreaY y;
        y.reuse(x, 4, zq::ZQ_SCALER_FIXED_POINT_16S);
        EXPECT_TRUE(zqtest::samePixels(run(scaler), run(y)));
    }
    {
        scaler.reuse(src, Size(13, 4), zq::ZQ_SCALE_AREA);
        zq::ScalerAreaY y;
        y.reuse(src, 4, zq::ZQ_SCALER_FIXED_POINT_16S);
        EXPECT_TRUE(zqtest::samePixels(run(scaler), run(y)));
    }
    {
        scaler.reuse(src, Size(4, 9), zq::ZQ_SCALE_AREA);
        zq::ScalerAreaX x;
        x.reuse(src, 4, zq::ZQ_SCALER_FIXED_POINT_16S);
        EXPECT_TRUE(zqtest::samePixels(run(scaler), run(x)));
    }
}

TEST(Scaler, UnknownMethodKeepsThePreviousStage) {
    const zq::Frame src = randomFrame(zq::ZQ_FRAME_GRAY8, Size(8, 8), 4);
    zq::Scaler scaler;
    scaler.reuse(src, Size(4, 4), zq::ZQ_SCALE_NEAREST);
    EXPECT_TRUE(throwsExactly([&] { scaler.reuse(src, Size(3, 3), zq::ScaleMethod(3)); },
                              zq::ZQ_STATUS_INVALID_PARAMETER,
                              "Failure in Scaler::reuse(...) : parameter 'method' is invalid 3."));
    EXPECT_EQ(scaler.layout().size, Size(4, 4));
    zq::ScalerNearestNeighbor nn;
    nn.reuse(src, Size(4, 4));
    EXPECT_TRUE(zqtest::samePixels(run(scaler), run(nn)));
}

TEST(Scaler, Assertions) {
    zq::Scaler scaler;
    const zq::Frame src = randomFrame(zq::ZQ_FRAME_GRAY8, Size(8, 8), 5);
    EXPECT_TRUE(assertsWith([&] { scaler.reuse(zq::emptyFrame(), Size(2, 2), zq::ZQ_SCALE_AREA); },
                            "src_frame.initialized()"));
    EXPECT_TRUE(assertsWith([&] { scaler.reuse(src, Size(0, 2), zq::ZQ_SCALE_AREA); },
                            "!dst_size.empty()"));
    zq::RowCopier unconfigured;
    EXPECT_TRUE(assertsWith([&] { scaler.reuse(unconfigured, Size(2, 2), zq::ZQ_SCALE_AREA); },
                            "!src_producer.layout().size.empty()"));
    EXPECT_TRUE(scaler.initialized());  // still never configured
}

}  // namespace
