// Both whole-frame backends and the frame helpers. The colour routes of the
// vector backend are checked against independent per-pixel formulas of its
// kernels, at widths around their vector blocks.
#include <cmath>
#include <functional>
#include <map>
#include <tuple>

#include "test_support.h"

namespace {

using namespace zq;
using zqtest::at;

// A frame with rows `alignment` bytes apart (0: 64), random when `seed` is set.
Frame frameOf(FrameFormat format, Size size, uint32_t seed = 0, unsigned alignment = 0,
              DeviceContext context = DeviceContext()) {
    Frame f;
    f.reuse(format, size, context, alignment);
    if (seed) zqtest::fillRandom(f, seed);
    return f;
}
float* floatRow(const Frame& f, int p, int y) {
    return reinterpret_cast<float*>(at(f, p, y));
}

// A view of plane p as a frame of its own, of one, two or three byte channels.
Frame planeOf(const Frame& f, int p) {
    const PlaneLayout& pl = f.layout().planes[p];
    const FrameFormat formats[] = {ZQ_FRAME_GRAY8, ZQ_FRAME_8U_C2, ZQ_FRAME_8U_C3};
    unsigned char* data[] = {f.data(p)};
    const int32_t stride[] = {pl.stride};
    return Frame(formats[pl.channels - 1], {pl.width, pl.height}, data, stride);
}

// From a source region into a destination region only, a side below 1 meaning the frame: the
// pipeline backend as the scaler of its method (property 1; 0 is nearest neighbour), the vector
// backend (bilinear and area) with one resizer per plane at the plane's own size and channels.
TEST(Backends, ResizeRegions) {
    for (const int method : {0, 1, 2})
        for (auto format : {ZQ_FRAME_I420, ZQ_FRAME_NV12, ZQ_FRAME_BGR24_PLANAR, ZQ_FRAME_BGR24})
            for (const Rect src_roi : {Rect(2, 2, 8, 6), Rect(4, 4, 0, 100)})
                for (const Rect dst_roi : {Rect(4, 2, 6, 4), Rect()})
                    for (const bool vector : {false, method != 0}) {
                        CvBackendBase base;
                        CvBackendSimd simd;
                        ICvBackend& backend = vector ? static_cast<ICvBackend&>(simd) : base;
                        EXPECT_TRUE(backend.setIntProperty(1, method));
                        Frame src = frameOf(format, {13, 9}, 14),
                              dst = frameOf(format, {12, 10}, 15), want;
                        dst.copyTo(want);
                        backend.resize(src, dst, src_roi, dst_roi);
                        const Frame s = src_roi.empty() ? src : getRegion(src, src_roi);
                        Frame d = dst_roi.empty() ? want : getRegion(want, dst_roi);
                        Scaler scaler;
                        if (!vector)
                            scaler.reuse(s, d.size(), ScaleMethod(method)), produceFrame(scaler, d);
                        for (int p = 0; vector && p < src.layout().plane_count; ++p) {
                            Frame plane = planeOf(d, p);
                            simd.resize(planeOf(s, p), plane, Rect(), Rect());
                        }
                        EXPECT_TRUE(zqtest::samePixels(dst, want)) << toString(format) << method;
                    }
}

// convert: colorCvt at the size of the source region, resize at its format, otherwise resize in
// the source format and then convert.
TEST(Backends, ConvertCopiesResizesOrBoth) {
    Frame src = frameOf(ZQ_FRAME_BGR24, {12, 8}, 5);
    const Frame view = getRegion(src, Rect(2, 0, 10, 8));
    const std::pair<FrameFormat, Size> cases[] = {
        {ZQ_FRAME_GRAY8, {10, 8}}, {ZQ_FRAME_BGR24, {6, 4}}, {ZQ_FRAME_I420, {6, 4}}};
    for (const bool vector : {false, true})
        for (const auto& [format, size] : cases) {
            CvBackendBase base;
            CvBackendSimd simd;
            ICvBackend& b = vector ? static_cast<ICvBackend&>(simd) : base;
            Frame dst = frameOf(format, size), want = frameOf(format, size),
                  mid = frameOf(src.format(), size);
            b.convert(src, dst, Rect(2, 0, 10, 8));
            if (size != view.size()) b.resize(view, mid, Rect(), Rect());
            b.colorCvt(size != view.size() ? mid : view, want, Rect());
            EXPECT_TRUE(zqtest::samePixels(dst, want)) << toString(format) << vector;
        }
}

// add, then mul, on a float frame with rows `alignment` bytes apart (4: dense, 0: padded): only
// the region changes, which the pipeline backend takes from the top-left corner with the extent
// of its cropped part, and the vector backend at its place. Padding stays.
TEST(Backends, AddAndMulChangeTheRegionOnly) {
    CvBackendBase base;
    CvBackendSimd simd;
    for (FrameFormat format : {ZQ_FRAME_32F_C1, ZQ_FRAME_BGR32F, ZQ_FRAME_BGR32F_PLANAR})
        for (Rect roi : {Rect(), Rect(3, 1, 9, 2), Rect(2, 1, 0, 5)})
            for (unsigned alignment : {4u, 0u})
                for (const bool pipeline : {true, false}) {
                    Frame f = frameOf(format, {7, 4}, 0, alignment);
                    const int channels = f.layout().planes[0].channels,
                              n = f.layout().planes[0].stride / 4;
                    auto sample = [&](int k) -> float& {
                        return floatRow(f, k / n / 4, 0)[k % (4 * n)];
                    };
                    for (int k = 0; k < f.layout().plane_count * 4 * n; ++k)
                        sample(k) = float(k % 499) - 30;
                    ICvBackend& b = pipeline ? static_cast<ICvBackend&>(base) : simd;
                    b.add(f, 1.5f, roi), b.mul(f, -2.0f, roi);
                    Rect r = roi.empty() ? Rect(0, 0, 7, 4) : roi;
                    r.crop(f.size());
                    if (pipeline) r = Rect(0, 0, r.width(), r.height());
                    for (int k = 0; k < f.layout().plane_count * 4 * n; ++k) {
                        const int x = k % n / channels, y = k / n % 4;
                        const bool inside = x >= r.x() && x < r.x() + r.width() && y >= r.y() &&
                                            y < r.y() + r.height();
                        const float before = float(k % 499) - 30;
                        ASSERT_EQ(sample(k), inside ? (before + 1.5f) * -2 : before)
                            << toString(format) << " " << pipeline << " " << alignment << " " << k;
                    }
                }
}
TEST(Backends, PropertiesAndFailures) {
    CvBackendBase base;
    CvBackendSimd simd;
    EXPECT_FALSE(base.setIntProperty(2, 2) || simd.setIntProperty(2, 2));
    Frame none, src = frameOf(ZQ_FRAME_BGR24, {6, 4}, 1), gray = frameOf(ZQ_FRAME_GRAY8, {6, 4}),
                bgr = frameOf(ZQ_FRAME_BGR24, {6, 4}), floats = frameOf(ZQ_FRAME_32F_C1, {4, 4}),
                u16 = frameOf(ZQ_FRAME_16U_C1, {4, 4}),
                gpu = frameOf(ZQ_FRAME_GRAY8, {6, 4}, 0, 0, DeviceContext(7, 1)),
                gpu_float = frameOf(ZQ_FRAME_32F_C1, {4, 4}, 0, 0, DeviceContext(7, 1));
    zqtest::fillPlanes(gray, 0x5A), zqtest::fillPlanes(bgr, 9);
    Tensor empty, half, f32;  // the float one not on the CPU
    half.reuse(TensorLayout(TENSOR_FLOAT_16, TENSOR_FORMAT_NCHW, 4, 0, TENSOR_ORDER_NONE));
    f32.reuse(TensorLayout(TENSOR_FLOAT_32, TENSOR_FORMAT_NCHW, 4, 0, TENSOR_ORDER_NONE), {3, 0});
    const std::string ctx =
                          "src.deviceContext() == DeviceContext::cpuContext() && "
                          "src.deviceContext() == dst.deviceContext()",
                      both = "src.initialized() && dst.initialized()", ok = "src_dst.initialized()",
                      same = "src.initialized() && src.format() == dst.format()",
                      cpu = "src_dst.deviceContext() == DeviceContext::cpuContext()",
                      methods = "value == ResizeBilinear || value == ResizeArea",
                      f16 = "src.initialized() && src.layout().dataType() == TENSOR_FLOAT_16",
                      bad_method = "Failure in Scaler::reuse(...) : parameter 'method' is invalid ";
    const Status refused = ZQ_STATUS_UNSUPPORTED_FORMAT, invalid = ZQ_STATUS_INVALID_PARAMETER;
    const Rect part(1, 1, 2, 2);
    const struct {
        std::function<void()> call;
        std::string text;  // an assertion's expression when there is no status
        Status status = ZQ_STATUS_OK;
    } cases[] = {
        {[&] { base.colorCvt(none, gray, {}); }, "src.initialized()"},
        {[&] { base.colorCvt(src, gpu, {}); }, ctx},
        {[&] { base.colorCvt(src, gray, Rect(1, 0, 6, 4)); }, "temp.size() == dst.size()"},
        {[&] { base.resize(src, gray, {}, {}); }, same},
        {[&] { base.resize(gray, gpu, {}, {}); }, ctx},
        {[&] { base.convert(src, none, {}); }, both},
        {[&] { base.convert(src, gpu, {}); }, ctx},
        {[&] { base.add(none, 1, {}); }, ok},
        {[&] { base.mul(gpu_float, 1, {}); }, cpu},
        {[&] { base.add(floats, 1, Rect(4, 0, 2, 2)); }, "!src_roi.empty()"},
        {[&] { base.mul(floats, 1, Rect(0, -3, 2, 2)); }, "!src_roi.empty()"},
        {[&] { base.add(bgr, 1, {}); }, "ADD error, unsupported data type.", refused},
        {[&] { base.mul(bgr, 1, {}); }, "MUL error, unsupported data type.", refused},
        // A method is carried as an int and printed unsigned: just above the scaler's methods,
        // and a negative one.
        {[&] { base.setIntProperty(1, 7), base.resize(src, bgr, {}, part); }, bad_method + "7.",
         invalid},
        {[&] { base.setIntProperty(1, -5), base.resize(src, bgr, {}, part); },
         bad_method + "4294967291.", invalid},
        {[&] { simd.setIntProperty(1, 0); }, methods},
        {[&] { simd.colorCvt(src, none, {}); }, both},
        {[&] { simd.colorCvt(none, gray, {}); }, both},
        {[&] { simd.colorCvt(src, gpu, {}); }, ctx},
        {[&] { simd.colorCvt(src, gray, Rect(1, 1, 4, 4)); }, "src_region.size() == dst.size()"},
        {[&] { simd.resize(none, gray, {}, {}); }, same},
        {[&] { simd.resize(src, gray, {}, {}); }, same},
        {[&] { simd.resize(gray, gpu, {}, {}); }, ctx},
        {[&] { simd.resize(u16, u16, {}, {}); }, "bits_per_channel == 8 || bits_per_channel == 32"},
        {[&] { simd.convert(none, gray, {}); }, both},
        {[&] { simd.convert(src, gpu, {}); }, ctx},
        {[&] { simd.add(none, 1, {}); }, ok},
        {[&] { simd.mul(gpu_float, 1, {}); }, cpu},
        {[&] { simd.add(bgr, 1, part); }, "add: Unsupported src format BGR24.", refused},
        {[&] { simd.mul(bgr, 1, part); }, "mul: Unsupported src format BGR24.", refused},
        {[&] { resizeFrame(src, Size(2, 2), gpu, ResizeMethod(0)); }, methods},
        {[&] { colorConvert(src, ZQ_FRAME_YUYV, gpu); }, "colorCvt: Unsupported dst format YUYV.",
         refused},
        {[&] { tensorFp16ToFp32(empty, f32); }, f16},
        {[&] { tensorFp16ToFp32(f32, empty); }, f16},
        {[&] { tensorFp16ToFp32(half, f32); }, ctx},
    };
    for (const auto& c : cases)
        EXPECT_TRUE(c.status ? zqtest::throwsExactly(c.call, c.status, c.text)
                             : zqtest::assertsWith(c.call, c.text))
            << "case " << &c - cases;
    // Only the vector backend's mul wrote: it zeroes the region before it looks at the format.
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 18; ++x) {
            EXPECT_EQ(*at(gray, 0, y, x / 3), 0x5A);
            EXPECT_EQ(*at(bgr, 0, y, x), y % 3 && x >= 3 && x < 9 ? 0 : 9) << x << "," << y;
        }
}

