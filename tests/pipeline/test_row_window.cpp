#include <zq/row_window.h>

#include "test_support.h"

namespace {

using zq::Size;
using zqtest::assertsWith;
using zqtest::throwsExactly;

// A gray frame whose row r holds the value r + 1 in every byte.
zq::Frame numberedRows(zq::FrameFormat format, Size size) {
    zq::Frame f;
    f.reuse(format, size);
    for (int p = 0; p < f.layout().plane_count; ++p)
        for (int y = 0; y < f.layout().planes[p].height; ++y)
            std::memset(zqtest::at(f, p, y), (p * 64 + y + 1) & 0xFF,
                        size_t(f.layout().planes[p].row_bytes));
    return f;
}

TEST(RowWindow, Failures) {
    const zq::Frame frame = numberedRows(zq::ZQ_FRAME_GRAY8, Size(4, 5));
    zqtest::FrameProducer producer(frame);
    zq::RowCopier unconfigured;
    const char* const kRange = "Parameter 'window_size' is out of range.";
    const char* const kIndex = "0 <= row_index_in_window && row_index_in_window < _window_size";
    zq::RowWindow w;
    EXPECT_TRUE(assertsWith([&] { w.rowData(0); }, kIndex));  // unconfigured
    for (int size : {0, -1, 6}) {
        EXPECT_TRUE(
            throwsExactly([&] { w.reuse(frame, size); }, zq::ZQ_STATUS_OUT_OF_RANGE, kRange));
        EXPECT_TRUE(
            throwsExactly([&] { w.reuse(producer, size); }, zq::ZQ_STATUS_OUT_OF_RANGE, kRange));
        EXPECT_FALSE(w.initialized());
    }
    EXPECT_TRUE(throwsExactly([&] { w.reuse(zq::emptyFrame(), 1); },
                              zq::ZQ_STATUS_UNINITIALIZED_INPUT, "Frame is not initialized."));
    EXPECT_TRUE(throwsExactly([&] { w.reuse(unconfigured, 1); }, zq::ZQ_STATUS_UNINITIALIZED_INPUT,
                              "Row producer is not initialized."));
    w.reuse(frame, 5);  // as tall as the source: accepted
    EXPECT_EQ(w.rowData(4).plane[0][0], 5);
    EXPECT_TRUE(assertsWith([&] { w.rowData(-1); }, kIndex));
    EXPECT_TRUE(assertsWith([&] { w.rowData(5); }, kIndex));
    w.clear();
    EXPECT_FALSE(w.initialized());
    EXPECT_EQ(w.sourceHeight(), 0);
}

// Walking down a frame one row at a time and in jumps gives the same rows from a frame and from
// a producer, and stops at the bottom; a producer is asked for each row it must hand over once,
// and for none that a jump past the window skips.
TEST(RowWindow, SlidesSkipsAndStopsAtTheBottom) {
    const struct {
        int height, size;
        std::vector<int> targets, firsts, produced;
    } cases[] = {
        {9,
         3,
         {0, 1, 1, 2, 5, 4, 6, 8, 20},
         {0, 1, 1, 2, 5, 5, 6, 6, 6},
         {0, 1, 2, 3, 4, 5, 6, 7, 8}},
        {10, 2, {0, 6}, {0, 6}, {0, 1, 6, 7}},
    };
    for (const auto& c : cases)
        for (bool via_producer : {false, true}) {
            const zq::Frame frame = numberedRows(zq::ZQ_FRAME_GRAY8, Size(3, c.height));
            zqtest::FrameProducer producer(frame);
            zq::RowWindow w;
            via_producer ? w.reuse(producer, c.size) : w.reuse(frame, c.size);
            for (size_t k = 0; k < c.targets.size(); ++k) {
                w.advanceTo(c.targets[k]);
                EXPECT_EQ(w.firstRow(), c.firsts[k]) << "target " << c.targets[k];
                for (int i = 0; i < c.size; ++i)
                    EXPECT_EQ(w.rowData(i).plane[0][0], w.firstRow() + i + 1);
            }
            if (via_producer) {
                EXPECT_EQ(producer.produced, c.produced);
                EXPECT_EQ(w.sourceRow(), c.produced.back() + 1);
            }
        }
}

TEST(RowWindow, ProducerChromaAfterASkipToAnOddRowKeepsTheSlotsOldContents) {
    const zq::Frame frame = numberedRows(zq::ZQ_FRAME_I420, Size(4, 8));
    zqtest::FrameProducer producer(frame);
    zq::RowWindow w;
    w.reuse(producer, 2);
    w.advanceTo(3);  // first row 3: the chroma row of group 1 was never asked for
    EXPECT_EQ(w.rowData(0).plane[0][0], 4);
    EXPECT_EQ(w.rowData(0).plane[1][0], 0);       // fresh ring: zero
    EXPECT_EQ(w.rowData(1).plane[1][0], 64 + 3);  // row 4 starts group 2

    // Fed by the frame, the same jump is exact.
    zq::RowWindow f;
    f.reuse(frame, 2);
    f.advanceTo(3);
    EXPECT_EQ(f.rowData(0).plane[1][0], 64 + 2);
    EXPECT_EQ(f.rowData(1).plane[1][0], 64 + 3);
}

TEST(RowWindow, SubSampledPlanesOfAProducerShareOneSlotPerGroup) {
    const zq::Frame frame = numberedRows(zq::ZQ_FRAME_NV12, Size(4, 7));
    zqtest::FrameProducer producer(frame);
    zq::RowWindow w;
    w.reuse(producer, 4);
    for (int first = 0; first <= 3; ++first) {
        w.advanceTo(first);
        for (int i = 0; i < 4; ++i) {
            const int row = first + i;
            EXPECT_EQ(w.rowData(i).plane[0][0], row + 1);
            EXPECT_EQ(w.rowData(i).plane[1][0], 64 + row / 2 + 1) << "row " << row;
        }
    }
}

TEST(RowWindow, SameGeometryKeepsRingsAndTheirContents) {
    const zq::Frame frame = numberedRows(zq::ZQ_FRAME_GRAY8, Size(5, 6));
    zqtest::FrameProducer first(frame), second(frame);
    zq::RowWindow w;
    w.reuse(first, 2);
    w.rowData(0);
    w.reuse(second, 2);  // fast path: only the producer changes
    EXPECT_EQ(w.firstRow(), 0);
    EXPECT_EQ(w.endRow(), 0);
    // The running count was not reset: rows 0 and 1 are not asked of `second`
    // by a skip, and the window is reloaded from it.
    EXPECT_EQ(w.sourceRow(), 2);
    w.rowData(0);
    EXPECT_EQ(second.produced, (std::vector<int>{0, 1}));
    EXPECT_EQ(w.rowData(1).plane[0][0], 2);

    // A frame of the same geometry takes the short test: the table stays.
    w.reuse(frame, 2);
    EXPECT_EQ(w.rowData(1).plane[0], frame.data(0) + frame.layout().planes[0].stride);
    // And a producer after a frame always goes the long way (rings rebuilt).
    zqtest::FrameProducer third(frame);
    w.reuse(third, 2);
    EXPECT_EQ(w.rowData(1).plane[0][0], 2);
}

TEST(RowWindow, SecondPassSkipsNothingUntilTheRunningCountIsPassed) {
    const zq::Frame frame = numberedRows(zq::ZQ_FRAME_GRAY8, Size(2, 6));
    zqtest::FrameProducer first(frame);
    zq::RowWindow w;
    w.reuse(first, 1);
    for (int r = 0; r < 6; ++r) {
        w.advanceTo(r);
        w.rowData(0);
    }
    EXPECT_EQ(w.sourceRow(), 6);
    zqtest::FrameProducer second(frame);
    w.reuse(second, 1);
    w.advanceTo(3);
    w.rowData(0);
    // _first_row (3) is below the running count (6): no skip, so the new
    // producer hands its row 0 for window row 3.
    EXPECT_EQ(second.produced, (std::vector<int>{0}));
    EXPECT_EQ(second.next_calls, 1);
    EXPECT_EQ(w.rowData(0).plane[0][0], 1);
}

}  // namespace
