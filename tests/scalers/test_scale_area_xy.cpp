// scaleAreaXY: worked examples, a reference loop over formats and sizes, and
// failures.
#include "area_reference.h"

namespace {

using namespace arearef;

constexpr ScalerPrecision P8 = ZQ_SCALER_FIXED_POINT_8S, P16 = ZQ_SCALER_FIXED_POINT_16S;

TEST(ScaleAreaXY, FlatImagesComeOutSlightlyLowOnFractionalRatios) {
    // 3x3 -> 2x2: a box sums 255 + 127 = 382 on 1 + 1/2 rows, 573 in all, and
    // 573 / 1.5^2 = 254.67, truncated. The four-byte pixels carry 0 in byte 3,
    // which is never summed: byte 3 repeats byte 2.
    struct Case {
        Size src, dst;
        int value;
    };
    const Case cases[] = {{{3, 3}, {2, 2}, 254}, {{10, 10}, {3, 3}, 254}, {{3, 2}, {2, 1}, 254},
                          {{7, 1}, {2, 1}, 254}, {{4, 4}, {2, 2}, 255},   {{5, 5}, {5, 5}, 255},
                          {{7, 1}, {1, 1}, 255}};
    for (const Case& c : cases)
        for (FrameFormat f : {ZQ_FRAME_GRAY8, ZQ_FRAME_8U_C4}) {
            Frame src = makeSource(f, c.src, 1);
            const int bpp = f == ZQ_FRAME_GRAY8 ? 1 : 4;
            for (int y = 0; y < c.src.height; ++y)
                for (int x = 0; x < c.src.width * bpp; ++x)
                    *at(src, 0, y, x) = bpp == 4 && x % 4 == 3 ? 0 : 255;
            scaleAreaXY s;
            s.reuse(src, c.dst, P16);
            const Frame out = run(s);
            for (int y = 0; y < c.dst.height; ++y)
                for (int x = 0; x < c.dst.width * bpp; ++x)
                    EXPECT_EQ(*at(out, 0, y, x), c.value)
                        << c.src.width << "x" << c.src.height << " " << x << "," << y;
        }
}

TEST(ScaleAreaXY, MatchesReferenceForEveryFormatAndSize) {
    const FrameFormat formats[] = {ZQ_FRAME_GRAY8,  ZQ_FRAME_BGR24,         ZQ_FRAME_YUYV,
                                   ZQ_FRAME_YUV24,  ZQ_FRAME_8U_C3,         ZQ_FRAME_UYVY,
                                   ZQ_FRAME_8U_C4,  ZQ_FRAME_8U_C2,         ZQ_FRAME_BGR24_PLANAR,
                                   ZQ_FRAME_YV16,   ZQ_FRAME_YUV444_PLANAR, ZQ_FRAME_NV16,
                                   ZQ_FRAME_16U_C1, ZQ_FRAME_I420,          ZQ_FRAME_YV12,
                                   ZQ_FRAME_NV12,   ZQ_FRAME_NV21};
    using Sizes = std::vector<std::pair<Size, Size>>;
    const Sizes sizes = {{{7, 5}, {3, 2}},  {{10, 10}, {3, 3}}, {{9, 6}, {4, 6}}, {{5, 3}, {1, 1}},
                         {{13, 1}, {5, 1}}, {{1, 1}, {1, 1}},   {{6, 9}, {6, 4}}, {{8, 8}, {4, 4}}};
    // 4:2:0 needs a window of 3 boxes within the source height.
    const Sizes sizes420 = {
        {{8, 8}, {4, 4}}, {{12, 12}, {4, 4}}, {{9, 6}, {4, 6}}, {{7, 12}, {3, 6}}};
    for (FrameFormat f : formats)
        for (const auto& [from, to] : f >= ZQ_FRAME_I420 && f <= ZQ_FRAME_NV21 ? sizes420 : sizes) {
            const Frame src = makeSource(f, from, from.width * 13 + to.height);
            Frame want = makeTarget(f, to);
            areaXY(src, want);
            for (ScalerPrecision p : {P8, P16}) {  // the precision changes nothing
                scaleAreaXY s;
                s.reuse(src, to, p);
                EXPECT_TRUE(sameStrides(run(s), want))
                    << toString(f) << " " << from.width << "x" << from.height << "->" << to.width
                    << "x" << to.height;
            }
        }
}

TEST(ScaleAreaXY, Unsigned32RowIsComputedThenRefused) {
    const Frame src = makeSource(ZQ_FRAME_32U_C1, {7, 5}, 3);
    Frame want = makeTarget(ZQ_FRAME_32U_C1, {3, 2}), got = makeTarget(ZQ_FRAME_32U_C1, {3, 2});
    areaXY(src, want);
    scaleAreaXY s;
    s.reuse(src, {3, 2}, P16);
    for (int r = 0; r < 2; ++r) {
        RowData row;
        row.plane[0] = at(got, 0, r);
        EXPECT_TRUE(zqtest::throwsExactly(
            [&] { s.produce(row); }, ZQ_STATUS_UNSUPPORTED_FORMAT,
            "Failure in scaleAreaXY::produce(...) : unsupported frame format."));
        EXPECT_EQ(s.next(), r == 0);
    }
    EXPECT_FALSE(s.next());
    EXPECT_TRUE(sameStrides(got, want));
}

TEST(ScaleAreaXY, ReuseFailures) {
    const Frame none, gray = makeSource(ZQ_FRAME_GRAY8, {4, 4}, 1);
    const std::string prec =
        "precision == ZQ_SCALER_FIXED_POINT_8S || precision == ZQ_SCALER_FIXED_POINT_16S";
    const char* kUp =
        "Failure in scaleAreaXY::reuse(...) : the area method is implemented for down-scaling "
        "only.";
    scaleAreaXY s;
    EXPECT_TRUE(zqtest::assertsWith(
        [&] {
            s.reuse(none, {0, 0}, ScalerPrecision(7));
        },
        "src_frame.initialized()"));
    for (Size empty : {Size(0, 2), Size(2, 0), Size(-1, 2)})
        EXPECT_TRUE(zqtest::assertsWith([&] { s.reuse(gray, empty, ScalerPrecision(7)); },
                                        "!dst_size.empty()"));
    EXPECT_TRUE(zqtest::assertsWith([&] { s.reuse(gray, {5, 5}, ScalerPrecision(7)); }, prec));
    EXPECT_TRUE(zqtest::throwsExactly(
        [&] {
            s.reuse(gray, {5, 4}, P8);
        },
        ZQ_STATUS_UNSUPPORTED_FORMAT, kUp));
    EXPECT_TRUE(zqtest::throwsExactly(
        [&] {
            s.reuse(gray, {4, 5}, P8);
        },
        ZQ_STATUS_UNSUPPORTED_FORMAT, kUp));
    EXPECT_FALSE(s.initialized());
    for (FrameFormat f : {ZQ_FRAME_RGB24, ZQ_FRAME_RGB24_PLANAR, ZQ_FRAME_32F_C1, ZQ_FRAME_BGR32F,
                          ZQ_FRAME_BGR32F_PLANAR}) {
        s.reuse(makeSource(f, {4, 4}, 1), {4, 4}, P16);  // no short cut at 1:1
        EXPECT_TRUE(zqtest::throwsExactly(
            [&] { run(s); }, ZQ_STATUS_UNSUPPORTED_FORMAT,
            "Failure in scaleAreaXY::produce(...) : unsupported frame format."))
            << toString(f);
    }
}

TEST(ScaleAreaXY, ChromaStepOfA420FrameSurvivesASameSizeReuse) {
    // 4:2:0 from height 4 to 3: 3 box rows, a window of 9 rows, more than 4.
    const char* kRange = "Parameter 'window_size' is out of range.";
    const Frame i420 = makeSource(ZQ_FRAME_I420, {4, 4}, 1),
                gray = makeSource(ZQ_FRAME_GRAY8, {4, 4}, 1);
    scaleAreaXY s, fresh;
    EXPECT_TRUE(zqtest::throwsExactly(
        [&] {
            s.reuse(i420, {3, 3}, P16);
        },
        ZQ_STATUS_OUT_OF_RANGE, kRange));
    // The same sizes keep the steps and the chroma step with them: a window of 9 again.
    EXPECT_TRUE(zqtest::throwsExactly(
        [&] {
            s.reuse(gray, {3, 3}, P16);
        },
        ZQ_STATUS_OUT_OF_RANGE, kRange));
    EXPECT_NO_THROW(fresh.reuse(gray, {3, 3}, P16));
    EXPECT_NO_THROW(s.reuse(gray, {3, 2}, P16));  // other sizes reset it
    EXPECT_NO_THROW(s.reuse(gray, {3, 3}, P16));
}

}  // namespace