// dst gets the source format at the wanted size, or is cleared by an empty request. 6 -> 2 puts
// the bilinear centres on columns 1 and 4; area means 0, 0, 90 and 30, 60, 60.
TEST(FrameHelpers, DestinationsAllocatedWithTheMethodOrCleared) {
    Frame cleared[5];
    for (Frame& d : cleared) d = frameOf(ZQ_FRAME_GRAY8, {2, 2});
    const Frame bgr = frameOf(ZQ_FRAME_BGR24, {4, 4}, 1);
    resizeFrame(bgr, Size(0, 3), cleared[0], ResizeBilinear);
    resizeFrame(bgr, Size(3, -1), cleared[1], ResizeArea);
    resizeFrame(Frame(), Size(3, 3), cleared[2], ResizeArea);
    colorConvert(Frame(), ZQ_FRAME_GRAY8, cleared[3]);
    colorConvert(bgr, ZQ_FRAME_NONE, cleared[4]);
    for (const Frame& d : cleared) EXPECT_FALSE(d.initialized()) << &d - cleared;
    const std::tuple<FrameFormat, ResizeMethod, std::vector<float>, std::vector<float>> cases[] = {
        {ZQ_FRAME_GRAY8, ResizeBilinear, {0, 0, 90, 30, 60, 60}, {0, 60}},
        {ZQ_FRAME_GRAY8, ResizeArea, {0, 0, 90, 30, 60, 60}, {30, 50}},
        {ZQ_FRAME_32F_C1, ResizeBilinear, {0.5f, -2, 9, 1e9f, 0.25f, 7}, {-2, 0.25f}}};
    for (const auto& [format, method, in, out] : cases) {
        Frame src = frameOf(format, {6, 1}), dst;
        const bool bytes = format == ZQ_FRAME_GRAY8;
        for (int x = 0; x < 6; ++x)
            bytes ? void(*at(src, 0, 0, x) = uint8_t(in[x])) : void(floatRow(src, 0, 0)[x] = in[x]);
        resizeFrame(src, {2, 1}, dst, method);
        ASSERT_TRUE(dst.format() == format && dst.size() == Size(2, 1));
        for (int x = 0; x < 2; ++x)
            EXPECT_EQ(bytes ? *at(dst, 0, 0, x) : floatRow(dst, 0, 0)[x], out[x]);
    }
}

