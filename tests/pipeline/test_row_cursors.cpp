#include "test_support.h"

namespace {

using zq::Size;
using zqtest::assertsWith;
using zqtest::throwsExactly;

const char* const kFrameNotInitialized =
    "Failure in RowWriter::RowWriter(...) : frame is not initialized.";

TEST(RowMask, FollowsTheEvenHeightRule) {
    const struct {
        zq::FrameFormat format;
        int height, plane, mask;
    } cases[] = {{zq::ZQ_FRAME_I420, 4, 0, 0},  {zq::ZQ_FRAME_I420, 4, 1, 1},
                 {zq::ZQ_FRAME_I420, 5, 1, 1},  {zq::ZQ_FRAME_I420, 5, 0, 0},
                 {zq::ZQ_FRAME_NV12, 3, 1, 1},  {zq::ZQ_FRAME_YV16, 5, 1, 0},
                 {zq::ZQ_FRAME_GRAY8, 1, 0, 1}, {zq::ZQ_FRAME_GRAY8, 2, 0, 0}};
    for (const auto& c : cases)
        EXPECT_EQ(zq::rowMask(zq::FrameLayout(c.format, Size(6, c.height), 64), c.plane), c.mask)
            << zq::toString(c.format) << " h" << c.height << " p" << c.plane;
}

TEST(RowIndex, ChromaRowsOfA420LayoutFollowPairs) {
    zq::RowIndex index;
    index.reuse(zq::FrameLayout(zq::ZQ_FRAME_I420, Size(4, 4), 64));
    std::vector<int> chroma{index.rows[1]};
    std::vector<bool> more;
    for (int i = 0; i < 5; ++i) {
        more.push_back(index.next());
        chroma.push_back(index.rows[1]);
        EXPECT_EQ(index.rows[2], index.rows[1]);
    }
    EXPECT_EQ(chroma, (std::vector<int>{0, 0, 1, 1, 2, 2}));  // the last call changes nothing
    EXPECT_EQ(more, (std::vector<bool>{true, true, true, false, false}));
    EXPECT_EQ(index.rows[0], 4);
}

// Past the last row the reader stands still and the writer hands out nulls (the rows before
// are those RowCopier and produceFrame walk in their tests).
TEST(RowCursors, ReaderAndWriterPastTheEnd) {
    zq::Frame frame;
    frame.reuse(zq::ZQ_FRAME_I420, Size(6, 5));
    zq::RowReader reader;
    zq::RowWriter writer;
    reader.reuse(frame);
    writer.reuse(frame);
    for (int r = 0; r < 5; ++r) {
        EXPECT_EQ(reader.next(), r < 4);
        EXPECT_EQ(writer.next(), r < 4);
    }
    const zq::RowData end = reader.rows();
    EXPECT_FALSE(reader.next());
    EXPECT_FALSE(writer.next());
    EXPECT_EQ(reader.row(), 5);
    for (int p = 0; p < 4; ++p) {
        EXPECT_EQ(reader.rows().plane[p], end.plane[p]);
        EXPECT_EQ(writer.rows().plane[p], nullptr);
    }
    zq::Frame none;
    EXPECT_TRUE(throwsExactly([&] { reader.reuse(none); }, zq::ZQ_STATUS_UNINITIALIZED_INPUT,
                              kFrameNotInitialized));
    EXPECT_TRUE(throwsExactly([&] { writer.reuse(none); }, zq::ZQ_STATUS_UNINITIALIZED_INPUT,
                              kFrameNotInitialized));
    EXPECT_EQ(reader.height(), 0);
}

// A RowCopier fed by a frame or by a producer reproduces every plane of every
// format into a region of a larger frame with its own stride, in place; the
// bytes around the region keep their sentinel.
TEST(RowCopier, EveryFormatIntoARegionOfALargerFrame) {
    for (auto format : zqtest::allFormats())
        for (Size size : {Size(1, 1), Size(5, 3), Size(6, 4), Size(17, 9)})
            for (bool via_producer : {false, true}) {
                zq::Frame src;
                src.reuse(format, size);
                zqtest::fillRandom(src, 7u + uint32_t(format));
                zq::Frame big, before;
                big.reuse(format, Size(size.width + 6, size.height + 4));
                zqtest::fillPlanes(big, 0xA5);
                zq::Frame region = zq::getRegion(big, zq::Rect(2, 2, size.width, size.height));
                zqtest::fillPlanes(region, 0);
                big.copyTo(before);
                const unsigned char* first_row = region.data(0);
                zqtest::FrameProducer producer(src);
                zq::RowCopier copier;
                if (via_producer) {
                    copier.reuse(producer);
                } else {
                    copier.reuse(src);
                }
                zq::produceFrame(copier, region);
                EXPECT_EQ(region.data(0), first_row);
                EXPECT_TRUE(zqtest::samePixels(region, src)) << zq::toString(format);
                zqtest::fillPlanes(region, 0);  // what remains must be as before
                EXPECT_TRUE(zqtest::samePixels(big, before)) << zq::toString(format);
                EXPECT_EQ(producer.next_calls, via_producer ? size.height : 0);
            }
}

TEST(RowCopier, AssertionsAndFeeds) {
    zq::RowCopier copier, unconfigured;
    EXPECT_TRUE(assertsWith([&] { copier.reuse(zq::emptyFrame()); }, "src_frame.initialized()"));
    EXPECT_TRUE(
        assertsWith([&] { copier.reuse(unconfigured); }, "!src_producer.layout().size.empty()"));
    zq::RowData row;
    unconfigured.produce(row);  // unconfigured: copies nothing, ends at once
    EXPECT_FALSE(unconfigured.next());
    // A frame after a producer forgets the producer.
    zq::Frame a, b;
    a.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 3));
    b.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 3));
    zqtest::fillPlanes(a, 1);
    zqtest::fillPlanes(b, 2);
    zqtest::FrameProducer producer(a);
    copier.reuse(producer);
    copier.reuse(b);
    zq::Frame out;
    zq::produceFrame(copier, out);
    EXPECT_TRUE(zqtest::samePixels(out, b));
    EXPECT_TRUE(producer.produced.empty());
}

