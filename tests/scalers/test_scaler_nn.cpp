#include <zq/scaler_nn.h>

#include "scaler_reference.h"

namespace {

using scalerref::Kind;
using scalerref::makeFrame;
using zq::Frame;
using zq::Size;
using zqtest::assertsWith;

// Worked by hand: step = (src << 16) / dst, sample i at (step / 2 + i * step) >> 16.
TEST(ScalerNearestNeighbor, PicksByHand) {
    const std::pair<int, std::vector<int>> cases[] = {
        {4, {2}}, {2, {0, 0, 1, 1}}, {3, {0, 2}}, {5, {0, 2, 4}}};
    for (const auto& [n, picks] : cases)
        for (bool across : {true, false}) {
            // Pixel i holds 10 * i, along a row or down a column.
            const int m = int(picks.size());
            const Frame src = makeFrame(zq::ZQ_FRAME_GRAY8, across ? Size(n, 1) : Size(1, n), 0);
            for (int i = 0; i < n; ++i)
                *zqtest::at(src, 0, across ? 0 : i, across ? i : 0) = uint8_t(10 * i);
            zq::ScalerNearestNeighbor nn;
            nn.reuse(src, across ? Size(m, 1) : Size(1, m));
            Frame out;
            zq::produceFrame(nn, out);
            for (int i = 0; i < m; ++i)
                EXPECT_EQ(*zqtest::at(out, 0, across ? 0 : i, across ? i : 0),
                          10 * picks[size_t(i)])
                    << n << " -> " << m << (across ? " across" : " down") << ", pixel " << i;
        }
}

TEST(ScalerNearestNeighbor, MatchesReferenceForEveryFormatAndSize) {
    scalerref::checkAgainstReference(Kind::Nearest);
}

// Chroma pairs gathered from rows at odd addresses (byte copies) equal those
// gathered from aligned rows (16-bit accesses).
TEST(ScalerNearestNeighbor, ChromaPairsAtOddAddresses) {
    const Frame aligned = makeFrame(zq::ZQ_FRAME_NV12, Size(8, 4), 3);
    Frame expected = makeFrame(zq::ZQ_FRAME_NV12, Size(5, 3), 0);
    ASSERT_TRUE(scalerref::scale(aligned, expected, Kind::Nearest, true));
    std::vector<uint8_t> memory(512);
    unsigned char* planes[2] = {memory.data() + 64, memory.data() + 201};
    const int32_t strides[2] = {8, 9};
    for (int y = 0; y < 4; ++y) std::memcpy(planes[0] + 8 * y, zqtest::at(aligned, 0, y), 8);
    for (int y = 0; y < 2; ++y) std::memcpy(planes[1] + 9 * y, zqtest::at(aligned, 1, y), 8);
    const Frame odd(zq::ZQ_FRAME_NV12, Size(8, 4), planes, strides);
    zq::ScalerNearestNeighbor nn;
    nn.reuse(odd, Size(5, 3));
    Frame actual = makeFrame(zq::ZQ_FRAME_NV12, Size(5, 3), 0);
    zq::produceFrame(nn, actual);
    EXPECT_TRUE(scalerref::sameStrides(actual, expected));
}

TEST(ScalerNearestNeighbor, Failures) {
    zq::ScalerNearestNeighbor nn;
    const Frame gray = makeFrame(zq::ZQ_FRAME_GRAY8, Size(4, 4), 1);
    zqtest::FrameProducer producer(gray);
    zq::RowCopier unconfigured;
    EXPECT_TRUE(
        assertsWith([&] { nn.reuse(zq::emptyFrame(), Size(2, 2)); }, "src_frame.initialized()"));
    EXPECT_TRUE(assertsWith([&] { nn.reuse(gray, Size(2, 0)); }, "!dst_size.empty()"));
    EXPECT_TRUE(assertsWith([&] { nn.reuse(unconfigured, Size(2, 2)); },
                            "!src_producer.layout().size.empty()"));
    EXPECT_TRUE(assertsWith([&] { nn.reuse(producer, Size(-1, 2)); }, "!dst_size.empty()"));
    EXPECT_FALSE(nn.initialized());

    // 32768 << 16 wraps negative: the table overruns and its check fires; 32767 is fine.
    const Frame wide = makeFrame(zq::ZQ_FRAME_GRAY8, Size(32768, 1), 0);
    const Frame tall = makeFrame(zq::ZQ_FRAME_GRAY8, Size(1, 32768), 0);
    const Frame widest = makeFrame(zq::ZQ_FRAME_GRAY8, Size(32767, 1), 0);
    EXPECT_TRUE(assertsWith([&] { nn.reuse(wide, Size(3, 1)); },
                            "_src_xs[dst_size.width - 1] < src_size.width"));
    EXPECT_TRUE(assertsWith([&] { nn.reuse(tall, Size(1, 3)); },
                            "_src_ys[dst_size.height - 1] < src_size.height"));
    nn.reuse(widest, Size(3, 1));
    EXPECT_TRUE(nn.initialized());
}

}  // namespace