// Two rows of 3 halves padded to 4: strides double, the padding converts too,
// and the channel order becomes 0.
TEST(FrameHelpers, TensorFp16ToFp32) {
    Tensor src, dst;
    src.reuse(TensorLayout(TENSOR_FLOAT_16, TENSOR_FORMAT_NHWC, TensorSize(2, 3), TensorSize(8, 2),
                           TENSOR_ORDER_BGR));
    const unsigned short in[8] = {0x3C00, 0x4000, 0x4200, 0x7E00, 0xBC00, 0x0000, 0x8000, 0x3800};
    std::memcpy(src.data(), in, sizeof(in));
    tensorFp16ToFp32(src, dst);
    const TensorLayout layout(TENSOR_FLOAT_32, TENSOR_FORMAT_NHWC, TensorSize(2, 3),
                              TensorSize(16, 4), TensorChannelOrder(0));
    EXPECT_EQ(std::memcmp(&dst.layout(), &layout, sizeof(layout)), 0);  // 32-bit fields, no padding
    const uint32_t want[8] = {0x3F800000, 0x40000000, 0x40400000, 0x7FC00000,   // 1, 2, 3, NaN
                              0xBF800000, 0,          0x80000000, 0x3F000000};  // -1, 0, -0, 0.5
    EXPECT_EQ(std::memcmp(dst.data(), want, sizeof(want)), 0);
}

