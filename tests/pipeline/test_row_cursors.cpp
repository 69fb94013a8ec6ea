#include "test_support.h"

namespace {

using namespace zq;
using zqtest::throwsExactly;

// Past the last row the reader stands still and the writer hands out nulls; both refuse an
// uninitialized frame, and so does produceFrame an unconfigured producer.
TEST(RowCursors, PastTheEndAndRefusals) {
    Frame frame, none;
    frame.reuse(ZQ_FRAME_I420, Size(6, 5));
    RowReader reader;
    RowWriter writer;
    reader.reuse(frame);
    writer.reuse(frame);
    for (int r = 0; r < 5; ++r) EXPECT_EQ(reader.next() + writer.next(), r < 4 ? 2 : 0);
    const RowData end = reader.rows();
    EXPECT_FALSE(reader.next() || writer.next());
    for (int p = 0; p < 4; ++p)
        EXPECT_TRUE(reader.rows().plane[p] == end.plane[p] && !writer.rows().plane[p]) << p;
    RowCopier unconfigured;
    const std::string no_frame = "Failure in RowWriter::RowWriter(...) : frame is not initialized.";
    const Status uninit = ZQ_STATUS_UNINITIALIZED_INPUT;
    EXPECT_TRUE(throwsExactly([&] { reader.reuse(none); }, uninit, no_frame));
    EXPECT_TRUE(throwsExactly([&] { writer.reuse(none); }, uninit, no_frame));
    EXPECT_TRUE(throwsExactly([&] { produceFrame(unconfigured, frame); }, uninit, no_frame));
    EXPECT_TRUE(zqtest::assertsWith([&] { unconfigured.reuse(none); }, "src_frame.initialized()"));
    RowData row;
    unconfigured.produce(row);  // copies nothing, ends at once
    EXPECT_FALSE(unconfigured.next());
}

// A RowCopier fed by a frame or by a producer reproduces every plane of every format into a
// region of a larger frame with its own stride, in place; the bytes around the region keep
// their sentinel.
TEST(RowCopier, EveryFormatIntoARegionOfALargerFrame) {
    for (auto format : zqtest::allFormats())
        for (Size size : {Size(1, 1), Size(5, 3), Size(6, 4), Size(17, 9)})
            for (bool via_producer : {false, true}) {
                const zqtest::AppFrame src(format, size, 0, 0, 0, 7u + format);  // random rows
                Frame big, before;
                big.reuse(format, Size(size.width + 6, size.height + 4));
                zqtest::fillPlanes(big, 0xA5);
                Frame region = getRegion(big, Rect(2, 2, size.width, size.height));
                zqtest::fillPlanes(region, 0);
                big.copyTo(before);
                const unsigned char* first_row = region.data(0);
                zqtest::FrameProducer producer(src.frame);
                RowCopier copier;
                copier.reuse(producer);
                if (!via_producer) copier.reuse(src.frame);  // the last feed wins
                produceFrame(copier, region);
                EXPECT_EQ(region.data(0), first_row);
                EXPECT_TRUE(zqtest::samePixels(region, src.frame)) << toString(format);
                zqtest::fillPlanes(region, 0);  // what remains must be as before
                EXPECT_TRUE(zqtest::samePixels(big, before)) << toString(format);
                EXPECT_EQ(producer.next_calls, via_producer ? size.height : 0);
            }
}

}  // namespace
