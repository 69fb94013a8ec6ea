#include "test_support.h"

namespace {

using zq::Size;
using zqtest::assertsWith;
using zqtest::throwsExactly;

const char* const kFrameNotInitialized =
    "Failure in RowWriter::RowWriter(...) : frame is not initialized.";

TEST(RowMask, FollowsTheEvenHeightRule) {
    struct Case {
        zq::FrameFormat format;
        int height;
        int plane;
        int mask;
    } cases[] = {
        {zq::ZQ_FRAME_I420, 4, 0, 0}, {zq::ZQ_FRAME_I420, 4, 1, 1}, {zq::ZQ_FRAME_I420, 5, 1, 1},
        {zq::ZQ_FRAME_I420, 5, 0, 0}, {zq::ZQ_FRAME_NV12, 3, 1, 1}, {zq::ZQ_FRAME_YV16, 5, 1, 0},
        // Height 1: even full-height planes get 1, with no visible effect.
        {zq::ZQ_FRAME_GRAY8, 1, 0, 1}, {zq::ZQ_FRAME_I420, 1, 1, 1}, {zq::ZQ_FRAME_GRAY8, 2, 0, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(zq::rowMask(zq::FrameLayout(c.format, Size(6, c.height), 64), c.plane), c.mask)
            << zq::toString(c.format) << " h" << c.height << " p" << c.plane;
}

TEST(RowIndex, ChromaRowsOfA420LayoutFollowPairs) {
    zq::RowIndex index;
    index.reuse(zq::FrameLayout(zq::ZQ_FRAME_I420, Size(4, 4), 64));
    std::vector<int> luma{index.rows[0]}, chroma{index.rows[1]}, other{index.rows[2]};
    std::vector<bool> more;
    for (int i = 0; i < 4; ++i) {
        more.push_back(index.next());
        luma.push_back(index.rows[0]);
        chroma.push_back(index.rows[1]);
        other.push_back(index.rows[2]);
    }
    EXPECT_EQ(luma, (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(chroma, (std::vector<int>{0, 0, 1, 1, 2}));
    EXPECT_EQ(other, chroma);
    EXPECT_EQ(more, (std::vector<bool>{true, true, true, false}));
    EXPECT_FALSE(index.next());  // at the end: nothing changes
    EXPECT_EQ(index.rows[0], 4);
    EXPECT_EQ(index.rows[1], 2);
}

TEST(RowIndex, PlaneZeroIsNeverGrouped) {
    zq::RowIndex index;
    index.reuse(zq::FrameLayout(zq::ZQ_FRAME_GRAY8, Size(3, 1), 64));
    EXPECT_EQ(index._masks[0], 0u);
    EXPECT_FALSE(index.next());
    EXPECT_EQ(index.rows[0], 1);
}

TEST(RowReader, ChromaAddressStaysForTheRowsOfItsGroup) {
    zq::Frame frame;
    frame.reuse(zq::ZQ_FRAME_I420, Size(6, 4));
    zq::RowReader reader;
    reader.reuse(frame);
    const int luma_stride = frame.layout().planes[0].stride;
    const int chroma_stride = frame.layout().planes[1].stride;
    const int expected_chroma_rows[] = {0, 0, 1, 1};
    for (int r = 0; r < 4; ++r) {
        EXPECT_EQ(reader.row(), r);
        EXPECT_EQ(reader.rows().plane[0], frame.data(0) + r * luma_stride);
        for (int p : {1, 2})
            EXPECT_EQ(reader.rows().plane[p], frame.data(p) + expected_chroma_rows[r] * chroma_stride);
        EXPECT_EQ(reader.rows().plane[3], nullptr);
        EXPECT_EQ(reader.next(), r < 3);
    }
    // At the end the cursor stands still.
    const zq::RowData end = reader.rows();
    EXPECT_EQ(reader.row(), 4);
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.row(), 4);
    for (int p = 0; p < 4; ++p) EXPECT_EQ(reader.rows().plane[p], end.plane[p]);
}

TEST(RowReader, UninitializedFrameUsesTheWritersWords) {
    zq::RowReader reader;
    EXPECT_TRUE(throwsExactly([&] { reader.reuse(zq::emptyFrame()); },
                              zq::ZQ_STATUS_UNINITIALIZED_INPUT, kFrameNotInitialized));
    EXPECT_EQ(reader.height(), 0);
}

TEST(RowWriter, OddRowsOfHalfHeightPlanesAreNull) {
    zq::Frame frame;
    frame.reuse(zq::ZQ_FRAME_NV12, Size(4, 5));
    zq::RowWriter writer;
    writer.reuse(frame);
    const int chroma_stride = frame.layout().planes[1].stride;
    for (int r = 0; r < 5; ++r) {
        EXPECT_NE(writer.rows().plane[0], nullptr);
        if (r % 2 == 0)
            EXPECT_EQ(writer.rows().plane[1], frame.data(1) + (r / 2) * chroma_stride) << r;
        else
            EXPECT_EQ(writer.rows().plane[1], nullptr) << r;
        writer.next();
    }
}

TEST(RowWriter, HeightOneEndsAfterOneRow) {
    zq::Frame frame;
    frame.reuse(zq::ZQ_FRAME_I420, Size(3, 1));
    zq::RowWriter writer;
    writer.reuse(frame);
    for (int p = 0; p < 3; ++p) EXPECT_EQ(writer.rows().plane[p], frame.data(p));
    EXPECT_FALSE(writer.next());
    EXPECT_EQ(writer.row(), 1);
    EXPECT_FALSE(writer.next());
    for (int p = 0; p < 4; ++p) EXPECT_EQ(writer.rows().plane[p], nullptr);
}

TEST(RowWriter, UninitializedFrame) {
    zq::RowWriter writer;
    zq::Frame frame;
    EXPECT_TRUE(throwsExactly([&] { writer.reuse(frame); }, zq::ZQ_STATUS_UNINITIALIZED_INPUT,
                              kFrameNotInitialized));
}

TEST(CopyRowData, NullDestinationsAreSkipped) {
    const zq::FrameLayout layout(zq::ZQ_FRAME_I420, Size(8, 2), 64);
    unsigned char src[3][16], dst[3][16];
    for (int p = 0; p < 3; ++p) {
        std::memset(src[p], 10 + p, 16);
        std::memset(dst[p], 0xEE, 16);
    }
    zq::RowData s, d;
    for (int p = 0; p < 3; ++p) s.plane[p] = src[p];
    zq::copyRowData(layout, s, d);  // all null: nothing happens
    d.plane[0] = dst[0];
    d.plane[2] = dst[2];
    zq::copyRowData(layout, s, d);
    EXPECT_EQ(dst[0][7], 10);
    EXPECT_EQ(dst[0][8], 0xEE);  // row_bytes only
    EXPECT_EQ(dst[1][0], 0xEE);
    EXPECT_EQ(dst[2][3], 12);
    EXPECT_EQ(dst[2][4], 0xEE);
}

TEST(RowCopier, Assertions) {
    zq::RowCopier copier;
    EXPECT_TRUE(assertsWith([&] { copier.reuse(zq::emptyFrame()); }, "src_frame.initialized()"));
    zq::RowCopier unconfigured;
    EXPECT_TRUE(assertsWith([&] { copier.reuse(unconfigured); },
                            "!src_producer.layout().size.empty()"));
    // Unconfigured: produce copies nothing and next ends at once.
    zq::RowData row;
    unconfigured.produce(row);
    EXPECT_FALSE(unconfigured.next());
    EXPECT_FALSE(unconfigured.initialized());
}

TEST(RowCopier, FrameAfterProducerForgetsTheProducer) {
    zq::Frame a, b;
    a.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 3));
    b.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 3));
    zqtest::fillPlanes(a, 1);
    zqtest::fillPlanes(b, 2);
    zqtest::FrameProducer producer(a);
    zq::RowCopier copier;
    copier.reuse(producer);
    EXPECT_TRUE(copier.initialized());
    copier.reuse(b);
    zq::Frame out;
    zq::produceFrame(copier, out);
    EXPECT_TRUE(zqtest::samePixels(out, b));
    EXPECT_TRUE(producer.produced.empty());
    copier.clear();
    EXPECT_FALSE(copier.initialized());
    EXPECT_EQ(copier.layout().plane_count, 0);
}

}  // namespace
