#include <cmath>
#include <limits>

#include "test_support.h"

namespace {

using namespace zq;
using zqtest::at;
using zqtest::FrameProducer;
using zqtest::throwsExactly;

// clang-format off
bool isYuv(FrameFormat f) { return f >= ZQ_FRAME_I420 && f <= ZQ_FRAME_YUV444_PLANAR; }
bool isPacked422(FrameFormat f) { return f == ZQ_FRAME_YUYV || f == ZQ_FRAME_UYVY; }
int xFactor(FrameFormat f) { return f >= ZQ_FRAME_YUV24 ? 1 : 2; }
int yFactor(FrameFormat f) { return f <= ZQ_FRAME_NV21 ? 2 : 1; }

// Bytes of a row a conversion defines: a packed 4:2:2 row of odd width ends
// with a whole 4-byte group, past row_bytes.
int definedBytes(const Frame& f, int p) {
    return isPacked422(f.format()) ? 4 * ((f.width() + 1) / 2) : f.layout().planes[p].row_bytes;
}

// Sample c (0 Y, 1 U, 2 V) covering luma pixel (x, y), by each format's memory order.
unsigned char* yuvAt(const Frame& f, int c, int x, int y) {
    const int cx = x / 2, cy = y / 2;
    switch (f.format()) {
        case ZQ_FRAME_I420: return c == 0 ? at(f, 0, y, x) : at(f, c, cy, cx);
        case ZQ_FRAME_YV12: return c == 0 ? at(f, 0, y, x) : at(f, 3 - c, cy, cx);
        case ZQ_FRAME_NV12: return c == 0 ? at(f, 0, y, x) : at(f, 1, cy, 2 * cx + c - 1);
        case ZQ_FRAME_NV21: return c == 0 ? at(f, 0, y, x) : at(f, 1, cy, 2 * cx + 2 - c);
        case ZQ_FRAME_YV16: return c == 0 ? at(f, 0, y, x) : at(f, 3 - c, y, cx);
        case ZQ_FRAME_YUYV: return at(f, 0, y, c == 0 ? 2 * x : 4 * cx + (c == 1 ? 1 : 3));
        case ZQ_FRAME_UYVY: return at(f, 0, y, c == 0 ? 2 * x + 1 : 4 * cx + (c == 1 ? 0 : 2));
        case ZQ_FRAME_NV16: return c == 0 ? at(f, 0, y, x) : at(f, 1, y, 2 * cx + c - 1);
        case ZQ_FRAME_YUV24: return at(f, 0, y, 3 * x + c);
        default: return at(f, c, y, x);  // YUV444_PLANAR
    }
}

// Channel ch (0 B, 1 G, 2 R) of pixel (x, y) of an 8-bit RGB or BGR format.
unsigned char* bgrAt(const Frame& f, int ch, int x, int y) {
    switch (f.format()) {
        case ZQ_FRAME_RGB24: return at(f, 0, y, 3 * x + 2 - ch);
        case ZQ_FRAME_BGR24_PLANAR: return at(f, ch, y, x);
        case ZQ_FRAME_RGB24_PLANAR: return at(f, 2 - ch, y, x);
        default: return at(f, 0, y, 3 * x + ch);
    }
}
// clang-format on

float* floatAt(const Frame& f, int ch, int x, int y) {
    return reinterpret_cast<float*>(f.format() == ZQ_FRAME_BGR32F ? at(f, 0, y, 12 * x + 4 * ch)
                                                                  : at(f, ch, y, 4 * x));
}

struct Formula {  // the colour arithmetic, in plain int
    static int y(int b, int g, int r) { return (25 * b + 129 * g + 65 * r + 4096) >> 8; }
    static int u(int b, int g, int r) { return 112 * b - 74 * g - 38 * r + 32768; }
    static int v(int b, int g, int r) { return -18 * b - 94 * g + 112 * r + 32768; }
    static uint8_t clamp(int v) { return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v); }
    static void bgr(int y, int u, int v, unsigned char* out) {
        const int c = 297 * (y - 16);
        out[0] = clamp((c + 516 * (u - 128)) / 256);
        out[1] = clamp((c - 207 * (v - 128) - 100 * (u - 128)) / 256);
        out[2] = clamp((c + 408 * (v - 128)) / 256);
    }
    static uint8_t floatByte(float f) {
        const double t = std::trunc(double(f));
        if (std::isnan(f) || t <= 0) return 0;
        return t >= 4294967296.0 ? 0xFF : uint8_t(uint64_t(t) & 0xFF);
    }
};

