// The scaler stages against their reference models, what they keep between reuse calls, and
// failures.
#include "reference.h"

namespace {

using namespace ref;
using zqtest::throwsExactly;

const std::string kRange = "Parameter 'window_size' is out of range.";

// Every format over odd sizes, 1-pixel sources and destinations, both directions on each axis, an
// unchanged axis, reductions that skip rows or reach 200 times; through one object of each kind,
// so that its tables are kept while only the format changes; fed by the frame, then by a producer
// whose rows must be pulled once each; into a region of a larger frame whose other bytes must
// stay; then past the last row, where next() stays false and produce() repeats that row.
TEST(Scalers, MatchTheReferenceForEveryFormatAndSize) {
    const std::pair<Size, Size> sizes[] = {
        {{7, 5}, {3, 7}},   {{5, 9}, {12, 4}},  {{1, 1}, {4, 3}},   {{6, 6}, {1, 1}},
        {{9, 7}, {9, 3}},   {{9, 7}, {9, 11}},  {{8, 4}, {5, 4}},   {{33, 17}, {20, 31}},
        {{12, 13}, {4, 5}}, {{2, 8}, {1, 1}},   {{6, 3}, {4, 2}},   {{3, 3}, {2, 2}},
        {{10, 12}, {3, 3}}, {{200, 3}, {7, 2}}, {{5, 200}, {7, 7}}, {{2, 10}, {9, 3}},
        {{13, 1}, {5, 1}},  {{1, 1}, {1, 1}},   {{7, 12}, {3, 6}},  {{9, 6}, {4, 6}},
        {{300, 3}, {2, 2}}, {{3, 300}, {2, 2}}};  // more than 128 times: 8-bit area weights of 0
    for (Kind kind : {Nearest, X, Y, XY, AreaX, AreaY, AreaXY})
        for (ScalerPrecision prec : {P8, P16}) {
            if (kind < AreaX && prec == P8) continue;
            Stages stages;
            for (auto [from, to] : sizes)
                for (FrameFormat f : zqtest::allFormats()) {
                    const Size dst = shape(kind, from, to);
                    // Out of the contract: scaleAreaXY enlarging, or on 4:2:0 unless both
                    // vertical steps are whole and equal and 3 boxes fit the height.
                    if (kind == AreaXY && (dst.width > from.width || dst.height > from.height ||
                                           (is420(f) && (dst.height % 2 || dst.height < 4 ||
                                                         from.height % dst.height))))
                        continue;
                    SCOPED_TRACE(::testing::Message()
                                 << kNames[kind] << " p" << prec << " " << toString(f) << " "
                                 << from.width << "x" << from.height << "->" << dst.width << "x"
                                 << dst.height);
                    const Frame src = make(f, from, 7u + f + 3u * from.width);
                    for (bool feed : {false, true}) {
                        // A producer's window is not clamped to its height, and one that skips
                        // rows misses the chroma of some.
                        if (feed &&
                            (kind == AreaXY || ((kind == Y || kind == XY) && from.height < 4) ||
                             (kind <= XY && kind != X && is420(f) && dst.height < from.height)))
                            break;
                        const Size big(dst.width + 7, dst.height + 6);
                        Frame want = make(f, big, 0), got = make(f, big, 0);
                        Frame region = getRegion(want, Rect(3, 5, dst.width, dst.height));
                        const bool ok = expect(src, region, kind, prec, !feed);
                        region = getRegion(got, Rect(3, 5, dst.width, dst.height));
                        zqtest::FrameProducer producer(src);
                        Stages fresh;  // a window keeps counting the rows of its last source
                        IRowProducer& stage =
                            feed ? fresh.reuse(kind, producer, dst, prec)
                                 : (kind == AreaXY ? fresh : stages).reuse(kind, src, dst, prec);
                        if (ok) produceFrame(stage, region);
                        // Refused row by row, each row computed or untouched.
                        for (int r = 0; !ok && r < dst.height; ++r) {
                            RowData row{{at(region, 0, r)}};
                            EXPECT_TRUE(throwsExactly([&] { stage.produce(row); },
                                                      ZQ_STATUS_UNSUPPORTED_FORMAT,
                                                      unsupported(kind)));
                            EXPECT_EQ(stage.next(), r + 1 < dst.height);
                        }
                        if (ok && got.layout().plane_count == 1) {  // past the end: the last row
                            RowData row{{at(region, 0, dst.height - 1)}};
                            stage.produce(row);
                        }
                        EXPECT_FALSE(stage.next());
                        EXPECT_TRUE(sameStrides(got, want)) << (feed ? "producer" : "frame");
                        const std::vector<int>& pulled = producer.produced;  // once, in order
                        EXPECT_TRUE(std::adjacent_find(pulled.begin(), pulled.end(),
                                                       std::greater_equal<int>()) == pulled.end());
                    }
                }
        }
}

// Chroma pairs gathered from rows at odd addresses (byte copies, not 16-bit accesses).
TEST(ScalerNearestNeighbor, ChromaPairsAtOddAddresses) {
    const zqtest::AppFrame memory(ZQ_FRAME_NV12, Size(8, 4), 1, 1, 0, 3);  // odd strides too
    const Frame& odd = memory.frame;
    Frame want = make(ZQ_FRAME_NV12, Size(5, 3), 0), got = make(ZQ_FRAME_NV12, Size(5, 3), 0);
    scale(odd, want, Nearest, true);
    Stages st;
    produceFrame(st.reuse(Nearest, odd, Size(5, 3)), got);
    EXPECT_TRUE(sameStrides(got, want));
}

// The checks of reuse in their order: source, destination, precision; then the table checks,
// where 32768 << 16 wraps negative and 32767 still passes; then window and geometry failures.
TEST(Scalers, ReuseFailures) {
    const ScalerPrecision bad = ScalerPrecision(7);
    auto fails = [&](Kind kind, auto&& src, Size size, std::string text, ScalerPrecision p = P16,
                     Status status = ZQ_STATUS_ASSERTION_FAILED) {
        Stages st;
        if (status == ZQ_STATUS_ASSERTION_FAILED) text = "Assertion failed: " + text;
        return throwsExactly([&] { st.reuse(kind, src, size, p); }, status, text);
    };
    const Frame none, gray = make(ZQ_FRAME_GRAY8, Size(4, 4), 1);
    const std::string prec =
        "precision == ZQ_SCALER_FIXED_POINT_8S || precision == ZQ_SCALER_FIXED_POINT_16S";
    const char* const dst_text[] = {"!dst_size.empty()", "0 < dst_width", "0 < dst_height"};
    for (Kind kind : {Nearest, X, Y, XY, AreaX, AreaY, AreaXY}) {
        SCOPED_TRACE(kNames[kind]);
        const int axis = kind == X || kind == AreaX ? 1 : kind == Y || kind == AreaY ? 2 : 0;
        const bool area = kind >= AreaX;
        EXPECT_TRUE(fails(kind, none, {0, 0},
                          kind == Y ? "!src_frame.size().empty()" : "src_frame.initialized()",
                          bad));
        EXPECT_TRUE(fails(kind, gray, axis == 2 ? Size(2, 0) : Size(0, 2), dst_text[axis], bad));
        EXPECT_TRUE(!area || fails(kind, gray, {2, 2}, prec, bad));
        if (kind == AreaXY) continue;
        EXPECT_TRUE(fails(kind, RowCopier(), {0, 0}, "!src_producer.layout().size.empty()", bad));
        EXPECT_TRUE(fails(kind, zqtest::FrameProducer(gray), axis == 1 ? Size(-1, 2) : Size(2, -1),
                          dst_text[axis], bad));
        EXPECT_TRUE(!area ||
                    fails(kind, zqtest::FrameProducer(gray), {2, 2}, prec, ScalerPrecision(0)));
    }
    const Frame wide = make(ZQ_FRAME_GRAY8, Size(32768, 1), 0),
                tall = make(ZQ_FRAME_GRAY8, Size(1, 32768), 0);
    EXPECT_TRUE(fails(Nearest, wide, {3, 1}, "_src_xs[dst_size.width - 1] < src_size.width"));
    EXPECT_TRUE(fails(Nearest, tall, {1, 3}, "_src_ys[dst_size.height - 1] < src_size.height"));
    EXPECT_TRUE(fails(X, wide, {3, 1}, "_src_xs[dst_width - 1] < (src_size.width << SHIFT)"));
    EXPECT_TRUE(
        fails(Y, tall, {1, 1}, "_src_ys[dst_height - 1] < (src_layout.size.height << SHIFT)"));
    EXPECT_TRUE(fails(XY, wide, {3, 1}, "_src_xs[dst_size.width - 1] < (src_size.width << SHIFT)"));
    EXPECT_TRUE(
        fails(XY, tall, {1, 3}, "_src_ys[dst_size.height - 1] < (src_size.height << SHIFT)"));
    Stages st;
    const Frame widest = make(ZQ_FRAME_GRAY8, Size(32767, 1), 0);
    for (Kind kind : {Nearest, X, XY}) EXPECT_NO_THROW(st.reuse(kind, widest, Size(3, 1)));
    // A producer's window is not clamped: 2 rows, 4 for 4:2:0; a frame of 3 rows passes.
    const Frame short420 = make(ZQ_FRAME_I420, Size(4, 3), 0);
    EXPECT_TRUE(fails(Y, zqtest::FrameProducer(make(ZQ_FRAME_GRAY8, Size(4, 1), 0)), {4, 2}, kRange,
                      P16, ZQ_STATUS_OUT_OF_RANGE));
    EXPECT_TRUE(
        fails(XY, zqtest::FrameProducer(short420), {3, 2}, kRange, P16, ZQ_STATUS_OUT_OF_RANGE));
    EXPECT_NO_THROW(st.reuse(XY, short420, {3, 2}));
    const std::string up =
        "Failure in scaleAreaXY::reuse(...) : the area method is implemented for down-scaling "
        "only.";
    for (Size size : {Size(5, 4), Size(4, 5)})
        EXPECT_TRUE(fails(AreaXY, gray, size, up, P8, ZQ_STATUS_UNSUPPORTED_FORMAT));
}

TEST(ScalerArea, TableIsRebuiltOnExtentsOnlyAndShiftAlways) {
    // Source, destination, precision, precision of the table in use: a change of precision alone
    // keeps the old weights beside the new shift.
    const int steps[][4] = {{10, 3, 16, 16}, {10, 3, 8, 16}, {10, 4, 8, 8},
                            {12, 4, 8, 8},   {12, 4, 16, 8}, {12, 5, 16, 16}};
    Stages st;
    for (auto [s, d, p, tp] : steps)
        for (Kind kind : {AreaX, AreaY}) {
            const Frame src = make(ZQ_FRAME_BGR24, shape(kind, {3, 3}, {s, s}), 5);
            const Size to = shape(kind, src.size(), {d, d});
            Frame want = make(ZQ_FRAME_BGR24, to, 0), got = make(ZQ_FRAME_BGR24, to, 0);
            kind == AreaX ? areaX(src, want, tp, p) : areaY(src, want, tp, p);
            produceFrame(st.reuse(kind, src, to, ScalerPrecision(p)), got);
            EXPECT_TRUE(sameStrides(got, want))
                << kNames[kind] << " " << s << "->" << d << " p" << p;
        }
}

// 4:2:0 from height 4 to 3: 3 box rows, a window of 9 rows, more than 4. The same sizes keep the
// steps, and the chroma step with them, so a gray frame then fails too; other sizes reset it.
TEST(ScaleAreaXY, ChromaStepOfA420FrameSurvivesASameSizeReuse) {
    const Frame i420 = make(ZQ_FRAME_I420, {4, 4}, 1), gray = make(ZQ_FRAME_GRAY8, {4, 4}, 1);
    scaleAreaXY s, fresh;
    for (const Frame* src : {&i420, &gray})
        EXPECT_TRUE(throwsExactly(
            [&] {
                s.reuse(*src, {3, 3}, P16);
            },
            ZQ_STATUS_OUT_OF_RANGE, kRange));
    EXPECT_NO_THROW(fresh.reuse(gray, {3, 3}, P16));
    EXPECT_NO_THROW(s.reuse(gray, {3, 2}, P16));
    EXPECT_NO_THROW(s.reuse(gray, {3, 3}, P16));
}

}  // namespace
