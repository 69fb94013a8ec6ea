// The nearest, bilinear and area stages against their reference models, and their failures.
#include "reference.h"

namespace {

using namespace ref;
using zqtest::throwsExactly;

const std::string kRange = "Parameter 'window_size' is out of range.";

// Holds a stage of `kind` from `from` aiming at `to` to its model. Fed by a frame (through
// `kept` unless scaleAreaXY), by a frame at odd addresses with odd strides, and (with `every`)
// by a producer whose rows must be pulled once each, in order; into a destination with sentinels
// all around; then past the last row, where next() stays false and produce() repeats that row.
void checkStage(Kind kind, ScalerPrecision prec, FrameFormat f, Size from, Size to, Stages& kept,
                bool every) {
    const Size dst = shape(kind, from, to);
    // Out of the contract: scaleAreaXY enlarging, or on 4:2:0 unless both vertical steps are
    // whole and equal and 3 boxes fit the height.
    if (kind == AreaXY &&
        (dst.width > from.width || dst.height > from.height ||
         (is420(f) && (dst.height % 2 || dst.height < 4 || from.height % dst.height))))
        return;
    SCOPED_TRACE(::testing::Message()
                 << kNames[kind] << prec << toString(f) << " " << from.width << "x" << from.height
                 << "->" << dst.width << "x" << dst.height);
    const uint32_t seed = 7u + f + 3u * from.width;
    const Frame whole = make(f, from, seed);
    // Odd addresses and strides, with room for YUYV, read past its rows.
    const zqtest::AppFrame odd(f, from, 4 * from.width + 3, 17, 16, seed);
    // A producer's window is not clamped to its height, and one that skips rows misses the
    // chroma of some.
    const bool fed = every && kind != AreaXY && !((kind == Y || kind == XY) && from.height < 4) &&
                     !(kind <= XY && kind != X && is420(f) && dst.height < from.height);
    for (int mode = every ? 0 : 1; mode < 2 + fed; ++mode) {
        const Frame& src = mode == 1 ? odd.frame : whole;
        Room want(f, dst), got(f, dst);
        const bool ok = expect(src, want.frame, kind, prec, mode < 2);
        zqtest::FrameProducer producer(src);
        Stages fresh;  // a window keeps counting the rows of its last source
        IRowProducer& stage = mode == 2
                                  ? fresh.reuse(kind, producer, dst, prec)
                                  : (kind == AreaXY ? fresh : kept).reuse(kind, src, dst, prec);
        // Past the end a one-plane stage writes its last row again.
        RowData last{{at(got.frame, 0, dst.height - 1)}};
        if (ok) produceFrame(stage, got.frame);
        if (ok && got.frame.layout().plane_count == 1) stage.produce(last);
        // Refused row by row, each row computed or untouched.
        for (int r = 0; !ok && r < dst.height; ++r) {
            RowData row{{at(got.frame, 0, r)}};
            EXPECT_TRUE(throwsExactly([&] { stage.produce(row); }, ZQ_STATUS_UNSUPPORTED_FORMAT,
                                      unsupported(kind)));
            EXPECT_EQ(stage.next(), r + 1 < dst.height);
        }
        EXPECT_FALSE(stage.next());
        EXPECT_TRUE(got.same(want.frame, &want)) << "mode " << mode;
        const std::vector<int>& pulled = producer.produced;
        EXPECT_TRUE(std::ranges::adjacent_find(pulled, std::greater_equal()) == pulled.end());
    }
}

// Every format over odd sizes, 1-pixel sources and destinations, both directions on each axis,
// an unchanged axis, reductions that skip rows or reach 300 times (8-bit area weights of 0);
// then, on a few formats, every width from 1 to 70 and height from 1 to 40 at several ratios and
// rows of 1920 pixels, so that every tail of the row kernels comes up. One object of each kind
// keeps its tables while only the format changes.
TEST(Scalers, MatchTheReference) {
    std::vector<std::pair<Size, Size>> sizes = {
        {{7, 5}, {3, 7}},   {{5, 9}, {12, 4}},  {{1, 1}, {4, 3}},   {{6, 6}, {1, 1}},
        {{9, 7}, {9, 3}},   {{9, 7}, {9, 11}},  {{8, 4}, {5, 4}},   {{33, 17}, {20, 31}},
        {{12, 13}, {4, 5}}, {{2, 8}, {1, 1}},   {{6, 3}, {4, 2}},   {{3, 3}, {2, 2}},
        {{10, 12}, {3, 3}}, {{200, 3}, {7, 2}}, {{5, 200}, {7, 7}}, {{2, 10}, {9, 3}},
        {{13, 1}, {5, 1}},  {{1, 1}, {1, 1}},   {{7, 12}, {3, 6}},  {{9, 6}, {4, 6}},
        {{300, 3}, {2, 2}}, {{3, 300}, {2, 2}}};
    const size_t every_format = sizes.size();
    for (int n = 1; n <= 70; ++n)
        for (int to : {n * 2 / 3, n / 2, n / 3, n / 5, n + 3}) {
            sizes.push_back({{n, 6}, {std::max(to, 1), 4}});
            if (n <= 40) sizes.push_back({{2 * (n % 5) + 3, n}, {3, std::max(to, 1)}});
        }
    for (int to : {1280, 960, 640, 1366, 1919, 700, 500, 300, 2500})
        sizes.push_back({{1920, 8}, {to, 4 + (to > 1000)}});
    const std::vector<FrameFormat> few = {ZQ_FRAME_GRAY8, ZQ_FRAME_BGR24, ZQ_FRAME_8U_C4,
                                          ZQ_FRAME_NV12,  ZQ_FRAME_I420,  ZQ_FRAME_16U_C1};
    for (Kind kind : {Nearest, X, Y, XY, AreaX, AreaY, AreaXY})
        for (ScalerPrecision prec : {P8, P16}) {
            if (kind < AreaX && prec == P8) continue;
            Stages kept;
            for (size_t i = 0; i < sizes.size(); ++i)
                for (FrameFormat f : i < every_format ? zqtest::allFormats() : few)
                    checkStage(kind, prec, f, sizes[i].first, sizes[i].second, kept,
                               i < every_format);
        }
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
        const char* const src_text =
            kind == Y ? "!src_frame.size().empty()" : "src_frame.initialized()";
        EXPECT_TRUE(fails(kind, none, {0, 0}, src_text, bad));
        EXPECT_TRUE(fails(kind, gray, axis == 2 ? Size(2, 0) : Size(0, 2), dst_text[axis], bad));
        EXPECT_TRUE(!area || fails(kind, gray, {2, 2}, prec, bad));
        if (kind == AreaXY) continue;
        EXPECT_TRUE(fails(kind, RowCopier(), {0, 0}, "!src_producer.layout().size.empty()", bad));
        zqtest::FrameProducer fed(gray);
        EXPECT_TRUE(fails(kind, fed, axis == 1 ? Size(-1, 2) : Size(2, -1), dst_text[axis], bad));
        EXPECT_TRUE(!area || fails(kind, fed, {2, 2}, prec, ScalerPrecision(0)));
    }
    const Frame wide = make(ZQ_FRAME_GRAY8, {32768, 1}, 0),
                tall = make(ZQ_FRAME_GRAY8, {1, 32768}, 0);
    const std::tuple<Kind, const Frame*, Size, const char*> tables[] = {
        {Nearest, &wide, {3, 1}, "_src_xs[dst_size.width - 1] < src_size.width"},
        {Nearest, &tall, {1, 3}, "_src_ys[dst_size.height - 1] < src_size.height"},
        {X, &wide, {3, 1}, "_src_xs[dst_width - 1] < (src_size.width << SHIFT)"},
        {Y, &tall, {1, 1}, "_src_ys[dst_height - 1] < (src_layout.size.height << SHIFT)"},
        {XY, &wide, {3, 1}, "_src_xs[dst_size.width - 1] < (src_size.width << SHIFT)"},
        {XY, &tall, {1, 3}, "_src_ys[dst_size.height - 1] < (src_size.height << SHIFT)"}};
    for (auto [kind, src, size, text] : tables) EXPECT_TRUE(fails(kind, *src, size, text));
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

}  // namespace