// What converting `s` to d.format() writes into `d`, pixel by pixel and cell by cell.
void reference(const Frame& s, Frame& d) {
    const FrameFormat sf = s.format(), df = d.format();
    const int W = s.width(), H = s.height();
    if (isYuv(df)) {
        const int fx = xFactor(df), fy = yFactor(df);
        for (int y0 = 0; y0 < H; y0 += fy)
            for (int x0 = 0; x0 < W; x0 += fx) {
                int64_t u = 0, v = 0, n = 0;
                for (int y = y0; y < std::min(H, y0 + fy); ++y)
                    for (int x = x0; x < std::min(W, x0 + fx); ++x, ++n) {
                        unsigned char* Y = yuvAt(d, 0, x, y);
                        if (sf == ZQ_FRAME_GRAY8) {
                            *Y = *at(s, 0, y, x);
                        } else if (sf == ZQ_FRAME_BGR24) {
                            const int b = *bgrAt(s, 0, x, y), g = *bgrAt(s, 1, x, y),
                                      r = *bgrAt(s, 2, x, y);
                            *Y = uint8_t(Formula::y(b, g, r));
                            u += Formula::u(b, g, r);
                            v += Formula::v(b, g, r);
                        } else {
                            *Y = *yuvAt(s, 0, x, y);
                            u += *yuvAt(s, 1, x, y);
                            v += *yuvAt(s, 2, x, y);
                        }
                    }
                const int shift = n == 4 ? 10 : n == 2 ? 9 : 8;  // BGR24: one shift per cell
                *yuvAt(d, 1, x0, y0) = uint8_t(sf == ZQ_FRAME_GRAY8   ? 0
                                               : sf == ZQ_FRAME_BGR24 ? u >> shift
                                                                      : u / n);
                *yuvAt(d, 2, x0, y0) = uint8_t(sf == ZQ_FRAME_GRAY8   ? 0
                                               : sf == ZQ_FRAME_BGR24 ? v >> shift
                                                                      : v / n);
            }
        if (sf == ZQ_FRAME_BGR24 && isPacked422(df) && W % 2)  // luma of the absent pixel
            for (int y = 0; y < H; ++y) *at(d, 0, y, 2 * W + (df == ZQ_FRAME_UYVY)) = 0;
        return;
    }
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            if (isYuv(sf) && df == ZQ_FRAME_BGR24)
                Formula::bgr(*yuvAt(s, 0, x, y), *yuvAt(s, 1, x, y), *yuvAt(s, 2, x, y),
                             bgrAt(d, 0, x, y));
            else if (isYuv(sf))
                *at(d, 0, y, x) = *yuvAt(s, 0, x, y);
            else if (df == ZQ_FRAME_GRAY8)
                *at(d, 0, y, x) = uint8_t((28 * *bgrAt(s, 0, x, y) + 152 * *bgrAt(s, 1, x, y) +
                                           76 * *bgrAt(s, 2, x, y)) >>
                                          8);
            else
                for (int ch = 0; ch < 3; ++ch) {
                    if (sf == ZQ_FRAME_GRAY8)
                        *bgrAt(d, ch, x, y) = *at(s, 0, y, x);
                    else if (df == ZQ_FRAME_BGR32F || df == ZQ_FRAME_BGR32F_PLANAR)
                        *floatAt(d, ch, x, y) = float(*bgrAt(s, ch, x, y));
                    else if (sf == ZQ_FRAME_BGR32F)
                        *bgrAt(d, ch, x, y) = Formula::floatByte(*floatAt(s, ch, x, y));
                    else
                        *bgrAt(d, ch, x, y) = *bgrAt(s, ch, x, y);
                }
        }
}

