// The vector kernels against independent models of their arithmetic: depth conversions, colour
// kernels, resizers.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "simd.h"

using namespace Simd;
using std::bit_cast;

namespace {

// An image with padding after each row and a guard zone before the first row and after the last.
// A destination is filled before the kernel runs, so that writes outside the pixels show; a source
// is random throughout, so that reads of its padding show. Reads just before a row stay inside.
template <class T>
struct Image {
    size_t width, height, channels = 1, pad = 3;
    T fill = T(0xA5);
    size_t stride = width * channels + pad;            // in elements
    size_t guard = std::max<size_t>(64, stride + 64);  // elements before and after the rows
    std::vector<T> mem = std::vector<T>(2 * guard + stride * height, fill);

    T* data() { return mem.data() + guard; }
    // Signed: a model may read the element before a row, or the row before the first, as the
    // kernels do, with weight 0.
    T& at(long x, long y, long c = 0) { return mem[guard + y * stride + x * channels + c]; }
    // Each pixel element equals want(x, y, c) exactly, and every other element holds the fill.
    template <class F>
    testing::AssertionResult matches(F want) {
        Image rest = *this;
        for (size_t i = 0; i < height * width * channels; ++i) {
            const size_t x = i / channels % width, y = i / channels / width, c = i % channels;
            if (!(at(x, y, c) == want(x, y, c)))
                return testing::AssertionFailure()
                       << +at(x, y, c) << " instead of " << +want(x, y, c) << " at " << x << ","
                       << y << "," << c;
            rest.at(x, y, c) = fill;
        }
        if (std::count(rest.mem.begin(), rest.mem.end(), fill) == ptrdiff_t(mem.size()))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "an element outside the pixels changed";
    }
};
using ByteImage = Image<uint8_t>;

// Runs a kernel over the first n elements for n from 0 to 9 (within and beyond the block of four)
// and for all: those elements hold `want`, bit for bit, and the element after them keeps `fill`.
template <class T, class Kernel>
void expectCounts(const std::vector<T>& want, T fill, Kernel kernel) {
    for (size_t n = 0; n <= want.size(); n = n < 9 ? n + 1 : std::max(n + 1, want.size())) {
        std::vector<T> out(want.size() + 1, fill);
        kernel(n, out.data());
        for (size_t i = 0; i <= n; ++i)
            ASSERT_EQ(std::memcmp(&out[i], i < n ? &want[i] : &fill, sizeof(T)), 0)
                << "count " << n << ", element " << i << ": " << +out[i];
    }
}

TEST(HalfFloat, ConversionsFollowTheBitRules) {
    std::vector<uint16_t> half(65536);
    std::vector<float> single(65536);
    for (uint32_t h = 0; h < 65536; ++h) {
        // 1 sign, 5 exponent bits (bias 15), 10 mantissa bits. Exponent 31: infinities and NaNs,
        // payload on top of the mantissa.
        const uint32_t e = (h >> 10) & 31, m = h & 1023, sign = (h & 0x8000) << 16;
        const float v = std::ldexp(float(e ? 1024 + m : m), int(std::max(e, 1u)) - 25);
        half[h] = uint16_t(h);
        single[h] =
            bit_cast<float>(sign | (e == 31 ? 0x7F800000 | m << 13 : bit_cast<uint32_t>(v)));
    }
    expectCounts(single, 3.0f, [&](size_t n, float* o) { halfToFloat(half.data(), n, o); });
    // Back: each half exactly, and again with random float bits below its last bit, which
    // truncation drops, except that above 65504 lies infinity, and that infinity becomes a NaN.
    std::mt19937 rng(11);
    for (uint32_t h = 0; h < 65536; ++h) {
        const uint32_t low = rng() & 0x1FFF, top = h & 0x7FFF;
        single.push_back(bit_cast<float>(bit_cast<uint32_t>(single[h]) | low));
        half.push_back(uint16_t(low && (top == 0x7BFF || top == 0x7C00) ? h + 1 : h));
    }
    // Float bits to half: 65504, the largest half, and just above, which is infinity though nearer
    // to 65504; NaNs whose payload lies only in the dropped bits stay NaN; just below the next half
    // above 1.0; just below 2^-14, which is the largest subnormal.
    const uint32_t cases[][2] = {{0x477FE000, 0x7BFF}, {0x477FE001, 0x7C00}, {0x7F7FFFFF, 0x7C00},
                                 {0xC77FE001, 0xFC00}, {0x7F800000, 0x7C00}, {0x7F800001, 0x7C01},
                                 {0x7F801FFF, 0x7C01}, {0x7FC00000, 0x7E00}, {0xFFC00001, 0xFE00},
                                 {0x3F801FFF, 0x3C00}, {0x387FFFFF, 0x03FF}, {0x38800000, 0x0400},
                                 {0x33800000, 0x0001}, {0x337FFFFF, 0x0000}, {0x80000000, 0x8000}};
    for (auto& c : cases) single.push_back(bit_cast<float>(c[0])), half.push_back(uint16_t(c[1]));
    expectCounts(half, uint16_t(0xA5A5),
                 [&](size_t n, uint16_t* o) { floatToHalf(single.data(), n, o); });
}

TEST(DepthKernels, MatchFormulas) {
    // To bytes: truncation, no rounding; NaN fails `lower < x` and takes the lower bound; at and
    // above the upper bound, the whole range.
    const std::vector<float> x = {254.9f, 255, 300, INFINITY, -1, -INFINITY, NAN, 0.75f, 15, 20, 9};
    const float lo = 0, hi = 255, lo2 = 10, hi2 = 20, one = 1, a = 1 + 0x1p-12f, c = -1 - 0x1p-11f;
    expectCounts<uint8_t>({254, 255, 255, 255, 0, 0, 0, 0, 15, 20, 9}, 0xA5,
                          [&](size_t n, uint8_t* o) { floatToBytes(x.data(), n, &lo, &hi, o); });
    expectCounts<uint8_t>({255, 255, 255, 255, 0, 0, 0, 0, 127, 255, 0}, 0xA5,
                          [&](size_t n, uint8_t* o) { floatToBytes(x.data(), n, &lo2, &hi2, o); });
    expectCounts(std::vector<float>(11, 4.0f), 3.0f,
                 [&](size_t n, float* o) { addConstantFloats(&one, o, n); });
    // One fused rounding: a * a + c is 2^-24 exactly, which a separate multiply rounds to 0. And
    // bounds whose difference / 255 differs from * (1 / 255).
    const float blo = 0.25f, bhi = 3.5f;
    std::vector<float> src(256), madd(256), bf(256);
    std::vector<uint8_t> b(256);
    for (int i = 0; i < 256; ++i) {
        src[i] = 1 + float(i + 1) * 0x1p-12f, madd[i] = std::fmaf(a, src[i], c), b[i] = uint8_t(i);
        bf[i] = std::fmaf((bhi - blo) / 255.0f, float(i), blo);
    }
    expectCounts(madd, c, [&](size_t n, float* o) { mulAddFloats(src.data(), n, &a, o); });
    expectCounts(bf, 3.0f, [&](size_t n, float* o) { bytesToFloat(b.data(), n, &blo, &bhi, o); });
}

// BGR to gray and YUV of the s by s block at (x, y), s = 1 or 2: the mean of each channel apart,
// rounded half up; then 14 fraction bits, the coefficients of B, G, R and the offset.
const int64_t kGray[] = {1868, 9617, 4899, 0},
              kYuv[3][4] = {
                  {1606, 8258, 4211, 16}, {7193, -4768, -2425, 128}, {-1163, -6029, 7193, 128}};
auto fwd(ByteImage& bgr, const int64_t* k, size_t s) {
    return [&bgr, k, s](size_t x, size_t y, size_t) {
        int64_t sum = 8192;
        for (size_t c = 0; c < 3; ++c) {
            int64_t mean = 2;
            for (size_t i = 0; i < 4; ++i)
                mean += bgr.at(s * x + i % 2 * (s - 1), s * y + i / 2 * (s - 1), c);
            sum += k[c] * (mean >> 2);
        }
        return (sum >> 14) + k[3];
    };
}
// YUV to BGR, chroma from (x / s, y / s): 13 fraction bits, clamped.
auto inverse(ByteImage* yuv, size_t s) {
    return [=](size_t x, size_t y, size_t c) {
        const int64_t Y = (yuv[0].at(x, y) - 16) * 9535, u = yuv[1].at(x / s, y / s) - 128,
                      v = yuv[2].at(x / s, y / s) - 128;
        const int64_t t = c == 0 ? Y + u * 16531 : c == 1 ? Y - u * 3203 - v * 6660 : Y + v * 13074;
        return std::clamp<int64_t>((t + 4096) >> 13, 0, 255);
    };
}

// Every width from 1 to 70 (and I420 at twice that), heights 2, 4 and 6, strides all different;
// and a whole 1920-pixel row, wider than the blocks of pixels the 4:2:0 kernels take at a time.
TEST(ColorKernels, MatchFormulasAtEveryWidth) {
    for (size_t w = 1; w <= 960; w = w == 70 ? 960 : w + 1) {
        SCOPED_TRACE(w);
        const size_t h = 2 + 2 * (w % 3), W = 2 * w;
        // 4:4:4 kernels read the left half of the source.
        ByteImage bgr{W, h, 3}, g{w, h, 1, 1}, g3{w, h, 3, 2}, sw{w, h, 3, 5}, mg{w, h, 3, 1},
            cp{w, h, 3, 4}, uv{w, h, 2, 1}, su{w, h, 1, 2}, sv{w, h, 1, 6}, back{w, h, 3, 7},
            p[] = {{w, h, 1, 1}, {w, h, 1, 4}, {w, h, 1, 6}},
            yuv[] = {{w, h, 1, 2}, {w, h, 1, 5}, {w, h, 1, 1}},
            i420[] = {{W, h, 1, 2}, {w, h / 2, 1, 1}, {w, h / 2, 1, 4}},
            any420[] = {{W, h, 1, 3}, {w, h / 2, 1, 5}, {w, h / 2, 1, 2}};
        std::mt19937 rng{unsigned(w)};
        for (ByteImage* i : {&bgr, any420, any420 + 1, any420 + 2})
            for (auto& e : i->mem) e = uint8_t(rng());
        auto src = [&](size_t c0) {
            return [&, c0](auto x, auto y, auto c) { return bgr.at(x, y, c0 + c); };
        };
        bgrToGray(bgr.data(), w, h, bgr.stride, g.data(), g.stride);
        EXPECT_TRUE(g.matches(fwd(bgr, kGray, 1)));
        grayToBgr(g.data(), w, h, g.stride, g3.data(), g3.stride);
        EXPECT_TRUE(g3.matches([&](auto x, auto y, auto) { return g.at(x, y); }));
        swapChannels3(bgr.data(), w, h, bgr.stride, sw.data(), sw.stride);
        EXPECT_TRUE(sw.matches([&](auto x, auto y, auto c) { return bgr.at(x, y, 2 - c); }));
        splitChannels3(bgr.data(), bgr.stride, w, h, p[0].data(), p[0].stride, p[1].data(),
                       p[1].stride, p[2].data(), p[2].stride);
        for (size_t c = 0; c < 3; ++c) EXPECT_TRUE(p[c].matches(src(c)));
        mergeChannels3(p[0].data(), p[0].stride, p[1].data(), p[1].stride, p[2].data(), p[2].stride,
                       w, h, mg.data(), mg.stride);
        copyPlane(bgr.data(), bgr.stride, w, h, 3, cp.data(), cp.stride);
        mergeUv(p[0].data(), p[0].stride, p[1].data(), p[1].stride, w, h, uv.data(), uv.stride);
        splitUv(uv.data(), uv.stride, w, h, su.data(), su.stride, sv.data(), sv.stride);
        for (auto* i : {&mg, &cp, &uv, &su}) EXPECT_TRUE(i->matches(src(0)));
        EXPECT_TRUE(sv.matches(src(1)));
        bgrToYuv444Planar(bgr.data(), w, h, bgr.stride, yuv[0].data(), yuv[0].stride, yuv[1].data(),
                          yuv[1].stride, yuv[2].data(), yuv[2].stride);
        bgrToI420(bgr.data(), W, h, bgr.stride, i420[0].data(), i420[0].stride, i420[1].data(),
                  i420[1].stride, i420[2].data(), i420[2].stride);
        for (size_t c = 0; c < 3; ++c) EXPECT_TRUE(yuv[c].matches(fwd(bgr, kYuv[c], 1)));
        for (size_t c = 0; c < 3; ++c) EXPECT_TRUE(i420[c].matches(fwd(bgr, kYuv[c], c ? 2 : 1)));
        // The inverses: of arbitrary planes (those split from random bytes, and random 4:2:0
        // planes, which clamp), and of the I420 planes just made.
        yuv444PlanarToBgr(p[0].data(), p[0].stride, p[1].data(), p[1].stride, p[2].data(),
                          p[2].stride, w, h, back.data(), back.stride);
        EXPECT_TRUE(back.matches(inverse(p, 1)));
        for (ByteImage* planes : {i420, any420}) {
            ByteImage out{W, h, 3, 1};
            i420ToBgr(planes[0].data(), planes[0].stride, planes[1].data(), planes[1].stride,
                      planes[2].data(), planes[2].stride, W, h, out.data(), out.stride);
            EXPECT_TRUE(out.matches(inverse(planes, 2)));
        }
    }
}

// The 16-bit forms of the weighted sums against the formula for every B, G, R: gray, and Y, U, V,
// which bgrToI420 also takes from the block means. One row per value of B.
TEST(ColorKernels, WeightedSumsOfEveryPixelValue) {
    std::vector<uint8_t> bgr(3 * 65536), out(4 * 65536);
    for (int b = 0; b < 256; ++b) {
        for (int i = 0; i < 65536; ++i) {
            bgr[3 * i] = uint8_t(b), bgr[3 * i + 1] = uint8_t(i >> 8), bgr[3 * i + 2] = uint8_t(i);
        }
        bgrToGray(bgr.data(), 65536, 1, 0, out.data(), 0);
        bgrToYuv444Planar(bgr.data(), 65536, 1, 0, out.data() + 65536, 0, out.data() + 2 * 65536, 0,
                          out.data() + 3 * 65536, 0);
        for (int i = 0; i < 65536; ++i) {
            const int64_t px[3] = {b, i >> 8, i & 255};
            for (int k = 0; k < 4; ++k) {
                const int64_t* w = k == 0 ? kGray : kYuv[k - 1];
                const int64_t want =
                    ((w[0] * px[0] + w[1] * px[1] + w[2] * px[2] + 8192) >> 14) + w[3];
                ASSERT_EQ(out[k * 65536 + i], want)
                    << "b " << b << " g " << px[1] << " r " << px[2] << " sum " << k;
            }
        }
    }
}

TEST(Resizers, FactoryRefusesOtherCombinations) {
    const uint32_t refused[][2] = {{0, 1}, {0, 3}, {0, 4}, {1, 2}, {1, 4}, {2, 0}};  // type, method
    for (auto [t, m] : refused)
        EXPECT_EQ(makeResizer(4, 4, 2, 2, 1, ResizerChannelType(t), ResizerMethod(m)), nullptr);
}

TEST(Resizers, AlignedArrayBlocks) {
    EXPECT_EQ(alignedRequestBytes(1, 16), 144u);  // (4 + 143) & ~15
    EXPECT_EQ(alignedRequestBytes(5, 4), 148u);   // 4 + 20 + 127 = 151, down to 148
    AlignedArray<int32_t> a;
    a.resize(10);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a.data) % 16, 0u);
    a.data[-16] = a.data[10 + 15] = 42;  // 64 bytes either side belong to the block
    // ASan aborts on an impossible allocation.
