// FormatConverter against an independent per-pixel model of the row
// conversions, fed by frames, producers and other stages.
#include <cmath>

#include "test_support.h"

namespace {

using namespace zq;
using zqtest::at;

const auto isYuv = [](int f) { return f >= ZQ_FRAME_I420 && f <= ZQ_FRAME_YUV444_PLANAR; };

// Sample c (0 Y, 1 U, 2 V) covering luma pixel (x, y), by each format's memory order.
unsigned char* yuvAt(const Frame& f, int c, int x, int y) {
    const FrameFormat fm = f.format();
    // Y0 U Y1 V and U Y0 V Y1
    if (fm == ZQ_FRAME_YUYV) return at(f, 0, y, c ? x / 2 * 4 + 2 * c - 1 : 2 * x);
    if (fm == ZQ_FRAME_UYVY) return at(f, 0, y, c ? x / 2 * 4 + 2 * c - 2 : 2 * x + 1);
    if (fm == ZQ_FRAME_YUV24) return at(f, 0, y, 3 * x + c);
    if (c == 0 || fm == ZQ_FRAME_YUV444_PLANAR) return at(f, c, y, x);
    const int row = fm <= ZQ_FRAME_NV21 ? y / 2 : y;  // 4:2:0 or 4:2:2
    if (fm == ZQ_FRAME_NV12 || fm == ZQ_FRAME_NV16) return at(f, 1, row, x / 2 * 2 + c - 1);
    if (fm == ZQ_FRAME_NV21) return at(f, 1, row, x / 2 * 2 + 2 - c);
    return at(f, fm == ZQ_FRAME_I420 ? c : 3 - c, row, x / 2);  // I420 Y U V; YV12, YV16 Y V U
}

// Channel ch (0 B, 1 G, 2 R) of pixel (x, y) of a byte RGB or BGR format.
unsigned char* bgrAt(const Frame& f, int ch, int x, int y) {
    const int k = f.format() == ZQ_FRAME_RGB24 || f.format() == ZQ_FRAME_RGB24_PLANAR ? 2 - ch : ch;
    return f.layout().plane_count == 3 ? at(f, k, y, x) : at(f, 0, y, 3 * x + k);
}

float* floatAt(const Frame& f, int ch, int x, int y) {
    return reinterpret_cast<float*>(f.format() == ZQ_FRAME_BGR32F ? at(f, 0, y, 12 * x + 4 * ch)
                                                                  : at(f, ch, y, 4 * x));
}

// From B, G, R (k = 0 to 3): Y; U and V before their shift; gray. 8.8 weights.
int fromBgr(int k, int b, int g, int r) {
    static const int w[4][4] = {
        {25, 129, 65, 4096}, {112, -74, -38, 32768}, {-18, -94, 112, 32768}, {28, 152, 76, 0}};
    const int sum = w[k][0] * b + w[k][1] * g + w[k][2] * r + w[k][3];
    return k == 0 || k == 3 ? sum >> 8 : sum;
}
// Channel ch of B, G, R from Y, U, V: divided by 256 toward zero, clamped.
int toBgr(int ch, int y, int u, int v) {
    const int sum[3] = {516 * (u - 128), -207 * (v - 128) - 100 * (u - 128), 408 * (v - 128)};
    return std::clamp((297 * (y - 16) + sum[ch]) / 256, 0, 255);
}
// Float to byte: truncated toward zero and saturated to uint32, the low 8 bits.
int floatByte(float f) {
    const double t = std::trunc(double(f));
    return std::isnan(f) || t <= 0 ? 0 : t >= 4294967296.0 ? 255 : int(uint64_t(t) & 0xFF);
}

// What converting `s` to d.format() writes into `d`, cell by cell or pixel by pixel.
void reference(const Frame& s, Frame& d) {
    const FrameFormat sf = s.format(), df = d.format();
    const int W = s.width(), H = s.height();
    auto term = [&](int k, int x, int y) {  // fromBgr(k) of BGR24, else sample k
        if (sf == ZQ_FRAME_GRAY8) return k ? 0 : int(*at(s, 0, y, x));
        if (sf != ZQ_FRAME_BGR24) return int(*yuvAt(s, k, x, y));
        return fromBgr(k, *bgrAt(s, 0, x, y), *bgrAt(s, 1, x, y), *bgrAt(s, 2, x, y));
    };
    if (isYuv(df)) {  // Y of each pixel, U and V once for each cell
        const int fx = df >= ZQ_FRAME_YUV24 ? 1 : 2, fy = df <= ZQ_FRAME_NV21 ? 2 : 1;
        for (int y0 = 0; y0 < H; y0 += fy)
            for (int x0 = 0; x0 < W; x0 += fx) {
                int64_t u = 0, v = 0, n = 0;
                for (int y = y0; y < std::min(H, y0 + fy); ++y)
                    for (int x = x0; x < std::min(W, x0 + fx); ++x, ++n) {
                        *yuvAt(d, 0, x, y) = uint8_t(term(0, x, y));
                        u += term(1, x, y), v += term(2, x, y);
                    }
                const int shift = 8 + (n > 1) + (n > 2);  // from BGR24 a shift, else a mean
                *yuvAt(d, 1, x0, y0) = uint8_t(sf == ZQ_FRAME_BGR24 ? u >> shift : u / n);
                *yuvAt(d, 2, x0, y0) = uint8_t(sf == ZQ_FRAME_BGR24 ? v >> shift : v / n);
            }
        if (sf == ZQ_FRAME_BGR24 && (df == ZQ_FRAME_YUYV || df == ZQ_FRAME_UYVY) && W % 2)
            for (int y = 0; y < H; ++y)
                *at(d, 0, y, 2 * W + (df == ZQ_FRAME_UYVY)) = 0;  // absent luma
        return;
    }
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            for (int ch = 0; ch < (df == ZQ_FRAME_GRAY8 ? 1 : 3); ++ch)
                if (df == ZQ_FRAME_BGR32F || df == ZQ_FRAME_BGR32F_PLANAR)
                    *floatAt(d, ch, x, y) = *bgrAt(s, ch, x, y);
                else
                    *(df == ZQ_FRAME_GRAY8 ? at(d, 0, y, x) : bgrAt(d, ch, x, y)) =
                        uint8_t(df == ZQ_FRAME_GRAY8 ? term(sf == ZQ_FRAME_BGR24 ? 3 : 0, x, y)
                                : isYuv(sf) ? toBgr(ch, term(0, x, y), term(1, x, y), term(2, x, y))
                                : sf == ZQ_FRAME_GRAY8  ? term(0, x, y)
                                : sf == ZQ_FRAME_BGR32F ? floatByte(*floatAt(s, ch, x, y))
                                                        : *bgrAt(s, ch, x, y));
}

// A frame whose every byte, strides included, is `fill`; random pixels when `seed` is set, floats
// of BGR32F from -50 to 650, the blue ones special, written as bits so that NaNs stay as made:
// 255.9, 256, 300, -5, 2^32 - 256, 1e20, -1e20, the infinities, -0, the largest finite float, and
// NaNs quiet, negative and signalling.
Frame blank(FrameFormat format, Size size, uint8_t fill, uint32_t seed = 0) {
    Frame f;
    f.reuse(format, size);
    if (f.initialized()) std::memset(f.buffer()->data(), fill, f.buffer()->size());
    if (seed) zqtest::fillRandom(f, seed);
    const uint32_t specials[] = {0x437FE666, 0x43800000, 0x43960000, 0xC0A00000, 0x4F7FFFFF,
                                 0x60AD78EC, 0xE0AD78EC, 0x7F800000, 0xFF800000, 0x80000000,
                                 0x7F7FFFFF, 0x7FC00000, 0xFFC00000, 0x7F800001};
    for (int i = 0; seed && format == ZQ_FRAME_BGR32F && i < 3 * size.width * size.height; ++i) {
        float* sample = floatAt(f, i % 3, i / 3 % size.width, i / 3 / size.width);
        *sample = float(int(seed + i * 7919u) % 70000) / 100 - 50;
        if (i % 3 == 0) std::memcpy(sample, &specials[(seed + i) % 14], 4);
    }
    return f;
}

// The same bytes in both buffers, strides included.
::testing::AssertionResult sameBytes(const Frame& a, const Frame& b) {
    const unsigned char *p = a.buffer()->data(), *q = b.buffer()->data();
    const size_t i = size_t(std::mismatch(p, p + a.buffer()->size(), q).first - p);
    if (a.format() == b.format() && a.size() == b.size() && i == a.buffer()->size())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "byte " << i << ": " << int(p[i]) << " not " << int(q[i]);
}

// The rows of `conv` in a frame pre-filled with 0xA5.
Frame run(IRowProducer& conv) {
    Frame out = blank(conv.layout().format, conv.layout().size, 0xA5);
    produceFrame(conv, out);
    return out;
}

// Each pair from a region of a larger frame, or from a frame through a producer (asked for each
// row once, in order), into a region of a sentinel frame, which keeps every byte around it: at odd
// and even sizes (at an odd height the last row has chroma from one row, at an even one none), and
// BGR24 to and from each luma/chroma format at widths around the blocks of 64 pixels (32 cells).
TEST(FormatConverter, EveryPairMatchesTheModel) {
    // 1 GRAY8, 2 RGB24, 3 RGB24_PLANAR, 4 BGR24, 5 BGR24_PLANAR, 6 to 15 luma/chroma, 25, 26 float.
    std::vector<std::pair<int, int>> pairs = {{1, 4}, {2, 4}, {3, 2}, {5, 4},  {25, 4},
                                              {4, 1}, {4, 2}, {4, 5}, {4, 25}, {4, 26}};
    for (int a = 6; a <= 15; ++a)
        for (int b : {1, 4, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}) {
            if (b < 6) pairs.push_back({b, a});
            if (a != b) pairs.push_back({a, b});
        }
    for (const auto& [s, d] : pairs) {
        std::vector<Size> sizes = {{7, 5}, {6, 4}, {1, 3}, {5, 2}, {3, 1}};
        for (int w : {2, 31, 63, 64, 65, 66, 129, 1919, 1920})
            if (s == ZQ_FRAME_BGR24 || d == ZQ_FRAME_BGR24) sizes.push_back({w, w % 3 + 2});
        for (const auto [w, h] : sizes)
            for (const bool from_producer : {false, true}) {
                const FrameFormat sf = FrameFormat(s), df = FrameFormat(d);
                SCOPED_TRACE(testing::Message()
                             << s << " -> " << d << " " << w << "x" << h << " " << from_producer);
                if (h == 1 && df <= ZQ_FRAME_NV21 && isYuv(df) && sf != ZQ_FRAME_GRAY8)
                    continue;  // a window of two rows; refused below
                Frame big = blank(sf, {w + 6, h + 4}, 0, 9 * sf + df + w);
                const Frame src = from_producer ? blank(sf, {w, h}, 0, 9 * sf + df + w)
                                                : getRegion(big, Rect(2, 2, w, h));
                Frame want = blank(df, {w + 8, h + 4}, 0xA5), got = blank(df, {w + 8, h + 4}, 0xA5);
                Frame want_region = getRegion(want, Rect(4, 2, w, h)),
                      got_region = getRegion(got, Rect(4, 2, w, h));
                reference(src, want_region);
                FormatConverter conv;
                zqtest::FrameProducer producer(src);
                from_producer ? conv.reuse(producer, df) : conv.reuse(src, df);
                EXPECT_TRUE(conv.initialized() && conv.layout().format == df);
                produceFrame(conv, got_region);
                ASSERT_TRUE(sameBytes(got, want));
                std::vector<int> rows;
                for (int r = 0; from_producer && r < h; ++r) rows.push_back(r);
                EXPECT_EQ(producer.produced, rows);
            }
    }
}

// Each refusal with its status and text, from a frame and from a producer: the converter's own
// checks, the engine's, and the window's.
TEST(FormatConverter, Refusals) {
    const std::string texts[] = {
        "Parameter 'frame' is not initialized.", "Parameter 'producer' is not initialized.",
        "Invalid value for parameter 'dst_format'.",
        "Failure in ImplFormatConverter::get_context(...) : unsupported format.",
        "Parameter 'window_size' is out of range."};
    const std::tuple<FrameFormat, FrameFormat, int, Status, int> cases[] = {
        {ZQ_FRAME_NONE, ZQ_FRAME_BGR24, 2, ZQ_STATUS_INVALID_PARAMETER, 0},
        {ZQ_FRAME_BGR24, ZQ_FRAME_NONE, 2, ZQ_STATUS_INVALID_FORMAT, 2},
        {ZQ_FRAME_32F_C1, ZQ_FRAME_BGR24, 2, ZQ_STATUS_INVALID_FORMAT, 3},
        {ZQ_FRAME_I420, FrameFormat(27), 2, ZQ_STATUS_INVALID_FORMAT, 3},
        {ZQ_FRAME_BGR32F_PLANAR, ZQ_FRAME_BGR24, 2, ZQ_STATUS_INVALID_FORMAT, 3},
        {ZQ_FRAME_GRAY8, ZQ_FRAME_RGB24, 2, ZQ_STATUS_UNSUPPORTED_FORMAT, 3},
        {ZQ_FRAME_BGR24, ZQ_FRAME_RGB24_PLANAR, 2, ZQ_STATUS_UNSUPPORTED_FORMAT, 3},
        {ZQ_FRAME_RGB24, ZQ_FRAME_I420, 2, ZQ_STATUS_UNSUPPORTED_FORMAT, 3},
        {ZQ_FRAME_BGR32F, ZQ_FRAME_GRAY8, 2, ZQ_STATUS_UNSUPPORTED_FORMAT, 3},
        {ZQ_FRAME_BGR24, ZQ_FRAME_NV21, 1, ZQ_STATUS_OUT_OF_RANGE, 4},
        {ZQ_FRAME_I420, ZQ_FRAME_NV12, 1, ZQ_STATUS_OUT_OF_RANGE, 4},
        // No description of RGB24: a new engine's window size is 0.
        {ZQ_FRAME_NV12, ZQ_FRAME_RGB24, 2, ZQ_STATUS_OUT_OF_RANGE, 4}};
    for (const auto& [sf, df, height, status, text] : cases)
        for (const int fed : {0, 1}) {  // from a frame, from a producer
            Frame src = blank(sf, {4, height}, 0);
            zqtest::FrameProducer producer(src);
            FormatConverter conv;
            auto reuse = [&] { fed ? conv.reuse(producer, df) : conv.reuse(src, df); };
            EXPECT_TRUE(zqtest::throwsExactly(reuse, status, texts[text + (text == 0) * fed]))
                << toString(sf) << " -> " << int(df) << " " << fed;
            EXPECT_FALSE(conv.initialized());
        }
}

// The converter's states. With equal formats it hands on the source's rows and stride. next() is
// true up to and including the step past the last row. produce() before any reuse is refused. A
// destination without a description keeps the one written before, even by a refused call: after
// NV12, or I420, YV16 to RGB24 gets the generic function, which finds no chroma planes in the
// row: luma only.
TEST(FormatConverter, PassThroughNextAndStaleStates) {
    Frame big = blank(ZQ_FRAME_16U_C1, {40, 3}, 0, 4), bgr = blank(ZQ_FRAME_BGR24, {5, 3}, 0, 5);
    const Frame src = getRegion(big, Rect{1, 0, 5, 3}), yv = blank(ZQ_FRAME_YV16, {5, 3}, 0, 9);
    FormatConverter conv;
    conv.reuse(src, ZQ_FRAME_16U_C1);
    EXPECT_EQ(conv.layout().planes[0].stride, big.layout().planes[0].stride);
    EXPECT_TRUE(zqtest::samePixels(run(conv), src));
    conv.reuse(bgr, ZQ_FRAME_NV12);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(conv.next(), i < 3) << i;
    Frame want = blank(ZQ_FRAME_RGB24, {5, 3}, 0xA5);
    RowData row{{want.data(0)}};
    EXPECT_TRUE(zqtest::throwsExactly(
        [&] { FormatConverter().produce(row); }, ZQ_STATUS_NOT_INITIALIZED,
        "FormatConverter is not initialized. Call FormatConverter::reuse(...) first."));
    FormatConverter after_refused;
    EXPECT_THROW(after_refused.reuse(yv, ZQ_FRAME_8U_C3), Exception);  // I420 written first
    for (int y = 0; y < 3; ++y) std::memcpy(at(want, 0, y), at(yv, 0, y), 5);
    for (FormatConverter* stale : {&conv, &after_refused}) {
        stale->reuse(yv, ZQ_FRAME_RGB24);
        EXPECT_TRUE(sameBytes(run(*stale), want));
    }
}

// A luma/chroma source into RGB24, the planar or the float BGR formats takes the generic function
// with the luma/chroma layout the converter's last such destination left. Where that layout fits
// the destination's rows it is written there; where it would reach past them, reuse refuses before
// any row is written. Through CvBackendBase and through a converter fed by a producer, into the
// bottom right region of a sentinel frame over memory that ends with its last row.
TEST(FormatConverter, LeftoverLayoutsStayInsideTheRows) {
    const std::tuple<FrameFormat, FrameFormat, int, bool> cases[] = {
        {ZQ_FRAME_YUV24, ZQ_FRAME_RGB24_PLANAR, 6, true},  // 3W bytes into rows of W
        {ZQ_FRAME_UYVY, ZQ_FRAME_BGR24_PLANAR, 4, true},
        {ZQ_FRAME_NV21, ZQ_FRAME_BGR24_PLANAR, 5, true},  // U one byte past an odd row
        {ZQ_FRAME_YUYV, ZQ_FRAME_RGB24, 1, true},         // V at byte 3 of 3
        {ZQ_FRAME_NV21, ZQ_FRAME_BGR24_PLANAR, 4, false},
        {ZQ_FRAME_YV12, ZQ_FRAME_RGB24_PLANAR, 5, false},
        {ZQ_FRAME_YUYV, ZQ_FRAME_RGB24, 3, false},
        {ZQ_FRAME_YUV24, ZQ_FRAME_BGR32F_PLANAR, 5, false},
        {ZQ_FRAME_YUV24, ZQ_FRAME_RGB24, 5, false}};  // the rows of YUV24, byte for byte
    for (const auto& [before, df, w, refused] : cases)
        for (const bool backend : {true, false}) {
            SCOPED_TRACE(testing::Message() << toString(before) << " then " << toString(df) << " "
                                            << w << (backend ? " backend" : " producer"));
            const Frame src = blank(ZQ_FRAME_I420, {w, 3}, 0, uint32_t(w));
            zqtest::AppFrame big(df, {w + 3, 4}, 0, 0, 0);  // 0xA5 around nothing but the rows
            const auto sentinel = big.blocks;
            Frame region = getRegion(big.frame, Rect(3, 1, w, 3)), earlier;
            CvBackendBase base;
            FormatConverter conv;
            zqtest::FrameProducer producer(src);
            const auto convert = [&](Frame& out) {
                producer.reset(src);
                backend ? base.colorCvt(src, out, emptyRoi())
                        : (conv.reuse(producer, out.format()), produceFrame(conv, out));
            };
            earlier.reuse(before, src.size());
            convert(earlier);
            if (!refused) convert(region);
            EXPECT_TRUE(!refused ||
                        zqtest::throwsExactly(
                            [&] { convert(region); }, ZQ_STATUS_UNSUPPORTED_FORMAT,
                            "Failure in ImplFormatConverter::checkDestination(...) : I420 to " +
                                std::string(toString(df)) + " has no conversion of its own, and " +
                                "the rows laid out as " + toString(before) +
                                " before do not fit its rows of " + std::to_string(w) +
                                " pixels."));
            for (int y = 0; y < 3; ++y) {
                EXPECT_TRUE(before != ZQ_FRAME_YUV24 || df != ZQ_FRAME_RGB24 ||
                            !std::memcmp(at(region, 0, y), at(earlier, 0, y), 3 * size_t(w)));
                for (int p = 0; p < region.layout().plane_count; ++p)
                    std::memset(at(region, p, y), 0xA5,
                                size_t(region.layout().planes[p].row_bytes));
            }
            EXPECT_TRUE(big.blocks == sentinel);
        }
}

}  // namespace