// Every byte of every row, strides included.
void fillStrides(Frame& f, uint8_t value) {
    for (int p = 0; p < f.layout().plane_count; ++p)
        for (int y = 0; y < f.layout().planes[p].height; ++y)
            std::memset(at(f, p, y), value, size_t(f.layout().planes[p].stride));
}

::testing::AssertionResult sameDefined(const Frame& a, const Frame& b) {
    if (a.format() != b.format() || a.size() != b.size()) return ::testing::AssertionFailure();
    for (int p = 0; p < a.layout().plane_count; ++p)
        for (int y = 0; y < a.layout().planes[p].height; ++y)
            for (int x = 0; x < definedBytes(a, p); ++x)
                if (*at(a, p, y, x) != *at(b, p, y, x))
                    return ::testing::AssertionFailure()
                           << "plane " << p << " row " << y << " byte " << x << ": "
                           << int(*at(a, p, y, x)) << " instead of " << int(*at(b, p, y, x));
    return ::testing::AssertionSuccess();
}

// Random pixels; floats mix values that wrap, saturate and truncate. The bytes
// of a packed 4:2:2 row past row_bytes (the last V at an odd width) are random
// when `random_tail`, else 0 as in a window's fresh ring, which a producer
// never writes there.
Frame makeSource(FrameFormat format, Size size, uint32_t seed, bool random_tail = false) {
    Frame f;
    f.reuse(format, size);
    fillStrides(f, 0);
    zqtest::fillRandom(f, seed);
    std::mt19937 rng(seed);
    const float specials[] = {255.9f, 256.0f, 300.0f,
                              -5.0f,  0.5f,   4294967040.0f,
                              1e20f,  -1e20f, std::numeric_limits<float>::quiet_NaN()};
    for (int y = 0; format == ZQ_FRAME_BGR32F && y < size.height; ++y)
        for (int i = 0; i < 3 * size.width; ++i)
            *floatAt(f, i % 3, i / 3, y) =
                rng() % 2 ? specials[rng() % 9] : float(rng() % 70000) / 100.0f - 50.0f;
    for (int y = 0; isPacked422(format) && random_tail && y < size.height; ++y)
        for (int x = 2 * size.width; x < definedBytes(f, 0); ++x) *at(f, 0, y, x) = uint8_t(rng());
    return f;
}

Frame run(IRowProducer& conv, FrameFormat dst_format, Size size) {
    Frame out;
    out.reuse(dst_format, size);
    fillStrides(out, 0xA5);
    produceFrame(conv, out);
    return out;
}

Frame expected(const Frame& src, FrameFormat dst_format) {
    Frame out;
    out.reuse(dst_format, src.size());
    fillStrides(out, 0xA5);
    reference(src, out);
    return out;
}

// Each pair of the table at odd and even sizes (at an odd height the last row
// has chroma from one row, at an even one it has none), from a frame and from
// a producer, which must be asked for each row once, in order.
TEST(FormatConverter, EveryPairMatchesTheFormulas) {
    std::vector<std::pair<FrameFormat, FrameFormat>> pairs = {
        {ZQ_FRAME_GRAY8, ZQ_FRAME_BGR24},        {ZQ_FRAME_RGB24, ZQ_FRAME_BGR24},
        {ZQ_FRAME_RGB24_PLANAR, ZQ_FRAME_RGB24}, {ZQ_FRAME_BGR24_PLANAR, ZQ_FRAME_BGR24},
        {ZQ_FRAME_BGR32F, ZQ_FRAME_BGR24},       {ZQ_FRAME_BGR24, ZQ_FRAME_GRAY8},
        {ZQ_FRAME_BGR24, ZQ_FRAME_RGB24},        {ZQ_FRAME_BGR24, ZQ_FRAME_BGR24_PLANAR},
        {ZQ_FRAME_BGR24, ZQ_FRAME_BGR32F},       {ZQ_FRAME_BGR24, ZQ_FRAME_BGR32F_PLANAR}};
    for (int a = ZQ_FRAME_I420; a <= ZQ_FRAME_YUV444_PLANAR; ++a)
        for (int b :
             {int(ZQ_FRAME_GRAY8), int(ZQ_FRAME_BGR24), 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}) {
            if (b == ZQ_FRAME_GRAY8 || b == ZQ_FRAME_BGR24)
                pairs.push_back({FrameFormat(b), FrameFormat(a)});
            if (a != b) pairs.push_back({FrameFormat(a), FrameFormat(b)});
        }
    uint32_t seed = 1;
    for (const auto& [sf, df] : pairs)
        for (const Size size : {Size{7, 5}, Size{6, 4}, Size{1, 3}, Size{5, 2}, Size{3, 1}})
            for (const bool from_producer : {false, true}) {
                SCOPED_TRACE(std::string(toString(sf)) + " -> " + toString(df) + " " +
                             std::to_string(size.width) + "x" + std::to_string(size.height) +
                             (from_producer ? " producer" : " frame"));
                if (size.height == 1 && isYuv(df) && yFactor(df) == 2 && sf != ZQ_FRAME_GRAY8)
                    continue;  // a window of two rows; refused below
                const Frame src = makeSource(sf, size, ++seed, !from_producer);
                FormatConverter conv;
                FrameProducer producer(src);
                from_producer ? conv.reuse(producer, df) : conv.reuse(src, df);
                EXPECT_TRUE(conv.initialized());
                EXPECT_EQ(conv.layout().format, df);
                EXPECT_TRUE(sameDefined(run(conv, df, size), expected(src, df)));
                std::vector<int> rows;
                for (int r = 0; from_producer && r < size.height; ++r) rows.push_back(r);
                EXPECT_EQ(producer.produced, from_producer ? rows : std::vector<int>());
            }
}

