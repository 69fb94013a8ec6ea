#include "test_support.h"

namespace {

using namespace zq;
using zqtest::throwsExactly;

const char* const kFrameNotInitialized =
    "Failure in RowWriter::RowWriter(...) : frame is not initialized.";

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
    for (int p = 0; p < 4; ++p) {
        EXPECT_EQ(reader.rows().plane[p], end.plane[p]);
        EXPECT_EQ(writer.rows().plane[p], nullptr);
    }
    const Status uninitialized = ZQ_STATUS_UNINITIALIZED_INPUT;
    RowCopier unconfigured;
    EXPECT_TRUE(throwsExactly([&] { reader.reuse(none); }, uninitialized, kFrameNotInitialized));
    EXPECT_TRUE(throwsExactly([&] { writer.reuse(none); }, uninitialized, kFrameNotInitialized));
    EXPECT_TRUE(throwsExactly([&] { produceFrame(unconfigured, frame); }, uninitialized,
                              kFrameNotInitialized));
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
                Frame src, big, before;
                src.reuse(format, size);
                zqtest::fillRandom(src, 7u + uint32_t(format));
                big.reuse(format, Size(size.width + 6, size.height + 4));
                zqtest::fillPlanes(big, 0xA5);
                Frame region = getRegion(big, Rect(2, 2, size.width, size.height));
                zqtest::fillPlanes(region, 0);
                big.copyTo(before);
                const unsigned char* first_row = region.data(0);
                zqtest::FrameProducer producer(src);
                RowCopier copier;
                copier.reuse(producer);
                if (!via_producer) copier.reuse(src);  // the last feed wins
                produceFrame(copier, region);
                EXPECT_EQ(region.data(0), first_row);
                EXPECT_TRUE(zqtest::samePixels(region, src)) << toString(format);
                zqtest::fillPlanes(region, 0);  // what remains must be as before
                EXPECT_TRUE(zqtest::samePixels(big, before)) << toString(format);
                EXPECT_EQ(producer.next_calls, via_producer ? size.height : 0);
            }
}

}  // namespace