// Y, U, V (k = 0, 1, 2) or gray (k = 3) of B, G, R: 14 fraction bits, rounded,
// plus the offset of the range.
int simdFromBgr(int k, const int* bgr) {
    static const int w[16] = {1606,  8258,  4211, 16,  7193, -4768, -2425, 128,  // Y, U
                              -1163, -6029, 7193, 128, 1868, 9617,  4899,  0};   // V, gray
    const int* c = w + 4 * k;
    return ((c[0] * bgr[0] + c[1] * bgr[1] + c[2] * bgr[2] + 8192) >> 14) + c[3];
}
// Channel k of BGR from Y, U, V: 13 fraction bits, rounded, clamped.
int simdToBgr(int k, int Y, int U, int V) {
    const int sum[3] = {(U - 128) * 16531, (U - 128) * -3203 - (V - 128) * 6660, (V - 128) * 13074};
    return std::clamp(((Y - 16) * 9535 + sum[k] + 4096) >> 13, 0, 255);
}
// Float to byte over 0..255: below 0 and NaN give 0, truncated, at most 255.
const auto simdByte = [](float v) { return !(v > 0) ? 0.0f : v < 255 ? float(int(v)) : 255.0f; };

const auto isFloat = [](int f) { return f == ZQ_FRAME_BGR32F || f == ZQ_FRAME_BGR32F_PLANAR; };
const auto isRgb = [](int f) { return isFloat(f) || (f > ZQ_FRAME_GRAY8 && f < ZQ_FRAME_I420); };