#if !defined(__SANITIZE_ADDRESS__)
    const size_t huge = (SIZE_MAX - 1000) / 4;
    testing::internal::CaptureStdout();
    a.resize(huge);
    a.resize(huge);  // same count: no second attempt, no second line
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "The function posix_memalign can't allocate " +
                  std::to_string(alignedRequestBytes(huge, 16)) + " bytes with align 16 !\n");
    EXPECT_TRUE(a.data == nullptr && a.size == huge);
#endif
}

// The source pixels under destination pixel i on one axis, with their weights. Bilinear: the left
// neighbour by the mapping, clamped into the image, and the fraction f toward the right one;
// floats weigh 1 - f and f, bytes 16 - w and w, w = f * 16 + 0.5 fused and truncated. Area:
// boundary k at k * scale, weight (1 - fraction) * 2048 / scale truncated, or (src - 1, 0) at the
// far edge; each pixel counts with the full weight (boundary 0's) less what the boundaries cut off.
// A neighbour before the first pixel or row has weight 0: it is read from the padding or the guard
// zone, as the kernels do.
template <class T>
std::vector<std::pair<int64_t, float>> taps(ResizerMethod m, int64_t src, int64_t dst, int64_t i) {
    const float scale = m == ResizerMethodBilinearCorners
                            ? (dst > 1 ? float(src - 1) / float(dst - 1) : 0.0f)
                            : float(src) / float(dst);
    if (m != ResizerMethodArea) {
        const float pos = m == ResizerMethodBilinear ? std::fmaf(scale, float(i) + 0.5f, -0.5f)
                                                     : float(i) * scale;
        const int64_t idx = std::max<int64_t>(int64_t(std::floor(pos)), 0),
                      left = std::min(idx, src - 2);
        const float f = idx >= src - 1 ? 1.0f : std::max(pos - float(idx), 0.0f);
        const float w = float(int64_t(std::fmaf(f, 16, 0.5f)));
        if (sizeof(T) == 4) return {{left, 1.0f - f}, {left + 1, f}};
        return {{left, 16 - w}, {left + 1, w}};
    }
    auto boundary = [&](int64_t k) -> std::pair<int64_t, float> {
        const float pos = float(k) * scale;
        const int64_t idx = int64_t(std::trunc(pos));
        if (idx == src) return {src - 1, 0};
        return {idx, float(int64_t((1.0f - (pos - float(idx))) * 2048.0f / scale))};
    };
    const auto [i0, w0] = boundary(i);
    const auto [i1, w1] = boundary(i + 1);
    std::vector<std::pair<int64_t, float>> t;
    for (int64_t k = i0; k <= i1; ++k)
        t.push_back({k, (k == i0 ? w0 : boundary(0).second) - (k == i1 ? w1 : 0)});
    return t;
}

