#include <zq/scaler_bilinear.h>
#include <zq/scaler_nn.h>

#include "scaler_reference.h"

namespace {

using scalerref::Kind;
using scalerref::makeFrame;
using zq::Frame;
using zq::Size;
using zqtest::assertsWith;

// Worked by hand from lerp(a, b, f) = ((0x10000 - f) * a + f * b) >> 16, across
// and down, through the one-axis stages and through XY.
TEST(ScalerBilinear, InterpolatesByHand) {
    struct Case {
        zq::FrameFormat format;
        int bytes;
        std::vector<uint32_t> in, out;
    };
    const Case cases[] = {
        {zq::ZQ_FRAME_GRAY8, 1, {0, 100, 200, 250}, {50, 225}},  // at 0x8000, 0x28000
        {zq::ZQ_FRAME_GRAY8, 1, {0, 100, 200, 250}, {150}},      // at 0x18000, the centre
        // At 0, 0x4000, 0xC000, 0x14000: quarters truncate, the last repeats the edge.
        {zq::ZQ_FRAME_GRAY8, 1, {0, 255}, {0, 63, 191, 255}},
        {zq::ZQ_FRAME_16U_C1, 2, {0, 65535}, {0, 16383, 49151, 65535}},
        {zq::ZQ_FRAME_32U_C1, 4, {0, 0xFFFFFFFF}, {0, 0x3FFFFFFF, 0xBFFFFFFF, 0xFFFFFFFF}},
    };
    const std::pair<Kind, bool> variants[] = {
        {Kind::X, true}, {Kind::Y, false}, {Kind::XY, true}, {Kind::XY, false}};
    for (const Case& c : cases)
        for (auto [kind, across] : variants) {
            const int n = int(c.in.size()), m = int(c.out.size());
            Frame src = makeFrame(c.format, across ? Size(n, 1) : Size(1, n), 0);
            for (int i = 0; i < n; ++i)
                scalerref::setSample(zqtest::at(src, 0, across ? 0 : i), across ? i : 0, c.bytes,
                                     c.in[size_t(i)]);
            scalerref::Stages stages;
            Frame out;
            zq::produceFrame(stages.reuse(kind, src, across ? Size(m, 1) : Size(1, m)), out);
            for (int i = 0; i < m; ++i)
                EXPECT_EQ(
                    scalerref::sample(zqtest::at(out, 0, across ? 0 : i), across ? i : 0, c.bytes),
                    c.out[size_t(i)])
                    << zq::toString(c.format) << " " << n << " -> " << m << " kind " << int(kind);
        }
}

TEST(ScalerBilinearX, MatchesReferenceForEveryFormatAndSize) {
    scalerref::checkAgainstReference(Kind::X);
}
TEST(ScalerBilinearY, MatchesReferenceForEveryFormatAndSize) {
    scalerref::checkAgainstReference(Kind::Y);
}
TEST(ScalerBilinearXY, MatchesReferenceForEveryFormatAndSize) {
    scalerref::checkAgainstReference(Kind::XY);
}

// Each stage writing into a region of a larger frame leaves every byte around
// the region as it was.
TEST(Scalers, WriteOnlyTheirRegion) {
    const zq::Rect rects[] = {{3, 5, 13, 14}, {3, 5, 13, 11}, {3, 5, 9, 14}, {3, 5, 13, 14}};
    for (zq::FrameFormat format : {zq::ZQ_FRAME_I420, zq::ZQ_FRAME_NV21, zq::ZQ_FRAME_YUYV,
                                   zq::ZQ_FRAME_UYVY, zq::ZQ_FRAME_32U_C1})
        for (Kind kind : {Kind::Nearest, Kind::X, Kind::Y, Kind::XY}) {
            const zq::Rect rect = rects[int(kind)];
            const Frame src = makeFrame(format, Size(9, 11), 11);
            Frame big_expected = makeFrame(format, Size(40, 30), 0, 0x5A);
            Frame big_actual = makeFrame(format, Size(40, 30), 0, 0x5A);
            Frame region_expected = zq::getRegion(big_expected, rect);
            Frame region_actual = zq::getRegion(big_actual, rect);
            ASSERT_TRUE(scalerref::scale(src, region_expected, kind, true));
            scalerref::Stages stages;
            zq::produceFrame(stages.reuse(kind, src, rect.size()), region_actual);
            EXPECT_EQ(region_actual.buffer(), big_actual.buffer());  // written in place
            EXPECT_TRUE(scalerref::sameStrides(big_actual, big_expected))
                << zq::toString(format) << " kind " << int(kind);
        }
}

// Growing the height pulls each source row once; past the end next() stays
// false and produce() repeats the last row.
TEST(Scalers, FetchRowsOnceAndStayOnTheLastRow) {
    const Frame src = makeFrame(zq::ZQ_FRAME_GRAY8, Size(4, 3), 5);
    for (Kind kind : {Kind::Nearest, Kind::X, Kind::Y, Kind::XY}) {
        zqtest::FrameProducer producer(src);
        scalerref::Stages stages;
        zq::IRowProducer& stage = stages.reuse(kind, producer, Size(6, 7));
        Frame out;
        zq::produceFrame(stage, out);
        EXPECT_EQ(producer.produced, (std::vector<int>{0, 1, 2})) << int(kind);
        EXPECT_FALSE(stage.next());
        std::vector<uint8_t> again(6);
        zq::RowData row;
        row.plane[0] = again.data();
        stage.produce(row);
        EXPECT_EQ(0, std::memcmp(again.data(), zqtest::at(out, 0, out.height() - 1),
                                 size_t(out.layout().planes[0].row_bytes)))
            << int(kind);
    }
}

// X feeding Y and nearest neighbour feeding XY, against the reference applied twice.
TEST(Scalers, FeedEachOther) {
    for (zq::FrameFormat format : zqtest::allFormats()) {
        if (scalerref::elements(format).empty()) continue;
        SCOPED_TRACE(zq::toString(format));
        const Frame src = makeFrame(format, Size(9, 6), 21);
        zq::ScalerBilinearX x;
        zq::ScalerBilinearY y;
        zq::ScalerNearestNeighbor nn;
        zq::ScalerBilinearXY xy;
        x.reuse(src, 5);
        y.reuse(x, 11);
        nn.reuse(src, Size(13, 7));
        xy.reuse(nn, Size(4, 10));
        const std::tuple<zq::IRowProducer*, Kind, Kind> chains[] = {{&y, Kind::X, Kind::Y},
                                                                    {&xy, Kind::Nearest, Kind::XY}};
        for (auto [last, first_kind, last_kind] : chains) {
            Frame mid = makeFrame(format, first_kind == Kind::X ? Size(5, 6) : Size(13, 7), 0);
            Frame expected = makeFrame(format, last->layout().size, 0, 0xA5);
            Frame actual = makeFrame(format, last->layout().size, 0, 0xA5);
            scalerref::scale(src, mid, first_kind, true);
            scalerref::scale(mid, expected, last_kind, false);
            zq::produceFrame(*last, actual);
            EXPECT_TRUE(scalerref::sameStrides(actual, expected)) << "kind " << int(last_kind);
        }
    }
}

TEST(ScalerBilinear, Failures) {
    const Frame gray = makeFrame(zq::ZQ_FRAME_GRAY8, Size(4, 4), 1);
    zqtest::FrameProducer producer(gray);
    zq::RowCopier unconfigured;
    const Frame& none = zq::emptyFrame();
    const char* const kProducer = "!src_producer.layout().size.empty()";
    zq::ScalerBilinearX x;
    zq::ScalerBilinearY y;
    zq::ScalerBilinearXY xy;
    EXPECT_TRUE(assertsWith([&] { x.reuse(none, 2); }, "src_frame.initialized()"));
    EXPECT_TRUE(assertsWith([&] { x.reuse(gray, 0); }, "0 < dst_width"));
    EXPECT_TRUE(assertsWith([&] { x.reuse(unconfigured, 2); }, kProducer));
    EXPECT_TRUE(assertsWith([&] { x.reuse(producer, -1); }, "0 < dst_width"));
    EXPECT_TRUE(assertsWith([&] { y.reuse(none, 2); }, "!src_frame.size().empty()"));
    EXPECT_TRUE(assertsWith([&] { y.reuse(gray, 0); }, "0 < dst_height"));
    EXPECT_TRUE(assertsWith([&] { y.reuse(unconfigured, 2); }, kProducer));
    EXPECT_TRUE(assertsWith([&] { y.reuse(producer, -3); }, "0 < dst_height"));
    EXPECT_TRUE(assertsWith([&] { xy.reuse(none, Size(2, 2)); }, "src_frame.initialized()"));
    EXPECT_TRUE(assertsWith([&] { xy.reuse(gray, Size(0, 2)); }, "!dst_size.empty()"));
    EXPECT_TRUE(assertsWith([&] { xy.reuse(unconfigured, Size(2, 2)); }, kProducer));
    EXPECT_TRUE(assertsWith([&] { xy.reuse(producer, Size(2, -1)); }, "!dst_size.empty()"));
    EXPECT_FALSE(x.initialized() || y.initialized() || xy.initialized());

    // 32768 << 16 is negative: the table checks fire there, not at 32767.
    const Frame wide = makeFrame(zq::ZQ_FRAME_GRAY8, Size(32768, 1), 0);
    const Frame tall = makeFrame(zq::ZQ_FRAME_GRAY8, Size(1, 32768), 0);
    const Frame widest = makeFrame(zq::ZQ_FRAME_GRAY8, Size(32767, 1), 0);
    EXPECT_TRUE(assertsWith([&] { x.reuse(wide, 3); },
                            "_src_xs[dst_width - 1] < (src_size.width << SHIFT)"));
    EXPECT_TRUE(assertsWith([&] { y.reuse(tall, 1); },
                            "_src_ys[dst_height - 1] < (src_layout.size.height << SHIFT)"));
    EXPECT_TRUE(assertsWith([&] { xy.reuse(wide, Size(3, 1)); },
                            "_src_xs[dst_size.width - 1] < (src_size.width << SHIFT)"));
    EXPECT_TRUE(assertsWith([&] { xy.reuse(tall, Size(1, 3)); },
                            "_src_ys[dst_size.height - 1] < (src_size.height << SHIFT)"));
    x.reuse(widest, 3);
    xy.reuse(widest, Size(3, 1));
    EXPECT_TRUE(x.initialized() && xy.initialized());
}

}  // namespace