TEST(FormatConverter, NamedColoursThroughBothMatrices) {
    struct {
        uint8_t bgr[3], yuv[3], gray, back[3];
    } cases[] = {
        {{255, 255, 255}, {234, 128, 128}, 255, {252, 252, 252}},
        {{128, 128, 128}, {125, 128, 128}, 128, {126, 126, 126}},
        {{255, 0, 0}, {40, 239, 110}, 27, {251, 0, 0}},
        {{0, 0, 0}, {16, 128, 128}, 0, {0, 0, 0}},
    };
    for (const auto& c : cases)
        for (const FrameFormat yuv : {ZQ_FRAME_I420, ZQ_FRAME_YUYV, ZQ_FRAME_YUV24}) {
            Frame bgr;
            bgr.reuse(ZQ_FRAME_BGR24, {2, 2});
            for (int i = 0; i < 12; ++i) *at(bgr, 0, i / 6, i % 6) = c.bgr[i % 3];
            FormatConverter to_yuv, back, to_gray;
            to_yuv.reuse(bgr, yuv);
            const Frame y = run(to_yuv, yuv, {2, 2});
            for (int k = 0; k < 3; ++k) EXPECT_EQ(*yuvAt(y, k, 1, 1), c.yuv[k]) << k;
            back.reuse(y, ZQ_FRAME_BGR24);
            const Frame b = run(back, ZQ_FRAME_BGR24, {2, 2});
            for (int k = 0; k < 3; ++k) EXPECT_EQ(*at(b, 0, 1, 3 + k), c.back[k]) << k;
            to_gray.reuse(bgr, ZQ_FRAME_GRAY8);
            EXPECT_EQ(*at(run(to_gray, ZQ_FRAME_GRAY8, {2, 2}), 0, 1, 1), c.gray);
        }
}

TEST(FormatConverter, FloatToByteTruncatesSaturatesAndWraps) {
    const float in[] = {
        255.9f,        256.0f,        300.0f, -5.0f, std::numeric_limits<float>::quiet_NaN(),
        4294967296.0f, 4294967040.0f, 0.99f,  65.7f};
    const uint8_t want[] = {255, 0, 44, 0, 0, 255, 0, 0, 65};
    Frame f;
    f.reuse(ZQ_FRAME_BGR32F, {3, 1});
    for (int i = 0; i < 9; ++i) *floatAt(f, i % 3, i / 3, 0) = in[i];
    FormatConverter conv;
    conv.reuse(f, ZQ_FRAME_BGR24);
    const Frame out = run(conv, ZQ_FRAME_BGR24, {3, 1});
    for (int i = 0; i < 9; ++i) EXPECT_EQ(*at(out, 0, 0, i), want[i]) << in[i];
}