// Component c of pixel (x, y): channel c in memory order of a three-channel
// format, Y, U or V of a luma/chroma one, the gray sample.
float comp(const Frame& f, int c, int x, int y) {
    const FrameFormat fm = f.format();
    if (fm == ZQ_FRAME_I420) return c ? *at(f, c, y / 2, x / 2) : *at(f, 0, y, x);
    if (fm == ZQ_FRAME_NV12) return c ? *at(f, 1, y / 2, x / 2 * 2 + c - 1) : *at(f, 0, y, x);
    if (isFloat(fm))
        return fm == ZQ_FRAME_BGR32F ? floatRow(f, 0, y)[3 * x + c] : floatRow(f, c, y)[x];
    const bool packed = fm == ZQ_FRAME_RGB24 || fm == ZQ_FRAME_BGR24 || fm == ZQ_FRAME_YUV24;
    return packed ? *at(f, 0, y, 3 * x + c) : *at(f, c, y, x);  // planar or gray
}

// What colorCvt makes of component c of pixel (x, y) of `s` in format `df`.
float model(const Frame& s, FrameFormat df, int c, int x, int y) {
    const FrameFormat sf = s.format();
    if (isRgb(sf) && isRgb(df))  // memory order; only RGB24 <-> BGR24 (2 + 4) swaps
        return isFloat(sf) ? simdByte(comp(s, c, x, y)) : comp(s, sf + df == 6 ? 2 - c : c, x, y);
    if (sf == ZQ_FRAME_GRAY8) return comp(s, 0, x, y);
    const int px[3] = {int(comp(s, 0, x, y)), int(comp(s, 1, x, y)), int(comp(s, 2, x, y))};
    if (sf != ZQ_FRAME_BGR24)  // from luma/chroma: rearranged, luma alone, or BGR
        return df == ZQ_FRAME_BGR24 ? simdToBgr(c, px[0], px[1], px[2]) : px[c];
    const bool block = c && (df == ZQ_FRAME_I420 || df == ZQ_FRAME_NV12);
    int m[3] = {2, 2, 2};  // B, G, R; for 4:2:0 chroma the 2x2 channel means, rounded
    for (int i = 0; block && i < 12; ++i)
        m[i % 3] += int(comp(s, i % 3, (x & ~1) + i / 3 % 2, (y & ~1) + i / 6));
    for (int k = 0; k < 3; ++k) m[k] = block ? m[k] >> 2 : px[k];
    return simdFromBgr(df == ZQ_FRAME_GRAY8 ? 3 : c, m);
}