TEST(ProduceFrame, RowsChromaAndReallocation) {
    zq::Frame src;
    src.reuse(zq::ZQ_FRAME_I420, Size(4, 4));
    zqtest::fillRandom(src, 3);
    zqtest::FrameProducer producer(src);
    struct Spy : zq::IRowProducer {  // records which rows get chroma addresses
        zq::IRowProducer* inner;
        std::vector<bool> chroma;
        zq::FrameLayout& layout() override { return inner->layout(); }
        void produce(zq::RowData& row) override {
            chroma.push_back(row.plane[1] && row.plane[2]);
            inner->produce(row);
        }
        bool next() override { return inner->next(); }
    } spy;
    spy.inner = &producer;
    zq::Frame out;
    out.reuse(zq::ZQ_FRAME_NV12, Size(4, 4));  // another format: reallocated
    zq::produceFrame(spy, out);
    EXPECT_EQ(spy.chroma, (std::vector<bool>{true, false, true, false}));
    EXPECT_EQ(producer.next_calls, 4);
    EXPECT_TRUE(zqtest::samePixels(out, src));

    struct Empty : zq::IRowProducer {
        zq::FrameLayout l;
        zq::FrameLayout& layout() override { return l; }
        void produce(zq::RowData&) override {}
        bool next() override { return false; }
    } empty;
    EXPECT_TRUE(throwsExactly([&] { zq::produceFrame(empty, out); },
                              zq::ZQ_STATUS_UNINITIALIZED_INPUT, kFrameNotInitialized));
}

}  // namespace