TEST(FormatConverter, RoundTripsAreExact) {
    const std::vector<std::vector<FrameFormat>> trips = {
        {ZQ_FRAME_BGR24, ZQ_FRAME_RGB24, ZQ_FRAME_BGR24},
        {ZQ_FRAME_BGR24, ZQ_FRAME_BGR24_PLANAR, ZQ_FRAME_BGR24},
        {ZQ_FRAME_BGR24, ZQ_FRAME_BGR32F, ZQ_FRAME_BGR24},
        {ZQ_FRAME_GRAY8, ZQ_FRAME_BGR24, ZQ_FRAME_GRAY8},
        {ZQ_FRAME_I420, ZQ_FRAME_NV12, ZQ_FRAME_NV21, ZQ_FRAME_YV12, ZQ_FRAME_I420},
        {ZQ_FRAME_YV16, ZQ_FRAME_YUYV, ZQ_FRAME_UYVY, ZQ_FRAME_NV16, ZQ_FRAME_YV16},
        {ZQ_FRAME_YUV24, ZQ_FRAME_YUV444_PLANAR, ZQ_FRAME_YUV24}};
    for (const auto& trip : trips) {
        const Frame src = makeSource(trip[0], {6, 4}, 77);
        Frame cur = src;
        for (size_t i = 1; i < trip.size(); ++i) {
            FormatConverter conv;
            conv.reuse(cur, trip[i]);
            cur = run(conv, trip[i], {6, 4});
        }
        EXPECT_TRUE(sameDefined(cur, src)) << toString(trip[1]);
    }
}

// A converter fed by another: the second one's window pulls from the first.
TEST(FormatConverter, ChainOfConverters) {
    const FrameFormat chains[][3] = {{ZQ_FRAME_RGB24, ZQ_FRAME_BGR24, ZQ_FRAME_I420},
                                     {ZQ_FRAME_BGR24, ZQ_FRAME_YV16, ZQ_FRAME_NV12},
                                     {ZQ_FRAME_NV21, ZQ_FRAME_BGR24, ZQ_FRAME_GRAY8},
                                     {ZQ_FRAME_GRAY8, ZQ_FRAME_BGR24, ZQ_FRAME_UYVY}};
    for (const auto& chain : chains)
        for (const Size size : {Size{7, 5}, Size{4, 6}}) {
            const Frame src = makeSource(chain[0], size, 5);
            FormatConverter first, second;
            first.reuse(src, chain[1]);
            second.reuse(first, chain[2]);
            EXPECT_TRUE(sameDefined(run(second, chain[2], size),
                                    expected(expected(src, chain[1]), chain[2])))
                << toString(chain[2]) << " " << size.height;
        }
}

// From a region of a larger frame into a region of another: written in place,
// the pixels around the destination region keep their sentinel.
TEST(FormatConverter, RegionToRegionLeavesSurroundings) {
    Frame big_src = makeSource(ZQ_FRAME_BGR24, {9, 7}, 9);
    const Frame src = getRegion(big_src, Rect{1, 3, 5, 3});
    Frame big_dst;
    big_dst.reuse(ZQ_FRAME_I420, {10, 8});
    fillStrides(big_dst, 0x5A);
    Frame dst = getRegion(big_dst, Rect{2, 2, 5, 3});
    FormatConverter conv;
    conv.reuse(src, ZQ_FRAME_I420);
    produceFrame(conv, dst);
    EXPECT_EQ(dst.data(0), at(big_dst, 0, 2, 2));
    EXPECT_TRUE(sameDefined(dst, expected(src, ZQ_FRAME_I420)));
    for (int p = 0; p < 3; ++p) {  // plane region: from (2, 2), 5x3; chroma from (1, 1), 3x2
        const int x0 = p ? 1 : 2, w = p ? 3 : 5, h = p ? 2 : 3;
        for (int y = 0; y < big_dst.layout().planes[p].height; ++y)
            for (int x = 0; x < big_dst.layout().planes[p].row_bytes; ++x)
                if (x < x0 || x >= x0 + w || y < x0 || y >= x0 + h) {
                    ASSERT_EQ(*at(big_dst, p, y, x), 0x5A) << p << " " << y << " " << x;
                }
    }
}