// Destinations of each source with routes, by number: 1 GRAY8, 2 RGB24, 3 RGB24_PLANAR,
// 4 BGR24, 5 BGR24_PLANAR, 6 I420, 8 NV12, 14 YUV24, 15 YUV444_PLANAR, 25 BGR32F,
// 26 BGR32F_PLANAR.
const std::map<int, std::vector<int>> kRoutes = {
    {1, {4}},         {2, {3, 4, 25, 26}}, {3, {2, 25, 26}},  {4, {1, 2, 5, 6, 8, 14, 15, 25, 26}},
    {5, {4, 25, 26}}, {6, {1, 4, 8}},      {8, {1, 4, 6}},    {14, {1, 4, 15}},
    {15, {1, 4, 14}}, {25, {2, 3, 4, 5}},  {26, {2, 3, 4, 5}}};

// sf to df, dense (variant 0), into padded rows (1) or from a region (2): a route against the
// model of its kernels, any other pair refused with its text and dst left alone, the same format
// copied.
void checkColorCvt(CvBackendSimd& backend, FrameFormat sf, FrameFormat df, Size size, int variant) {
    SCOPED_TRACE(testing::Message() << sf << " -> " << df << ", " << size.width << "/" << variant);
    const Rect roi = variant == 2 ? Rect(2, 2, size.width, size.height) : Rect();
    Frame src = frameOf(sf, {size.width + roi.x(), size.height + roi.y()}, sf, 1);
    // Floats from -20 to 280, every seventh a special: NaNs (quiet, negative, signalling), the
    // infinities, -0 and the largest finite float. Copied as bits, so that the NaNs stay as made.
    const uint32_t specials[] = {0x7FC00000, 0xFFC00000, 0x7F800001, 0x7F800000,
                                 0xFF800000, 0x80000000, 0x7F7FFFFF};
    for (int p = 0; isFloat(sf) && p < src.layout().plane_count; ++p)
        for (int i = 0; i < src.layout().planes[p].plane_bytes / 4; ++i) {
            floatRow(src, p, 0)[i] = float((i * 7919 + p * 31) % 30000) / 100 - 20;
            if (i % 7 == 0) std::memcpy(floatRow(src, p, 0) + i, &specials[i / 7 % 7], 4);
        }
    const Frame view = variant == 2 ? getRegion(src, roi) : src;
    Frame dst = frameOf(df, size, 0, variant == 1 ? 0 : 1);
    std::memset(dst.buffer()->data(), 0x77, dst.buffer()->size());
    const auto it = kRoutes.find(sf);
    const bool routed = it != kRoutes.end() && std::count(it->second.begin(), it->second.end(), df);
    // An odd size with I420 (6) or NV12 (8) on the source side, or as the
    // destination of BGR24 (4).
    const bool odd420 = size.width % 2 && (sf == 6 || sf == 8 || (sf == 4 && (df == 6 || df == 8)));
    auto call = [&] { backend.colorCvt(src, dst, roi); };
    if (sf == df) {  // a copy, whatever the format and size
        call();
        EXPECT_TRUE(zqtest::samePixels(dst, view));
    } else if (routed && !odd420) {
        call();
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x)
                for (int c = 0; c < (df == ZQ_FRAME_GRAY8 ? 1 : 3); ++c)
                    ASSERT_EQ(comp(dst, c, x, y), model(view, df, c, x, y))
                        << x << "," << y << " c" << c;
        for (int p = 0; p < dst.layout().plane_count; ++p)  // the row padding stays
            for (int y = 0; y < dst.layout().planes[p].height; ++y) {
                const PlaneLayout& pl = dst.layout().planes[p];
                for (int i = pl.row_bytes; i < pl.stride; ++i)
                    ASSERT_EQ(*at(dst, p, y, i), 0x77) << "plane " << p << " row " << y;
            }
    } else {  // refused: even sizes first, then the source, then the destination
        const std::string text =
            odd420 ? "Assertion failed: src_region.width() % 2 == 0 && "
                     "src_region.height() % 2 == 0"
            : it == kRoutes.end()
                ? std::string("colorCvt: Unsupported src format ") + toString(sf) + "."
                : std::string("colorCvt: Unsupported dst format ") + toString(df) + ".";
        EXPECT_TRUE(zqtest::throwsExactly(
            call, odd420 ? ZQ_STATUS_ASSERTION_FAILED : ZQ_STATUS_UNSUPPORTED_FORMAT, text));
        EXPECT_EQ(*at(dst, 0, 0), 0x77);
    }
}

