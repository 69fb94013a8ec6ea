#include "test_support.h"

namespace {

using zq::Size;

struct CopyCase {
    zq::FrameFormat format;
    Size size;
};

std::vector<CopyCase> copyCases() {
    std::vector<CopyCase> cases;
    for (auto f : zqtest::allFormats())
        for (Size s : {Size(1, 1), Size(5, 3), Size(6, 4), Size(17, 9)}) cases.push_back({f, s});
    return cases;
}

class CopyThroughPipeline : public ::testing::TestWithParam<CopyCase> {};

// A RowCopier fed by a frame, and one fed by a producer, reproduce every
// plane of every format into a region of a larger frame with its own stride;
// the bytes around the region keep their sentinel.
TEST_P(CopyThroughPipeline, IntoARegionOfALargerFrame) {
    const auto& c = GetParam();
    zq::Frame src;
    src.reuse(c.format, c.size);
    zqtest::fillRandom(src, 7u + uint32_t(c.format));

    for (bool via_producer : {false, true}) {
        zq::Frame big;
        big.reuse(c.format, Size(c.size.width + 6, c.size.height + 4));
        zqtest::fillPlanes(big, 0xA5);
        const zq::Frame before = [&] {
            zq::Frame copy;
            big.copyTo(copy);
            return copy;
        }();
        zq::Frame region = zq::getRegion(big, zq::Rect(2, 2, c.size.width, c.size.height));
        const unsigned char* first_row = region.data(0);

        zqtest::FrameProducer producer(src);
        zq::RowCopier copier;
        if (via_producer) {
            copier.reuse(producer);
        } else {
            copier.reuse(src);
        }
        zq::produceFrame(copier, region);
        EXPECT_EQ(region.data(0), first_row) << "written in place, not reallocated";
        EXPECT_TRUE(zqtest::samePixels(region, src));

        // Outside the region nothing changed.
        const auto& layout = big.layout();
        for (int p = 0; p < layout.plane_count; ++p) {
            const int sx = layout.planes[p].width < big.width() ? 2 : 1;
            const int sy = layout.planes[p].height < big.height() ? 2 : 1;
            const int bpp = layout.planes[p].row_bytes / layout.planes[p].width;
            const auto& rp = region.layout().planes[p];
            for (int y = 0; y < layout.planes[p].height; ++y)
                for (int x = 0; x < layout.planes[p].row_bytes; ++x) {
                    const bool inside = y >= 2 / sy && y < 2 / sy + rp.height && x >= (2 / sx) * bpp &&
                                        x < (2 / sx) * bpp + rp.row_bytes;
                    if (!inside) {
                        ASSERT_EQ(*zqtest::at(big, p, y, x), *zqtest::at(before, p, y, x))
                            << "plane " << p << " " << x << "," << y;
                    }
                }
        }
        if (via_producer) {
            EXPECT_EQ(int(producer.produced.size()), c.size.height);
            EXPECT_EQ(producer.next_calls, c.size.height);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllFormats, CopyThroughPipeline, ::testing::ValuesIn(copyCases()),
                         [](const auto& info) {
                             return std::string(zq::toString(info.param.format)) + "_" +
                                    std::to_string(info.param.size.width) + "x" +
                                    std::to_string(info.param.size.height);
                         });

TEST(ProduceFrame, CallsProduceAndNextOncePerRow) {
    zq::Frame src;
    src.reuse(zq::ZQ_FRAME_I420, Size(4, 4));
    zqtest::fillRandom(src, 3);
    zqtest::FrameProducer producer(src);

    // Record which chroma addresses the producer is handed.
    struct Spy : zq::IRowProducer {
        zq::IRowProducer* inner;
        std::vector<bool> chroma;
        zq::FrameLayout& layout() override { return inner->layout(); }
        void produce(zq::RowData& row) override {
            chroma.push_back(row.plane[1] != nullptr && row.plane[2] != nullptr);
            inner->produce(row);
        }
        bool next() override { return inner->next(); }
    } spy;
    spy.inner = &producer;
    zq::Frame out;
    zq::produceFrame(spy, out);
    EXPECT_EQ(spy.chroma, (std::vector<bool>{true, false, true, false}));
    EXPECT_EQ(producer.next_calls, 4);  // including the one after the last row
    EXPECT_TRUE(zqtest::samePixels(out, src));
}

TEST(ProduceFrame, ReallocatesAFrameOfAnotherFormatEvenWhenItsSizeFits) {
    zq::Frame src;
    src.reuse(zq::ZQ_FRAME_GRAY8, Size(8, 2));
    zqtest::fillRandom(src, 1);
    zq::RowCopier copier;
    copier.reuse(src);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_8U_C2, Size(8, 2));
    zq::Frame other = dst;  // keeps the old pixels alive
    zq::produceFrame(copier, dst);
    EXPECT_EQ(dst.format(), zq::ZQ_FRAME_GRAY8);
    EXPECT_NE(dst.data(0), other.data(0));
    EXPECT_TRUE(zqtest::samePixels(dst, src));
}

TEST(ProduceFrame, ProducerWithoutPlanesFailsInTheWriter) {
    zq::RowCopier unconfigured;
    zq::Frame dst;
    struct Empty : zq::IRowProducer {
        zq::FrameLayout l;
        zq::FrameLayout& layout() override { return l; }
        void produce(zq::RowData&) override {}
        bool next() override { return false; }
    } empty;
    EXPECT_TRUE(zqtest::throwsExactly(
        [&] { zq::produceFrame(empty, dst); }, zq::ZQ_STATUS_UNINITIALIZED_INPUT,
        "Failure in RowWriter::RowWriter(...) : frame is not initialized."));
    EXPECT_FALSE(dst.initialized());
}

}  // namespace
