// The storage a two-stage area chain holds grows with the row width, not with
// the image height: the chain never holds more than a window of rows.
#include <malloc.h>

#include "test_support.h"

namespace {

// Rows of a BGR24 image made on demand; no frame behind them.
class PatternProducer : public zq::IRowProducer {
public:
    explicit PatternProducer(zq::Size size) : _layout(zq::ZQ_FRAME_BGR24, size, 64) {}
    zq::FrameLayout& layout() override { return _layout; }
    void produce(zq::RowData& row) override {
        for (int i = 0; i < _layout.planes[0].row_bytes; ++i) row.plane[0][i] = uint8_t(i + _row);
    }
    bool next() override { return ++_row < _layout.size.height; }

private:
    zq::FrameLayout _layout;
    int _row = 0;
};

size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Bytes held by ScalerAreaX then ScalerAreaY reducing a source by 3 on both
// axes, measured after the whole frame went through (nothing is released
// during a pass, so this is the peak).
size_t chainBytes(zq::Size source) {
    const zq::Size target(source.width / 3, source.height / 3);
    zq::Frame out;
    out.reuse(zq::ZQ_FRAME_BGR24, target);
    PatternProducer producer(source);
    const size_t before = heapInUse();
    {
        zq::ScalerAreaX x;
        zq::ScalerAreaY y;
        x.reuse(producer, target.width, zq::ZQ_SCALER_FIXED_POINT_16S);
        y.reuse(x, target.height, zq::ZQ_SCALER_FIXED_POINT_16S);
        zq::produceFrame(y, out);
        return heapInUse() - before;
    }
}

TEST(ChainStorage, GrowsWithTheWidthNotTheHeight) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's allocator does not report heap use";
#endif
    const size_t uhd = chainBytes(zq::Size(3840, 2160));
    const size_t half_height = chainBytes(zq::Size(3840, 1080));
    const size_t half_width = chainBytes(zq::Size(1920, 2160));
    RecordProperty("bytes_3840x2160", std::to_string(uhd));
    // Halving the height only shortens the weight table of the rows (4 bytes
    // an output row, plus the allocator's rounding).
    EXPECT_LE(uhd - half_height, 8u * 1080 / 3 + 1024);
    // Halving the width halves the row storage, which is most of it.
    EXPECT_GT(double(uhd), 1.5 * double(half_width));
    // A window of rows, not a frame: far below one source frame of 24 MiB.
    EXPECT_LT(uhd, size_t(3840) * 3 * 16);
}

}  // namespace
