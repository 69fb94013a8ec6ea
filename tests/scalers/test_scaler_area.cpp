// ScalerAreaX and ScalerAreaY: worked examples, reference loops over formats
// and sizes, chains, a region, storage, and failures.
#include <set>

#include "area_reference.h"

namespace {

using namespace arearef;

constexpr ScalerPrecision P8 = ZQ_SCALER_FIXED_POINT_8S, P16 = ZQ_SCALER_FIXED_POINT_16S;

// One axis of a GRAY8 frame (a row for X, a column for Y), taken as a region
// of a frame one sample longer whose extra sample is 255.
std::vector<int> scaleLine(bool vertical, const std::vector<uint8_t>& in, int dst,
                           ScalerPrecision p) {
    const int n = int(in.size());
    Frame frame = makeSource(ZQ_FRAME_GRAY8, vertical ? Size(1, n + 1) : Size(n + 1, 1), 1);
    for (int i = 0; i <= n; ++i)
        *at(frame, 0, vertical ? i : 0, vertical ? 0 : i) = i < n ? in[i] : 255;
    const Frame src = getRegion(frame, vertical ? Rect(0, 0, 1, n) : Rect(0, 0, n, 1));
    ScalerAreaX x;
    ScalerAreaY y;
    const Frame out = vertical ? (y.reuse(src, dst, p), run(y)) : (x.reuse(src, dst, p), run(x));
    std::vector<int> v;
    for (int i = 0; i < dst; ++i) v.push_back(*at(out, 0, vertical ? i : 0, vertical ? 0 : i));
    return v;
}

TEST(ScalerArea, WorkedExamplesOnBothAxes) {
    const std::vector<uint8_t> flat5(5, 255), flat10(10, 255), flat1000(1000, 255);
    struct Case {
        std::vector<uint8_t> in;
        int dst;
        ScalerPrecision p;
        std::vector<int> out;
    };
    // clang-format off
    const Case cases[] = {
        {{10, 20, 30, 40}, 2, P8, {15, 35}},  // table (0,64),(2,64),(4,64)
        {{0, 128, 0}, 2, P8, {43, 42}},       // table (0,85),(1,42),(3,85): sample 1 gives 43 and 42
        {{0, 0, 128}, 2, P8, {0, 85}},
        {{255, 255, 255}, 2, P8, {255, 253}},
        {flat10, 3, P8, {255, 255, 247}},     // raw 38 truncated: the last gets 124 of 128 parts;
        {flat10, 3, P16, {255, 255, 254}},    // the sentinel leaves nothing for the sample after
        {flat1000, 3, P8, {0, 0, 0}},         // more than 128 times: raw is 0
        {flat1000, 3, P16, {254, 253, 253}},  // raw 98: 32732, 32634, 32634 of 32768
    };
    // clang-format on
    for (bool vertical : {false, true})
        for (const Case& c : cases)
            EXPECT_EQ(scaleLine(vertical, c.in, c.dst, c.p), c.out)
                << (vertical ? "Y " : "X ") << c.in.size() << "->" << c.dst;
    // 5 -> 7 at 8: the last output is 127 parts of sample 4 and 1 part of what
    // follows: X reads the sample after the row, Y has no row there.
    EXPECT_EQ(scaleLine(false, flat5, 7, P8).back(), (127 * 255 + 255) >> 7);
    EXPECT_EQ(scaleLine(true, flat5, 7, P8).back(), 127 * 255 >> 7);
}

TEST(ScalerAreaX, ChromaUsesTheLumaSourceWidthAndWraps) {
    // I420 51 -> 60 at 16: chroma 26 -> 30 is below 51 and takes the reducing
    // path; its first sample gets 32768 + 26986 parts of 255: 465, stored 209.
    Frame src = makeSource(ZQ_FRAME_I420, {51, 2}, 1);
    for (int p = 0; p < 3; ++p)
        std::memset(src.data(p), 255, size_t(src.layout().planes[p].row_bytes));
    ScalerAreaX x;
    x.reuse(src, 60, P16);
    const Frame out = run(x);
    EXPECT_EQ(*at(out, 0, 0), 255);
    EXPECT_EQ(*at(out, 1, 0), 209);
}

TEST(ScalerArea, MatchesReferenceForEveryFormatExtentAndSource) {
    const FrameFormat formats[] = {ZQ_FRAME_GRAY8, ZQ_FRAME_BGR24,         ZQ_FRAME_YUYV,
                                   ZQ_FRAME_YUV24, ZQ_FRAME_8U_C3,         ZQ_FRAME_UYVY,
                                   ZQ_FRAME_8U_C4, ZQ_FRAME_8U_C2,         ZQ_FRAME_BGR24_PLANAR,
                                   ZQ_FRAME_YV16,  ZQ_FRAME_YUV444_PLANAR, ZQ_FRAME_I420,
                                   ZQ_FRAME_YV12,  ZQ_FRAME_NV12,          ZQ_FRAME_NV21,
                                   ZQ_FRAME_NV16,  ZQ_FRAME_16U_C1};
    // Reduce, enlarge, to and from 1, unchanged, exact, far.
    const std::pair<int, int> extents[] = {{10, 3}, {3, 2}, {7, 5},  {5, 7},   {1, 4},
                                           {9, 1},  {2, 9}, {12, 3}, {13, 13}, {200, 7}};
    for (FrameFormat f : formats)
        for (auto [s, d] : extents)
            for (ScalerPrecision p : {P8, P16})
                for (bool producer : {false, true}) {
                    SCOPED_TRACE(::testing::Message()
                                 << toString(f) << " " << s << "->" << d << " p" << p
                                 << (producer ? " producer" : " frame"));
                    const Frame src_x = makeSource(f, {s, 5}, s * 31 + d),
                                src_y = makeSource(f, {5, s}, s + d);
                    Frame want_x = makeTarget(f, {d, 5}), want_y = makeTarget(f, {5, d});
                    areaX(src_x, want_x, p, p);
                    areaY(src_y, want_y, p, p);
                    zqtest::FrameProducer feed_x(src_x), feed_y(src_y);
                    ScalerAreaX x;
                    ScalerAreaY y;
                    producer ? x.reuse(feed_x, d, p) : x.reuse(src_x, d, p);
                    producer ? y.reuse(feed_y, d, p) : y.reuse(src_y, d, p);
                    EXPECT_TRUE(sameStrides(run(x), want_x));
                    EXPECT_TRUE(sameStrides(run(y), want_y));
                }
}

TEST(ScalerArea, TableIsRebuiltOnExtentsOnlyAndShiftAlways) {
    // A change of precision alone keeps the old weights beside the new shift.
    struct Step {
        int src, dst;
        ScalerPrecision p;
        int table_p;
    };
    const Step steps[] = {{10, 3, P16, 16}, {10, 3, P8, 16}, {10, 4, P8, 8},
                          {12, 4, P8, 8},   {12, 4, P16, 8}, {12, 5, P16, 16}};
    ScalerAreaX x;
    ScalerAreaY y;
    for (const Step& st : steps) {
        const Frame src_x = makeSource(ZQ_FRAME_BGR24, {st.src, 3}, 5),
                    src_y = makeSource(ZQ_FRAME_BGR24, {3, st.src}, 6);
        Frame want_x = makeTarget(ZQ_FRAME_BGR24, {st.dst, 3}),
              want_y = makeTarget(ZQ_FRAME_BGR24, {3, st.dst});
        areaX(src_x, want_x, st.table_p, st.p);
        areaY(src_y, want_y, st.table_p, st.p);
        x.reuse(src_x, st.dst, st.p);
        y.reuse(src_y, st.dst, st.p);
        EXPECT_TRUE(sameStrides(run(x), want_x)) << st.src << "->" << st.dst << " p" << st.p;
        EXPECT_TRUE(sameStrides(run(y), want_y)) << st.src << "->" << st.dst << " p" << st.p;
    }
}

TEST(ScalerAreaY, WindowHoldsTheRowsOfOneOutputRow) {
    // Rows pulled from the source for the first output row = the window size.
    struct Case {
        FrameFormat f;
        int src, dst;
        ScalerPrecision p;
        int window;
    };
    const Case cases[] = {
        {ZQ_FRAME_GRAY8, 10, 3, P8, 5},  {ZQ_FRAME_GRAY8, 4, 2, P8, 2},  // 3 + 2; exact
        {ZQ_FRAME_GRAY8, 12, 3, P16, 4}, {ZQ_FRAME_GRAY8, 3, 2, P8, 3},
        {ZQ_FRAME_GRAY8, 5, 7, P8, 2},   {ZQ_FRAME_GRAY8, 6, 6, P8, 1},   // enlarge; equal
        {ZQ_FRAME_I420, 12, 3, P16, 8},  {ZQ_FRAME_I420, 10, 3, P8, 10},  // doubled; capped
        {ZQ_FRAME_I420, 6, 6, P16, 2},   {ZQ_FRAME_I420, 4, 1, P16, 4},   // one row: no half chroma
        {ZQ_FRAME_NV12, 4, 2, P8, 4}};
    for (const Case& c : cases) {
        const Frame src = makeSource(c.f, {4, c.src}, 1);
        zqtest::FrameProducer feed(src);
        ScalerAreaY y;
        y.reuse(feed, c.dst, c.p);
        Frame out = makeTarget(c.f, y.layout().size);
        RowData row;
        for (int p = 0; p < out.layout().plane_count; ++p) row.plane[p] = out.data(p);
        y.produce(row);
        EXPECT_EQ(int(feed.produced.size()), c.window)
            << toString(c.f) << " " << c.src << "->" << c.dst;
    }
}

TEST(ScalerArea, FormatsWithoutKernelFailOnlyWhenScaling) {
    const char* kX = "Failure in ScalerAreaX::produce(...) : unsupported frame format.";
    const char* kY = "Failure in ScalerAreaY::produce(...) : unsupported frame format.";
    for (FrameFormat f : {ZQ_FRAME_RGB24, ZQ_FRAME_RGB24_PLANAR, ZQ_FRAME_32F_C1, ZQ_FRAME_BGR32F,
                          ZQ_FRAME_BGR32F_PLANAR}) {
        const Frame src = makeSource(f, {4, 4}, 1);
        ScalerAreaX x;
        ScalerAreaY y;
        x.reuse(src, 2, P16);
        y.reuse(src, 3, P16);
        EXPECT_TRUE(zqtest::throwsExactly([&] { run(x); }, ZQ_STATUS_UNSUPPORTED_FORMAT, kX))
            << toString(f);
        EXPECT_TRUE(zqtest::throwsExactly([&] { run(y); }, ZQ_STATUS_UNSUPPORTED_FORMAT, kY))
            << toString(f);
        x.reuse(src, 4, P16);
        y.reuse(src, 4, P8);
        EXPECT_TRUE(zqtest::samePixels(run(x), src));
        EXPECT_TRUE(zqtest::samePixels(run(y), src));
    }
}

TEST(ScalerArea, Unsigned32RowIsComputedThenRefused) {
    // Random samples up to 2^32: X multiplies on 64 bits, Y wraps products at 2^32.
    const Frame src = makeSource(ZQ_FRAME_32U_C1, {7, 7}, 3);
    for (bool vertical : {false, true}) {
        Frame want = makeTarget(ZQ_FRAME_32U_C1, vertical ? Size(7, 3) : Size(3, 7));
        vertical ? areaY(src, want, 16, 16) : areaX(src, want, 16, 16);
        ScalerAreaX x;
        ScalerAreaY y;
        vertical ? y.reuse(src, 3, P16) : x.reuse(src, 3, P16);
        IRowProducer& stage = vertical ? static_cast<IRowProducer&>(y) : x;
        Frame got = makeTarget(ZQ_FRAME_32U_C1, want.size());
        for (int r = 0; r < got.height(); ++r) {
            RowData row;
            row.plane[0] = at(got, 0, r);
            EXPECT_TRUE(zqtest::throwsExactly(
                [&] { stage.produce(row); }, ZQ_STATUS_UNSUPPORTED_FORMAT,
                vertical ? "Failure in ScalerAreaY::produce(...) : unsupported frame format."
                         : "Failure in ScalerAreaX::produce(...) : unsupported frame format."));
            EXPECT_EQ(stage.next(), r + 1 < got.height());  // false from the last row on
        }
        EXPECT_FALSE(stage.next());
        EXPECT_TRUE(sameStrides(got, want)) << (vertical ? "Y" : "X");
    }
}

TEST(ScalerArea, ReuseChecksInOrder) {
    const Frame none, src = makeSource(ZQ_FRAME_GRAY8, {4, 4}, 1);
    zqtest::FrameProducer empty(none);
    const auto bad = ScalerPrecision(7);
    const std::string prec =
        "precision == ZQ_SCALER_FIXED_POINT_8S || precision == ZQ_SCALER_FIXED_POINT_16S";
    ScalerAreaX x;
    ScalerAreaY y;
    EXPECT_TRUE(zqtest::assertsWith([&] { x.reuse(none, 0, bad); }, "src_frame.initialized()"));
    EXPECT_TRUE(zqtest::assertsWith([&] { y.reuse(none, 0, bad); }, "src_frame.initialized()"));
    EXPECT_TRUE(zqtest::assertsWith([&] { x.reuse(empty, 0, bad); },
                                    "!src_producer.layout().size.empty()"));
    EXPECT_TRUE(zqtest::assertsWith([&] { y.reuse(empty, 0, bad); },
                                    "!src_producer.layout().size.empty()"));
    EXPECT_TRUE(zqtest::assertsWith([&] { x.reuse(src, 0, bad); }, "0 < dst_width"));
    EXPECT_TRUE(zqtest::assertsWith([&] { y.reuse(src, -1, bad); }, "0 < dst_height"));
    EXPECT_TRUE(zqtest::assertsWith([&] { x.reuse(src, 2, bad); }, prec));
    EXPECT_TRUE(zqtest::assertsWith([&] { y.reuse(src, 2, ScalerPrecision(0)); }, prec));
    EXPECT_FALSE(x.initialized() || y.initialized());
    EXPECT_EQ(x.layout().plane_count, 0);
}

TEST(ScalerArea, ChainIntoARegionOfALargerFrame) {
    // X feeds Y through the producer interface, as in the chain Scaler builds.
    const Size sizes[][2] = {{{9, 7}, {4, 3}}, {{10, 6}, {13, 9}}, {{5, 12}, {2, 5}}};
    for (FrameFormat f :
         {ZQ_FRAME_BGR24, ZQ_FRAME_I420, ZQ_FRAME_NV12, ZQ_FRAME_YV16, ZQ_FRAME_16U_C1})
        for (auto& sz : sizes) {
            const Frame src = makeSource(f, sz[0], 9);
            const Rect place(4, 2, sz[1].width, sz[1].height);
            Frame mid = makeTarget(f, {sz[1].width, sz[0].height}, 0);
            Frame big = makeTarget(f, {sz[1].width + 7, sz[1].height + 5}, 0x5A),
                  want = makeTarget(f, big.size(), 0x5A);
            Frame hole = getRegion(want, place);
            areaX(src, mid, 16, 16);
            areaY(mid, hole, 16, 16);
            ScalerAreaX x;
            ScalerAreaY y;
            x.reuse(src, sz[1].width, P16);
            y.reuse(x, sz[1].height, P16);
            Frame region = getRegion(big, place);
            produceFrame(y, region);
            EXPECT_TRUE(sameStrides(big, want))
                << toString(f) << " " << sz[1].width << "x" << sz[1].height;
        }
}

// The pixel rows a chain keeps are the slots its windows hand to their sources
// to fill, so each of them passes through a source's produce(). Counting the
// distinct addresses handed to each source measures that storage from the
// outside, without relying on the allocator.
struct Synthetic : IRowProducer {
    explicit Synthetic(Size s) : lay(ZQ_FRAME_BGR24, s, 64) {}
    FrameLayout& layout() override { return lay; }
    void produce(RowData& r) override {
        rows.insert(r.plane[0]);
        ++produced;
        for (int b = 0; b < lay.planes[0].row_bytes; ++b) r.plane[0][b] = uint8_t(row * 7 + b);
    }
    bool next() override { return row < lay.size.height && ++row < lay.size.height; }
    FrameLayout lay;
    std::set<const unsigned char*> rows;
    int row = 0, produced = 0;
};
struct Spy : IRowProducer {
    explicit Spy(IRowProducer& s) : src(s) {}
    FrameLayout& layout() override { return src.layout(); }
    void produce(RowData& r) override { rows.insert(r.plane[0]), src.produce(r); }
    bool next() override { return src.next(); }
    IRowProducer& src;
    std::set<const unsigned char*> rows;
};

TEST(ScalerArea, ChainStorageDependsOnWidthNotHeight) {
    auto storage = [](Size size) {
        Synthetic source(size);
        ScalerAreaX x;
        x.reuse(source, size.width / 3, P16);
        Spy spy(x);
        ScalerAreaY y;
        y.reuse(spy, size.height / 3, P16);
        std::vector<unsigned char> out(size_t(y.layout().planes[0].stride));
        RowData row;
        row.plane[0] = out.data();
        for (int r = 0; r < y.layout().size.height; ++r, y.next()) y.produce(row);
        EXPECT_EQ(source.produced, size.height);  // every source row once
        return source.rows.size() * size_t(source.lay.planes[0].row_bytes) +
               spy.rows.size() * size_t(x.layout().planes[0].row_bytes);
    };
    const size_t full = storage({3840, 2160});
    // One source row for X; five reduced rows for Y (32768 / 3 truncates to
    // 10922, so boundaries fall inside rows: 3 + 2).
    EXPECT_EQ(full, 3840u * 3 + 5 * 1280u * 3);
    EXPECT_EQ(storage({3840, 1080}), full);
    EXPECT_EQ(storage({1920, 2160}) * 2, full);
}

}  // namespace