TEST(FormatConverter, NextIsTrueUpToTheStepPastTheLastRow) {
    const Frame src = makeSource(ZQ_FRAME_BGR24, {4, 3}, 3);
    FormatConverter conv;
    conv.reuse(src, ZQ_FRAME_NV12);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(conv.next()) << i;
    EXPECT_FALSE(conv.next());
    EXPECT_FALSE(conv.next());
}

TEST(FormatConverter, EqualFormatsPassThroughWithTheSourceLayout) {
    Frame big = makeSource(ZQ_FRAME_16U_C1, {40, 3}, 4);
    const Frame src = getRegion(big, Rect{1, 0, 5, 3});
    FormatConverter conv;
    conv.reuse(src, ZQ_FRAME_16U_C1);  // a format without any row function
    EXPECT_TRUE(conv.initialized());
    EXPECT_EQ(conv.layout().planes[0].stride, big.layout().planes[0].stride);
    EXPECT_TRUE(sameDefined(run(conv, ZQ_FRAME_16U_C1, {5, 3}), src));
    const Frame bgr = makeSource(ZQ_FRAME_BGR24, {5, 3}, 5);
    conv.reuse(bgr, ZQ_FRAME_GRAY8);  // back to converting
    EXPECT_TRUE(sameDefined(run(conv, ZQ_FRAME_GRAY8, {5, 3}), expected(bgr, ZQ_FRAME_GRAY8)));
}

// The engine's refusals come from its own unit, the window's from the window.
TEST(FormatConverter, RefusalsWithStatusTextAndPlace) {
    const struct {
        FrameFormat src, dst;
        int height;
        Status status;
        const char* function;
    } cases[] = {
        {ZQ_FRAME_BGR24, ZQ_FRAME_NONE, 2, ZQ_STATUS_INVALID_FORMAT, "reuse"},
        {ZQ_FRAME_BGR24, ZQ_FRAME_8U_C2, 2, ZQ_STATUS_INVALID_FORMAT, "getFormatInfo"},
        {ZQ_FRAME_32F_C1, ZQ_FRAME_BGR24, 2, ZQ_STATUS_INVALID_FORMAT, "getFormatInfo"},
        {ZQ_FRAME_I420, FrameFormat(27), 2, ZQ_STATUS_INVALID_FORMAT, "getFormatInfo"},
        {ZQ_FRAME_BGR32F_PLANAR, ZQ_FRAME_BGR24, 2, ZQ_STATUS_INVALID_FORMAT, "get_context"},
        {ZQ_FRAME_GRAY8, ZQ_FRAME_RGB24, 2, ZQ_STATUS_UNSUPPORTED_FORMAT, "get_context"},
        {ZQ_FRAME_BGR24, ZQ_FRAME_RGB24_PLANAR, 2, ZQ_STATUS_UNSUPPORTED_FORMAT, "get_context"},
        {ZQ_FRAME_RGB24, ZQ_FRAME_I420, 2, ZQ_STATUS_UNSUPPORTED_FORMAT, "get_context"},
        {ZQ_FRAME_BGR32F, ZQ_FRAME_GRAY8, 2, ZQ_STATUS_UNSUPPORTED_FORMAT, "get_context"},
        {ZQ_FRAME_BGR24, ZQ_FRAME_NV21, 1, ZQ_STATUS_OUT_OF_RANGE, "reuse"},
        {ZQ_FRAME_I420, ZQ_FRAME_NV12, 1, ZQ_STATUS_OUT_OF_RANGE, "reuse"},
        // No description of the destination: a new engine's window size is 0.
        {ZQ_FRAME_NV12, ZQ_FRAME_RGB24, 2, ZQ_STATUS_OUT_OF_RANGE, "reuse"}};
    for (const auto& c : cases)
        for (const bool from_producer : {false, true}) {
            const bool engine = c.function[0] == 'g';
            const std::string text =
                c.status == ZQ_STATUS_OUT_OF_RANGE ? "Parameter 'window_size' is out of range."
                : engine ? "Failure in ImplFormatConverter::get_context(...) : unsupported format."
                         : "Invalid value for parameter 'dst_format'.";
            const std::string file = c.status == ZQ_STATUS_OUT_OF_RANGE ? "src/zq_cv/zq_row_window"
                                     : engine ? "src/zq_cv/zq_impl_format_converter"
                                              : "src/zq_cv/zq_format_converter";
            Frame src;
            src.reuse(c.src, {4, c.height});
            FrameProducer producer(src);
            FormatConverter conv;
            try {
                from_producer ? conv.reuse(producer, c.dst) : conv.reuse(src, c.dst);
                ADD_FAILURE() << "nothing thrown";
            } catch (Exception& e) {
                EXPECT_EQ(e.status(), c.status) << toString(c.src) << " -> " << int(c.dst);
                EXPECT_EQ(e.what(), text);
                EXPECT_STREQ(e.function(), c.function);
                EXPECT_EQ(e.file(), file);
            }
            EXPECT_FALSE(conv.initialized());
        }

    FormatConverter conv;
    Frame none;
    FrameProducer empty(none);
    RowData row;
    EXPECT_TRUE(throwsExactly([&] { conv.reuse(none, ZQ_FRAME_BGR24); },
                              ZQ_STATUS_INVALID_PARAMETER,
                              "Parameter 'frame' is not initialized."));
    EXPECT_TRUE(throwsExactly([&] { conv.reuse(empty, ZQ_FRAME_BGR24); },
                              ZQ_STATUS_INVALID_PARAMETER,
                              "Parameter 'producer' is not initialized."));
    EXPECT_TRUE(throwsExactly(
        [&] { conv.produce(row); }, ZQ_STATUS_NOT_INITIALIZED,
        "FormatConverter is not initialized. Call FormatConverter::reuse(...) first."));
    // A refused producer is already the source: produce() then writes nothing
    // and does not fail.
    const Frame rgb = makeSource(ZQ_FRAME_RGB24, {4, 2}, 6);
    FrameProducer producer(rgb);
    EXPECT_THROW(conv.reuse(producer, ZQ_FRAME_GRAY8), Exception);
    EXPECT_NO_THROW(conv.produce(row));
}

