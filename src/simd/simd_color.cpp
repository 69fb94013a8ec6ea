// Colour kernels. Each is a plain loop over one row: unit stride in pixels, no branch on pixel
// values, narrow products, so that the compiler can vectorise it; vector lanes compute exactly
// what the scalar loop does. The 4:2:0 kernels work on two rows at once, in chunks of blocks.
#include "simd_color.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

#include "simd_math.h"

namespace Simd::Base {

namespace {

// BGR to gray, 14 fraction bits, the BT.601 luma weights. They sum to 16384, so white stays 255.
constexpr int16_t GrayBlueWeight = 1868;   // 0.114 * 16384 = 1867.8
constexpr int16_t GrayGreenWeight = 9617;  // 0.587 * 16384 = 9617.4
constexpr int16_t GrayRedWeight = 4899;    // 0.299 * 16384 = 4898.8
static_assert(GrayBlueWeight + GrayGreenWeight + GrayRedWeight == 1 << 14);

// BGR to limited-range YUV, 14 fraction bits: the BT.601 weights scaled by 219/255 for Y and by
// 224/255 for U and V, as the usual three-decimal constants.
constexpr int16_t YFromBlue = 1606;    // 0.098 * 16384 = 1605.6
constexpr int16_t YFromGreen = 8258;   // 0.504 * 16384 = 8257.5
constexpr int16_t YFromRed = 4211;     // 0.257 * 16384 = 4210.7
constexpr int16_t UFromBlue = 7193;    // 0.439 * 16384 = 7192.6
constexpr int16_t UFromGreen = -4768;  // -0.291 * 16384 = -4767.7
constexpr int16_t UFromRed = -2425;    // -0.148 * 16384 = -2424.8
constexpr int16_t VFromBlue = -1163;   // -0.071 * 16384 = -1163.3
constexpr int16_t VFromGreen = -6029;  // -0.368 * 16384 = -6029.3
constexpr int16_t VFromRed = 7193;     // 0.439 * 16384 = 7192.6
// Y of white is ((14075 * 255 + 8192) >> 14) + 16 = 235. The U weights sum to 0 and the V weights
// to 1, so grays give U = V = 128: the shifts land on 0.
static_assert(YFromBlue + YFromGreen + YFromRed == 14075);
static_assert(UFromBlue + UFromGreen + UFromRed == 0 && VFromBlue + VFromGreen + VFromRed == 1);
constexpr int32_t kYOffset = 16;
constexpr int32_t kUvOffset = 128;

// Limited-range YUV to BGR, 13 fraction bits: 255/219 and the chroma terms scaled by 255/224.
constexpr int16_t BgrFromY = 9535;     // 1.164 * 8192 = 9535.49
constexpr int16_t BlueFromU = 16531;   // 2.018 * 8192 = 16531.46
constexpr int16_t GreenFromU = -3203;  // -0.391 * 8192 = -3203.1
constexpr int16_t GreenFromV = -6660;  // -0.813 * 8192 = -6660.1
constexpr int16_t RedFromV = 13074;    // 1.596 * 8192 = 13074.4
// Largest magnitude: 239 * 9535 + 127 * 16531 + 4096 < 2^23, far from overflow.

// The chroma terms of one pixel or one 2x2 block, before the luma term is added.
struct ChromaTerms {
    int32_t blue, green, red;
};
inline ChromaTerms chromaTerms(int32_t u_byte, int32_t v_byte) {
    const int32_t u = u_byte - kUvOffset, v = v_byte - kUvOffset;
    return {u * BlueFromU, u * GreenFromU + v * GreenFromV, v * RedFromV};
}
inline void storeBgr(int32_t y_byte, const ChromaTerms& t, uint8_t* bgr) {
    const int32_t y = (y_byte - kYOffset) * BgrFromY;
    bgr[0] = clampByte(shiftRound<13>(y + t.blue));
    bgr[1] = clampByte(shiftRound<13>(y + t.green));
    bgr[2] = clampByte(shiftRound<13>(y + t.red));
}

// Weighted sums of three bytes with 14 fraction bits, (b * CB + g * CG + r * CR + 8192) >> 14, in
// 16-bit lanes. Each weight is split as 64 * high + low, so that the sum is 64 * H + L with
// H = b * highB + g * highG + r * highR and L likewise from the lows. Then
//   floor((64 H + L + 8192) / 2^14) = floor((H + 128 + floor(L / 64)) / 2^8),
// because H + 128 is whole: flooring L / 64 first can't carry the sum past a multiple of 256. The
// shifts are arithmetic, so this holds for negative sums and lows too. T is uint16_t where every
// weight is non-negative (lows 0..63) and int16_t otherwise (lows -32..31, which keeps L small);
// the static_asserts hold H, L and the final sum in T.
template <class T>
constexpr int splitHigh(int c) {
    const int biased = std::is_signed_v<T> ? c + 32 : c;  // floor(biased / 64), also below 0
    return biased >= 0 ? biased / 64 : -((-biased + 63) / 64);
}
// The smallest and largest of b * wb + g * wg + r * wr over bytes.
constexpr int minOverBytes(int wb, int wg, int wr) {
    return 255 * ((wb < 0 ? wb : 0) + (wg < 0 ? wg : 0) + (wr < 0 ? wr : 0));
}
constexpr int maxOverBytes(int wb, int wg, int wr) {
    return 255 * ((wb > 0 ? wb : 0) + (wg > 0 ? wg : 0) + (wr > 0 ? wr : 0));
}
template <class T>
constexpr bool fits(int lo, int hi) {
    return lo >= std::numeric_limits<T>::min() && hi <= std::numeric_limits<T>::max();
}

template <int CB, int CG, int CR, class T>
inline T weightedSum14(T b, T g, T r) {
    constexpr int hb = splitHigh<T>(CB), hg = splitHigh<T>(CG), hr = splitHigh<T>(CR);
    constexpr int lb = CB - 64 * hb, lg = CG - 64 * hg, lr = CR - 64 * hr;
    constexpr int h_min = minOverBytes(hb, hg, hr), h_max = maxOverBytes(hb, hg, hr);
    constexpr int l_min = minOverBytes(lb, lg, lr), l_max = maxOverBytes(lb, lg, lr);
    static_assert(fits<T>(h_min, h_max) && fits<T>(l_min, l_max));
    static_assert(fits<T>(h_min + 128 + (l_min >> 6), h_max + 128 + (l_max >> 6)));
    const T h = static_cast<T>(b * hb + g * hg + r * hr);
    const T l = static_cast<T>(b * lb + g * lg + r * lr);
    return static_cast<T>(static_cast<T>(h + 128 + (l >> 6)) >> 8);
}

// ---------------------------------------------------------------- row kernels

// Sources and destinations of one call never overlap, hence __restrict. The row kernels stay out
// of line: inlined into the plane loop, the compiler loses the __restrict facts and, at -O2, the
// vectorisation with them.

[[gnu::noinline]] void bgrToGrayRow(const uint8_t* __restrict bgr, size_t width,
                                    uint8_t* __restrict gray) {
    for (size_t i = 0; i < width; ++i) {
        const uint16_t b = bgr[3 * i], g = bgr[3 * i + 1], r = bgr[3 * i + 2];
        gray[i] = static_cast<uint8_t>(
            weightedSum14<GrayBlueWeight, GrayGreenWeight, GrayRedWeight>(b, g, r));
    }
}

inline void grayToBgrPixels(const uint8_t* __restrict gray, size_t count, uint8_t* __restrict bgr) {
    for (size_t i = 0; i < count; ++i) {
        const uint8_t value = gray[i];
        bgr[3 * i] = value;
        bgr[3 * i + 1] = value;
        bgr[3 * i + 2] = value;
    }
}

[[gnu::noinline]] void grayToBgrRow(const uint8_t* __restrict gray, size_t width,
                                    uint8_t* __restrict bgr) {
    size_t i = 0;
#if defined(__SSSE3__)
    // With x86 byte shuffles, blocks of 16 pixels compile to three shuffles of one 16-byte load
    // at every level; the plain loop takes about twice the shuffles per pixel at AVX2.
    for (; i + 16 <= width; i += 16) grayToBgrPixels(gray + i, 16, bgr + 3 * i);
#endif
    grayToBgrPixels(gray + i, width - i, bgr + 3 * i);
}

[[gnu::noinline]] void swapChannels3Row(const uint8_t* __restrict src, size_t width,
                                        uint8_t* __restrict dst) {
    forEachElement(width, [=](size_t i) {
        dst[3 * i] = src[3 * i + 2];
        dst[3 * i + 1] = src[3 * i + 1];
        dst[3 * i + 2] = src[3 * i];
    });
}

[[gnu::noinline]] void splitChannels3Row(const uint8_t* __restrict src, size_t width,
                                         uint8_t* __restrict dst0, uint8_t* __restrict dst1,
                                         uint8_t* __restrict dst2) {
    forEachElement(width, [=](size_t i) {
        dst0[i] = src[3 * i];
        dst1[i] = src[3 * i + 1];
        dst2[i] = src[3 * i + 2];
    });
}

[[gnu::noinline]] void mergeChannels3Row(const uint8_t* __restrict src0,
                                         const uint8_t* __restrict src1,
                                         const uint8_t* __restrict src2, size_t width,
                                         uint8_t* __restrict dst) {
    forEachElement(width, [=](size_t i) {
        dst[3 * i] = src0[i];
        dst[3 * i + 1] = src1[i];
        dst[3 * i + 2] = src2[i];
    });
}

[[gnu::noinline]] void bgrToYuv444Row(const uint8_t* __restrict bgr, size_t width,
                                      uint8_t* __restrict y, uint8_t* __restrict u,
                                      uint8_t* __restrict v) {
    for (size_t i = 0; i < width; ++i) {
        const uint16_t b = bgr[3 * i], g = bgr[3 * i + 1], r = bgr[3 * i + 2];
        const int16_t sb = static_cast<int16_t>(b), sg = static_cast<int16_t>(g),
                      sr = static_cast<int16_t>(r);
        y[i] = static_cast<uint8_t>(weightedSum14<YFromBlue, YFromGreen, YFromRed>(b, g, r) +
                                    kYOffset);
        u[i] = static_cast<uint8_t>(weightedSum14<UFromBlue, UFromGreen, UFromRed>(sb, sg, sr) +
                                    kUvOffset);
        v[i] = static_cast<uint8_t>(weightedSum14<VFromBlue, VFromGreen, VFromRed>(sb, sg, sr) +
                                    kUvOffset);
    }
}

[[gnu::noinline]] void yuv444ToBgrRow(const uint8_t* __restrict y, const uint8_t* __restrict u,
                                      const uint8_t* __restrict v, size_t width,
                                      uint8_t* __restrict bgr) {
    forEachElement(width, [=](size_t i) { storeBgr(y[i], chromaTerms(u[i], v[i]), bgr + 3 * i); });
}

// BGR to I420, two rows at a time, in chunks of kChunk pixels (an even number) so that the
// intermediate rows live on the stack. First pass, per pixel: Y of both rows, and the sum of the
// two rows for each channel, kept apart by channel. Second pass, per 2x2 block: the channel means
// from those sums, rounded half up to bytes, then U and V.
constexpr size_t kChunk = 256;

[[gnu::noinline]] void lumaAndColumnSums(const uint8_t* __restrict bgr0,
                                         const uint8_t* __restrict bgr1, size_t width,
                                         uint8_t* __restrict y0, uint8_t* __restrict y1,
                                         uint16_t* __restrict sum_b, uint16_t* __restrict sum_g,
                                         uint16_t* __restrict sum_r) {
    for (size_t i = 0; i < width; ++i) {
        const uint16_t b0 = bgr0[3 * i], g0 = bgr0[3 * i + 1], r0 = bgr0[3 * i + 2];
        const uint16_t b1 = bgr1[3 * i], g1 = bgr1[3 * i + 1], r1 = bgr1[3 * i + 2];
        y0[i] = static_cast<uint8_t>(weightedSum14<YFromBlue, YFromGreen, YFromRed>(b0, g0, r0) +
                                     kYOffset);
        y1[i] = static_cast<uint8_t>(weightedSum14<YFromBlue, YFromGreen, YFromRed>(b1, g1, r1) +
                                     kYOffset);
        sum_b[i] = b0 + b1;
        sum_g[i] = g0 + g1;
        sum_r[i] = r0 + r1;
    }
}

[[gnu::noinline]] void chromaOfBlocks(const uint16_t* __restrict sum_b,
                                      const uint16_t* __restrict sum_g,
                                      const uint16_t* __restrict sum_r, size_t blocks,
                                      uint8_t* __restrict u, uint8_t* __restrict v) {
    for (size_t i = 0; i < blocks; ++i) {
        // (four samples + 2) >> 2: the mean rounded half up, 0..255. The sum is at most 1022,
        // so it is taken in 16 bits (which lets the compiler keep 16-bit lanes).
        auto mean = [](const uint16_t* sum, size_t i) {
            return static_cast<int16_t>(static_cast<uint16_t>(sum[2 * i] + sum[2 * i + 1] + 2) >>
                                        2);
        };
        const int16_t b = mean(sum_b, i), g = mean(sum_g, i), r = mean(sum_r, i);
        u[i] = static_cast<uint8_t>(weightedSum14<UFromBlue, UFromGreen, UFromRed>(b, g, r) +
                                    kUvOffset);
        v[i] = static_cast<uint8_t>(weightedSum14<VFromBlue, VFromGreen, VFromRed>(b, g, r) +
                                    kUvOffset);
    }
}

void bgrToI420Rows(const uint8_t* bgr0, const uint8_t* bgr1, size_t width, uint8_t* y0, uint8_t* y1,
                   uint8_t* u, uint8_t* v) {
    uint16_t sums[3][kChunk];
    for (size_t x = 0; x < width; x += kChunk) {
        const size_t n = std::min(kChunk, width - x);
        lumaAndColumnSums(bgr0 + 3 * x, bgr1 + 3 * x, n, y0 + x, y1 + x, sums[0], sums[1], sums[2]);
        chromaOfBlocks(sums[0], sums[1], sums[2], n / 2, u + x / 2, v + x / 2);
    }
}

// I420 to BGR, two rows at a time, in chunks: first the chroma terms of each block, once, with
// the luma offset and the rounding term folded in and written for both pixels of the block; then
// each pixel of both rows adds its luma term: clamp((Y * 9535 + term) >> 13), which is
// clamp(((Y - 16) * 9535 + chroma + 4096) >> 13). The largest magnitudes stay below 2^23.
constexpr int32_t kLumaFold = kYOffset * BgrFromY - 4096;  // subtracted from each chroma term

[[gnu::noinline]] void chromaTermsOfBlocks(const uint8_t* __restrict u, const uint8_t* __restrict v,
                                           size_t blocks, int32_t* __restrict blue,
                                           int32_t* __restrict green, int32_t* __restrict red) {
    for (size_t i = 0; i < blocks; ++i) {
        const ChromaTerms t = chromaTerms(u[i], v[i]);
        blue[2 * i] = blue[2 * i + 1] = t.blue - kLumaFold;
        green[2 * i] = green[2 * i + 1] = t.green - kLumaFold;
        red[2 * i] = red[2 * i + 1] = t.red - kLumaFold;
    }
}

[[gnu::noinline]] void bgrOfRow(const uint8_t* __restrict y, const int32_t* __restrict blue,
                                const int32_t* __restrict green, const int32_t* __restrict red,
                                size_t width, uint8_t* __restrict bgr) {
    for (size_t i = 0; i < width; ++i) {
        const int32_t luma = y[i] * BgrFromY;
        bgr[3 * i] = clampByte((luma + blue[i]) >> 13);
        bgr[3 * i + 1] = clampByte((luma + green[i]) >> 13);
        bgr[3 * i + 2] = clampByte((luma + red[i]) >> 13);
    }
}

void i420ToBgrRows(const uint8_t* y0, const uint8_t* y1, const uint8_t* u, const uint8_t* v,
                   size_t width, uint8_t* bgr0, uint8_t* bgr1) {
    int32_t terms[3][kChunk];
    for (size_t x = 0; x < width; x += kChunk) {
        const size_t n = std::min(kChunk, width - x);
        chromaTermsOfBlocks(u + x / 2, v + x / 2, n / 2, terms[0], terms[1], terms[2]);
        bgrOfRow(y0 + x, terms[0], terms[1], terms[2], n, bgr0 + 3 * x);
        bgrOfRow(y1 + x, terms[0], terms[1], terms[2], n, bgr1 + 3 * x);
    }
}

[[gnu::noinline]] void splitUvRow(const uint8_t* __restrict uv, size_t width, uint8_t* __restrict u,
                                  uint8_t* __restrict v) {
    for (size_t i = 0; i < width; ++i) {
        u[i] = uv[2 * i];
        v[i] = uv[2 * i + 1];
    }
}

[[gnu::noinline]] void mergeUvRow(const uint8_t* __restrict u, const uint8_t* __restrict v,
                                  size_t width, uint8_t* __restrict uv) {
    forEachElement(width, [=](size_t i) {
        uv[2 * i] = u[i];
        uv[2 * i + 1] = v[i];
    });
}

}  // namespace

// ---------------------------------------------------------------- plane kernels

void bgrToGray(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride, uint8_t* gray,
               size_t gray_stride) {
    for (size_t row = 0; row < height; ++row, bgr += bgr_stride, gray += gray_stride)
        bgrToGrayRow(bgr, width, gray);
}

void grayToBgr(const uint8_t* gray, size_t width, size_t height, size_t gray_stride, uint8_t* bgr,
               size_t bgr_stride) {
    for (size_t row = 0; row < height; ++row, gray += gray_stride, bgr += bgr_stride)
        grayToBgrRow(gray, width, bgr);
}

void swapChannels3(const uint8_t* src, size_t width, size_t height, size_t src_stride, uint8_t* dst,
                   size_t dst_stride) {
    for (size_t row = 0; row < height; ++row, src += src_stride, dst += dst_stride)
        swapChannels3Row(src, width, dst);
}

void splitChannels3(const uint8_t* src, size_t src_stride, size_t width, size_t height,
                    uint8_t* dst0, size_t dst0_stride, uint8_t* dst1, size_t dst1_stride,
                    uint8_t* dst2, size_t dst2_stride) {
    for (size_t row = 0; row < height; ++row) {
        splitChannels3Row(src, width, dst0, dst1, dst2);
        src += src_stride;
        dst0 += dst0_stride;
        dst1 += dst1_stride;
        dst2 += dst2_stride;
    }
}

void mergeChannels3(const uint8_t* src0, size_t src0_stride, const uint8_t* src1,
                    size_t src1_stride, const uint8_t* src2, size_t src2_stride, size_t width,
                    size_t height, uint8_t* dst, size_t dst_stride) {
    for (size_t row = 0; row < height; ++row) {
        mergeChannels3Row(src0, src1, src2, width, dst);
        src0 += src0_stride;
        src1 += src1_stride;
        src2 += src2_stride;
        dst += dst_stride;
    }
}

void bgrToI420(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride, uint8_t* y,
               size_t y_stride, uint8_t* u, size_t u_stride, uint8_t* v, size_t v_stride) {
    for (size_t row = 0; row < height; row += 2) {
        bgrToI420Rows(bgr, bgr + bgr_stride, width, y, y + y_stride, u, v);
        bgr += 2 * bgr_stride;
        y += 2 * y_stride;
        u += u_stride;
        v += v_stride;
    }
}

void bgrToYuv444Planar(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride,
                       uint8_t* y, size_t y_stride, uint8_t* u, size_t u_stride, uint8_t* v,
                       size_t v_stride) {
    for (size_t row = 0; row < height; ++row) {
        bgrToYuv444Row(bgr, width, y, u, v);
        bgr += bgr_stride;
        y += y_stride;
        u += u_stride;
        v += v_stride;
    }
}

void i420ToBgr(const uint8_t* y, size_t y_stride, const uint8_t* u, size_t u_stride,
               const uint8_t* v, size_t v_stride, size_t width, size_t height, uint8_t* bgr,
               size_t bgr_stride) {
    for (size_t row = 0; row < height; row += 2) {
        i420ToBgrRows(y, y + y_stride, u, v, width, bgr, bgr + bgr_stride);
        y += 2 * y_stride;
        u += u_stride;
        v += v_stride;
        bgr += 2 * bgr_stride;
    }
}

void yuv444PlanarToBgr(const uint8_t* y, size_t y_stride, const uint8_t* u, size_t u_stride,
                       const uint8_t* v, size_t v_stride, size_t width, size_t height, uint8_t* bgr,
                       size_t bgr_stride) {
    for (size_t row = 0; row < height; ++row) {
        yuv444ToBgrRow(y, u, v, width, bgr);
        y += y_stride;
        u += u_stride;
        v += v_stride;
        bgr += bgr_stride;
    }
}

void splitUv(const uint8_t* uv, size_t uv_stride, size_t width, size_t height, uint8_t* u,
             size_t u_stride, uint8_t* v, size_t v_stride) {
    for (size_t row = 0; row < height; ++row, uv += uv_stride, u += u_stride, v += v_stride)
        splitUvRow(uv, width, u, v);
}

void mergeUv(const uint8_t* u, size_t u_stride, const uint8_t* v, size_t v_stride, size_t width,
             size_t height, uint8_t* uv, size_t uv_stride) {
    for (size_t row = 0; row < height; ++row, u += u_stride, v += v_stride, uv += uv_stride)
        mergeUvRow(u, v, width, uv);
}

void copyPlane(const uint8_t* src, size_t src_stride, size_t width, size_t height,
               size_t pixel_size, uint8_t* dst, size_t dst_stride) {
    const size_t row_bytes = width * pixel_size;
    if (row_bytes == 0) return;
    for (size_t row = 0; row < height; ++row, src += src_stride, dst += dst_stride)
        std::memcpy(dst, src, row_bytes);
}

}  // namespace Simd::Base