// The taps of every destination index on one axis.
template <class T>
using AxisTaps = std::vector<std::vector<std::pair<int64_t, float>>>;
template <class T>
AxisTaps<T> axisTaps(ResizerMethod m, int64_t src, int64_t dst) {
    AxisTaps<T> t;
    for (int64_t i = 0; i < dst; ++i) t.push_back(taps<T>(m, src, dst, i));
    return t;
}

// Floats: each blend one fma, with the product of the second tap rounded first. Bytes: one
// rounding, of 8 bits for bilinear, of 22 for area, which writes nothing beyond 4 channels.
template <class T>
T model(Image<T>& s, const std::vector<std::pair<int64_t, float>>& tx,
        const std::vector<std::pair<int64_t, float>>& ty, ResizerMethod m, size_t c) {
    if constexpr (sizeof(T) == 4) {
        auto blend = [](auto& t, auto v) {
            return std::fmaf(t[0].second, v(t[0].first), t[1].second * v(t[1].first));
        };
        return blend(ty, [&](long j) { return blend(tx, [&](long i) { return s.at(i, j, c); }); });
    } else {
        const int bits = m == ResizerMethodArea ? 22 : 8;
        int64_t acc = int64_t(1) << (bits - 1);
        for (auto [j, wy] : ty)
            for (auto [i, wx] : tx) acc += int64_t(wy) * int64_t(wx) * s.at(i, j, c);
        return bits == 22 && s.channels > 4 ? T(0xA5) : T(acc >> bits);
    }
}