// A failed reuse keeps the flags of the good one before it, and no function runs.
TEST(FormatConverter, FailedReuseStaysInitializedAndWritesNothing) {
    const Frame bgr = makeSource(ZQ_FRAME_BGR24, {4, 3}, 8);
    FormatConverter conv;
    conv.reuse(bgr, ZQ_FRAME_GRAY8);
    EXPECT_THROW(conv.reuse(bgr, ZQ_FRAME_RGB24_PLANAR), Exception);
    EXPECT_TRUE(conv.initialized());
    Frame sentinel;
    sentinel.reuse(ZQ_FRAME_GRAY8, {4, 3});
    fillStrides(sentinel, 0xA5);
    EXPECT_TRUE(sameDefined(run(conv, ZQ_FRAME_GRAY8, {4, 3}), sentinel));
}

// A destination without a description keeps the one written before, also by
// a refused call: after I420 the pair has two rows and the generic function,
// which finds no chroma planes in the row and copies luma only.
TEST(FormatConverter, StaleDescriptionOfADestinationWithoutOne) {
    const Frame src = makeSource(ZQ_FRAME_YV16, {5, 3}, 10);
    const FrameFormat before[][2] = {{ZQ_FRAME_BGR24, ZQ_FRAME_I420},
                                     {ZQ_FRAME_YV16, ZQ_FRAME_8U_C3},  // refused, writes I420
                                     {ZQ_FRAME_BGR32F_PLANAR, ZQ_FRAME_NV12}};  // refused
    for (const auto& pair : before) {
        FormatConverter conv;
        try {
            conv.reuse(makeSource(pair[0], {5, 3}, 11), pair[1]);
        } catch (Exception&) {
        }
        conv.reuse(src, ZQ_FRAME_RGB24);
        const Frame out = run(conv, ZQ_FRAME_RGB24, {5, 3});
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 15; ++x)
                ASSERT_EQ(*at(out, 0, y, x), x < 5 ? *at(src, 0, y, x) : 0xA5) << toString(pair[1]);
    }
}

}  // namespace