// Every pair at widths around the kernels' blocks of 16 pixels and chunks of 256, and on enough
// pixels that each rounding boundary of the weighted sums is met.
TEST(CvBackendSimd, ColorCvtRoutesAndRefusals) {
    CvBackendSimd backend;
    for (FrameFormat sf : zqtest::allFormats())
        for (FrameFormat df : zqtest::allFormats())
            for (const Size size :
                 {Size(6, 4), Size(5, 3), Size(35, 3), Size(258, 2), Size(1922, 8)})
                for (int variant = 0; variant < 3; ++variant)
                    checkColorCvt(backend, sf, df, size, variant);
}

// The vector backend's float operations on frames that wrap memory at odd addresses with odd
// strides give the bytes they give on allocated frames, and leave the room around untouched.
// Under UBSan a misaligned typed float access fails the run. A pad that is no multiple of 4
// loses its remainder in the float strides: then only the room is checked.
TEST(Backends, FloatOperationsOnUnalignedFrames) {
    const Rect part(2, 1, 7, 5);
    using Op = std::function<void(ICvBackend&, Frame&, Frame&)>;
    const Op cvt = [](ICvBackend&b, Frame&s, Frame&d) { b.colorCvt(s, d, Rect()); },
             convert = [](ICvBackend&b, Frame&s, Frame&d) { b.convert(s, d, Rect()); },
             resize = [&](ICvBackend&b, Frame&s, Frame&d) { b.resize(s, d, part, Rect()); },
             arith = [&](ICvBackend&b, Frame&s, Frame&) {
                 b.add(s, 1.25f, Rect()), b.mul(s, -0.75f, part), b.add(s, 0.5f, part);
                 b.mul(s, 3.0f, Rect());
             };
    std::vector<std::tuple<FrameFormat, FrameFormat, Size, Op>> cases = {
        {ZQ_FRAME_BGR24, ZQ_FRAME_BGR32F, {13, 9}, cvt},
        {ZQ_FRAME_BGR32F, ZQ_FRAME_BGR24, {13, 9}, cvt},
        {ZQ_FRAME_BGR32F_PLANAR, ZQ_FRAME_BGR24, {6, 4}, convert}};
    for (const FrameFormat f : {ZQ_FRAME_32F_C1, ZQ_FRAME_BGR32F, ZQ_FRAME_BGR32F_PLANAR})
        cases.insert(cases.end(), {{f, f, {7, 5}, resize}, {f, f, {3, 3}, arith}});
    for (const int pad : {0, 8, 3})  // dense rows, padded rows, odd strides too
        for (const auto& [sf, df, size, op] : cases) {
            // Random bytes: float operations give the same bits on both, NaNs included.
            zqtest::AppFrame src(sf, {13, 9}, pad, 65, 64, 3), dst(df, size, pad, 65, 64);
            Frame src_aligned, dst_aligned;
            src.frame.copyTo(src_aligned), dst.frame.copyTo(dst_aligned);
            CvBackendSimd backend;
            op(backend, src.frame, dst.frame);
            op(backend, src_aligned, dst_aligned);
            EXPECT_TRUE(pad % 4 || (zqtest::samePixels(src.frame, src_aligned) &&
                                    zqtest::samePixels(dst.frame, dst_aligned)))
                << toString(sf) << " " << toString(df) << " " << pad;
            EXPECT_TRUE(src.roomKept() && dst.roomKept());
        }
}

}  // namespace