// Every resizer on every case against the models, run twice (the second run reuses the tables of
// the first). Float strides in bytes are not multiples of 4: the rest is dropped. The inputs come
// from mt19937's raw output, which the standard fixes, and the outputs all go into one hash,
// recorded once: it shows any difference between targets, also one that the models share with the
// kernels on one platform (a float rounding, a library function), when the ARM build runs it.
// Sizes: source width and height, destination width and height, channels.
template <class T>
void check(ResizerMethod m, const size_t (&z)[5], uint64_t& hash, size_t src_pad = 3,
           size_t dst_pad = 5) {
    std::mt19937 rng(unsigned(z[0] * 1000 + z[2]));
    Image<T> src{z[0], z[1], z[4], src_pad}, dst{z[2], z[3], z[4], dst_pad};
    // Bytes, or floats in [-128, 128) with 24 significant bits: the rows and 64 elements either
    // side first, then the rest of the guard zones.
    const size_t near = src.guard - 64, far = near + src.stride * src.height + 128;
    auto random = [&] { return T(int32_t(rng()) >> 8) * T(sizeof(T) == 4 ? 0x1p-16 : 1); };
    for (size_t i = near; i < far; ++i) src.mem[i] = random();
    for (size_t i = 0; i < src.mem.size(); ++i)
        if (i < near || i >= far) src.mem[i] = random();
    std::unique_ptr<Resizer> r(
        makeResizer(z[0], z[1], z[2], z[3], z[4], ResizerChannelType(sizeof(T) / 4), m));
    for (int pass = 0; pass < 2; ++pass)
        r->run(reinterpret_cast<uint8_t*>(src.data()), src.stride * sizeof(T) + sizeof(T) / 4 * 3,
               reinterpret_cast<uint8_t*>(dst.data()), dst.stride * sizeof(T));
    const auto tx = axisTaps<T>(m, z[0], z[2]), ty = axisTaps<T>(m, z[1], z[3]);
    EXPECT_TRUE(dst.matches([&](auto x, auto y, auto c) { return model(src, tx[x], ty[y], m, c); }))
        << m << ": " << z[0] << "x" << z[1] << " to " << z[2] << "x" << z[3] << " x" << z[4];
    // FNV-1a over the rows and 64 elements either side.
    const T* begin = dst.data() - 64;
    const size_t bytes = (dst.stride * dst.height + 128) * sizeof(T);
    for (size_t i = 0; i < bytes; ++i)
        hash = (hash ^ reinterpret_cast<const uint8_t*>(begin)[i]) * 1099511628211ull;
}