namespace Simd {

void bgrToGray(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride, uint8_t* gray,
               size_t gray_stride) {
    Base::bgrToGray(bgr, width, height, bgr_stride, gray, gray_stride);
}

void grayToBgr(const uint8_t* gray, size_t width, size_t height, size_t gray_stride, uint8_t* bgr,
               size_t bgr_stride) {
    Base::grayToBgr(gray, width, height, gray_stride, bgr, bgr_stride);
}

void swapChannels3(const uint8_t* src, size_t width, size_t height, size_t src_stride, uint8_t* dst,
                   size_t dst_stride) {
    Base::swapChannels3(src, width, height, src_stride, dst, dst_stride);
}

void splitChannels3(const uint8_t* src, size_t src_stride, size_t width, size_t height,
                    uint8_t* dst0, size_t dst0_stride, uint8_t* dst1, size_t dst1_stride,
                    uint8_t* dst2, size_t dst2_stride) {
    Base::splitChannels3(src, src_stride, width, height, dst0, dst0_stride, dst1, dst1_stride, dst2,
                         dst2_stride);
}

void mergeChannels3(const uint8_t* src0, size_t src0_stride, const uint8_t* src1,
                    size_t src1_stride, const uint8_t* src2, size_t src2_stride, size_t width,
                    size_t height, uint8_t* dst, size_t dst_stride) {
    Base::mergeChannels3(src0, src0_stride, src1, src1_stride, src2, src2_stride, width, height,
                         dst, dst_stride);
}

void bgrToI420(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride, uint8_t* y,
               size_t y_stride, uint8_t* u, size_t u_stride, uint8_t* v, size_t v_stride) {
    Base::bgrToI420(bgr, width, height, bgr_stride, y, y_stride, u, u_stride, v, v_stride);
}

void bgrToYuv444Planar(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride,
                       uint8_t* y, size_t y_stride, uint8_t* u, size_t u_stride, uint8_t* v,
                       size_t v_stride) {
    Base::bgrToYuv444Planar(bgr, width, height, bgr_stride, y, y_stride, u, u_stride, v, v_stride);
}

void i420ToBgr(const uint8_t* y, size_t y_stride, const uint8_t* u, size_t u_stride,
               const uint8_t* v, size_t v_stride, size_t width, size_t height, uint8_t* bgr,
               size_t bgr_stride) {
    Base::i420ToBgr(y, y_stride, u, u_stride, v, v_stride, width, height, bgr, bgr_stride);
}

void yuv444PlanarToBgr(const uint8_t* y, size_t y_stride, const uint8_t* u, size_t u_stride,
                       const uint8_t* v, size_t v_stride, size_t width, size_t height, uint8_t* bgr,
                       size_t bgr_stride) {
    Base::yuv444PlanarToBgr(y, y_stride, u, u_stride, v, v_stride, width, height, bgr, bgr_stride);
}

void splitUv(const uint8_t* uv, size_t uv_stride, size_t width, size_t height, uint8_t* u,
             size_t u_stride, uint8_t* v, size_t v_stride) {
    Base::splitUv(uv, uv_stride, width, height, u, u_stride, v, v_stride);
}

void mergeUv(const uint8_t* u, size_t u_stride, const uint8_t* v, size_t v_stride, size_t width,
             size_t height, uint8_t* uv, size_t uv_stride) {
    Base::mergeUv(u, u_stride, v, v_stride, width, height, uv, uv_stride);
}

void copyPlane(const uint8_t* src, size_t src_stride, size_t width, size_t height,
               size_t pixel_size, uint8_t* dst, size_t dst_stride) {
    Base::copyPlane(src, src_stride, width, height, pixel_size, dst, dst_stride);
}

}  // namespace Simd
