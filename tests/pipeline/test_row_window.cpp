#include <zq/row_window.h>

#include "test_support.h"

namespace {

using namespace zq;
using zqtest::assertsWith;
using zqtest::throwsExactly;

// A frame whose row y of plane p holds p * 64 + y + 1 in every byte.
Frame numberedRows(FrameFormat format, Size size) {
    Frame f;
    f.reuse(format, size);
    for (int p = 0; p < f.layout().plane_count; ++p)
        for (int y = 0; y < f.layout().planes[p].height; ++y)
            std::memset(zqtest::at(f, p, y), (p * 64 + y + 1) & 0xFF,
                        size_t(f.layout().planes[p].row_bytes));
    return f;
}

TEST(RowWindow, Failures) {
    const Frame frame = numberedRows(ZQ_FRAME_GRAY8, Size(4, 5));
    zqtest::FrameProducer producer(frame);
    RowCopier unconfigured;
    const char* const kIndex = "0 <= row_index_in_window && row_index_in_window < _window_size";
    RowWindow w;
    EXPECT_TRUE(assertsWith([&] { w.rowData(0); }, kIndex));  // unconfigured
    for (int size : {0, -1, 6}) {
        for (bool by_producer : {false, true})
            EXPECT_TRUE(
                throwsExactly([&] { by_producer ? w.reuse(producer, size) : w.reuse(frame, size); },
                              ZQ_STATUS_OUT_OF_RANGE, "Parameter 'window_size' is out of range."));
        EXPECT_FALSE(w.initialized());
    }
    EXPECT_TRUE(throwsExactly([&] { w.reuse(emptyFrame(), 1); }, ZQ_STATUS_UNINITIALIZED_INPUT,
                              "Frame is not initialized."));
    EXPECT_TRUE(throwsExactly([&] { w.reuse(unconfigured, 1); }, ZQ_STATUS_UNINITIALIZED_INPUT,
                              "Row producer is not initialized."));
    w.reuse(frame, 5);  // as tall as the source: accepted, rows read in place
    EXPECT_EQ(w.rowData(4).plane[0], zqtest::at(frame, 0, 4));
    for (int i : {-1, 5}) EXPECT_TRUE(assertsWith([&] { w.rowData(i); }, kIndex));
}

// Walking down an NV12 frame one row at a time and in jumps gives the same luma and chroma rows
// from a frame and from a producer (whose chroma slots hold a pair of rows each), even and odd
// window sizes, and stops at the bottom; a producer is asked for each row it must hand over
// once, and for none that a jump past the window skips.
TEST(RowWindow, SlidesSkipsAndStopsAtTheBottom) {
    const struct {
        int height, size;
        std::vector<int> targets, firsts, produced;
    } cases[] = {{9,
                  3,
                  {0, 1, 1, 2, 5, 4, 6, 8, 20},
                  {0, 1, 1, 2, 5, 5, 6, 6, 6},
                  {0, 1, 2, 3, 4, 5, 6, 7, 8}},
                 {10, 2, {0, 6}, {0, 6}, {0, 1, 6, 7}},
                 {7, 4, {0, 1, 2, 3}, {0, 1, 2, 3}, {0, 1, 2, 3, 4, 5, 6}}};
    for (const auto& c : cases)
        for (bool via_producer : {false, true}) {
            const Frame frame = numberedRows(ZQ_FRAME_NV12, Size(3, c.height));
            zqtest::FrameProducer producer(frame);
            RowWindow w;
            via_producer ? w.reuse(producer, c.size) : w.reuse(frame, c.size);
            for (size_t k = 0; k < c.targets.size(); ++k) {
                w.advanceTo(c.targets[k]);
                EXPECT_EQ(w.firstRow(), c.firsts[k]) << "target " << c.targets[k];
                for (int i = 0, y = w.firstRow(); i < c.size; ++i, ++y)
                    EXPECT_EQ(w.rowData(i).plane[0][0] * 256 + w.rowData(i).plane[1][0],
                              (y + 1) * 256 + 64 + y / 2 + 1);
            }
            EXPECT_EQ(producer.produced, via_producer ? c.produced : std::vector<int>());
        }
}

// Sub-sampled planes of a producer share one slot per pair of rows. After a skip to an odd row
// the chroma slot of that row's pair keeps its old contents (zero in a fresh ring), where a
// frame-fed window is exact. A new producer of the same geometry keeps the rings, and the
// running count of source rows is not reset: no row of the new producer is skipped until that
// count is passed, so window row r is filled from the new producer's row 0.
TEST(RowWindow, ProducerSlotsAndRunningCount) {
    const Frame i420 = numberedRows(ZQ_FRAME_I420, Size(4, 8)),
                gray = numberedRows(ZQ_FRAME_GRAY8, Size(2, 6));
    zqtest::FrameProducer producer(i420);
    RowWindow skipped, exact;
    skipped.reuse(producer, 2), exact.reuse(i420, 2);
    skipped.advanceTo(3), exact.advanceTo(3);
    // Luma row 3, then the chroma of rows 3 and 4 from each window.
    EXPECT_EQ((std::vector<int>{skipped.rowData(0).plane[0][0], skipped.rowData(0).plane[1][0],
                                exact.rowData(0).plane[1][0], skipped.rowData(1).plane[1][0],
                                exact.rowData(1).plane[1][0]}),
              (std::vector<int>{4, 0, 64 + 2, 64 + 3, 64 + 3}));
    for (auto [size, walk, target] : {std::tuple{2, 1, 0}, std::tuple{1, 6, 3}}) {
        zqtest::FrameProducer first(gray), second(gray);
        RowWindow win;
        win.reuse(first, size);
        for (int r = 0; r < walk; ++r) win.advanceTo(r), win.rowData(0);
        EXPECT_EQ(win.sourceRow(), walk + size - 1);
        win.reuse(second, size);
        win.advanceTo(target);
        EXPECT_EQ(win.rowData(size - 1).plane[0][0], size);
        EXPECT_EQ(second.produced, (size == 1 ? std::vector<int>{0} : std::vector<int>{0, 1}));
    }
}

}  // namespace