TEST(Resizers, MatchModelsWithTheSameBytesOnEveryTarget) {
    // Source width and height, destination width and height, channels.
    const size_t cases[][5] = {{1, 1, 5, 4, 3},     {1, 7, 9, 3, 1},     {7, 1, 3, 9, 2},
                               {17, 13, 17, 13, 3}, {32, 24, 16, 12, 1}, {33, 17, 15, 16, 4},
                               {10, 10, 37, 23, 3}, {100, 3, 17, 50, 1}, {5, 5, 1, 1, 3},
                               {64, 48, 63, 47, 2}, {18, 10, 9, 5, 5},   {9, 5, 18, 10, 3},
                               {2, 3, 700, 500, 1},  // area sums wrap modulo 2^32
                               {5, 7, 48, 48, 2}};   // fused and plain multiply-add map differently
    uint64_t hash = 14695981039346656037ull;
    for (const auto& z : cases) {
        // Bytes: bilinear and area. Floats: bilinear, corners and origin.
        for (uint32_t m : {0, 2}) check<uint8_t>(ResizerMethod(m), z, hash);
        for (uint32_t m : {0, 1, 3}) check<float>(ResizerMethod(m), z, hash);
    }
    EXPECT_EQ(hash, 2596165990705533994ull);
}

// Source widths 1 to 70, each reduced, kept and enlarged, with 1 to 5 channels and heights that
// reduce, keep and enlarge too; odd strides on both sides.
TEST(Resizers, MatchModelsAtEveryWidth) {
    uint64_t hash = 0;
    for (size_t w = 1; w <= 70; ++w) {
        const size_t h = 1 + w % 9, channels = 1 + w % 5;
        const size_t widths[] = {std::max<size_t>(1, w / 3), (w + 1) / 2, w, w + 7};
        const size_t heights[] = {std::max<size_t>(1, h / 2), h, 2 * h + 1};
        for (size_t i = 0; i < 4; ++i) {
            const size_t z[5] = {w, h, widths[i], heights[(w + i) % 3], channels};
            for (uint32_t m : {0, 2}) check<uint8_t>(ResizerMethod(m), z, hash, 1 + w % 4, 7);
            for (uint32_t m : {0, 1, 3}) check<float>(ResizerMethod(m), z, hash, w % 3, 1);
        }
    }
}

// More than 2048 source pixels under one destination pixel: a whole pixel weighs 0 in 11 bits, so
// footprints are empty and the area sum is 0; nothing past the tables may be read.
TEST(Resizers, AreaBeyondTheWeightsPrecision) {
    uint64_t hash = 0;
    const size_t cases[][5] = {{2049, 1, 1, 1, 1},
                               {4097, 1, 2, 1, 1},
                               {2049, 3, 1, 3, 3},
                               {3, 2049, 3, 1, 1},
                               {4500, 2100, 2, 1, 4}};
    for (const auto& z : cases) check<uint8_t>(ResizerMethodArea, z, hash);
}

// Whole frames, as the backend resizes them: 1920x1080 to 1280x720 and 960x540.
TEST(Resizers, MatchModelsOnWholeFrames) {
    uint64_t hash = 0;
    for (const size_t channels : {1, 3})
        for (const size_t to : {1280, 960}) {
            const size_t z[5] = {1920, 1080, to, to * 9 / 16, channels};
            for (uint32_t m : {0, 2}) check<uint8_t>(ResizerMethod(m), z, hash, 0, 0);
            if (channels == 1) check<float>(ResizerMethodBilinear, z, hash, 0, 0);
        }
}

}  // namespace
