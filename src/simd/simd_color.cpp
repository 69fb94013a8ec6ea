// Colour kernels. Each is a plain loop over one row: unit stride in pixels, no branch on pixel
// values, 16-bit by 16-bit products widened to 32 bits, so that the compiler can vectorise it;
// vector lanes compute exactly what the scalar loop does. The 4:2:0 kernels walk 2x2 blocks.
#include "simd_color.h"

#include <cstring>

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

inline int32_t yFromBgr(int32_t b, int32_t g, int32_t r) {
    return shiftRound<14>(b * YFromBlue + g * YFromGreen + r * YFromRed) + kYOffset;
}
inline int32_t uFromBgr(int32_t b, int32_t g, int32_t r) {
    return shiftRound<14>(b * UFromBlue + g * UFromGreen + r * UFromRed) + kUvOffset;
}
inline int32_t vFromBgr(int32_t b, int32_t g, int32_t r) {
    return shiftRound<14>(b * VFromBlue + g * VFromGreen + r * VFromRed) + kUvOffset;
}

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

// ---------------------------------------------------------------- row kernels

// Sources and destinations of one call never overlap, hence __restrict. The row kernels stay out
// of line: inlined into the plane loop, the compiler loses the __restrict facts and, at -O2, the
// vectorisation with them.

[[gnu::noinline]] void bgrToGrayRow(const uint8_t* __restrict bgr, size_t width,
                                    uint8_t* __restrict gray) {
    forEachElement(width, [=](size_t i) {
        const int32_t b = bgr[3 * i], g = bgr[3 * i + 1], r = bgr[3 * i + 2];
        gray[i] = static_cast<uint8_t>(
            shiftRound<14>(b * GrayBlueWeight + g * GrayGreenWeight + r * GrayRedWeight));
    });
}

[[gnu::noinline]] void grayToBgrRow(const uint8_t* __restrict gray, size_t width,
                                    uint8_t* __restrict bgr) {
    forEachElement(width, [=](size_t i) {
        const uint8_t value = gray[i];
        bgr[3 * i] = value;
        bgr[3 * i + 1] = value;
        bgr[3 * i + 2] = value;
    });
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
    forEachElement(width, [=](size_t i) {
        const int32_t b = bgr[3 * i], g = bgr[3 * i + 1], r = bgr[3 * i + 2];
        y[i] = static_cast<uint8_t>(yFromBgr(b, g, r));
        u[i] = static_cast<uint8_t>(uFromBgr(b, g, r));
        v[i] = static_cast<uint8_t>(vFromBgr(b, g, r));
    });
}

[[gnu::noinline]] void yuv444ToBgrRow(const uint8_t* __restrict y, const uint8_t* __restrict u,
                                      const uint8_t* __restrict v, size_t width,
                                      uint8_t* __restrict bgr) {
    forEachElement(width, [=](size_t i) { storeBgr(y[i], chromaTerms(u[i], v[i]), bgr + 3 * i); });
}

// Two rows of BGR into two rows of Y and one row of U and V at half width.
[[gnu::noinline]] void bgrToI420Rows(const uint8_t* bgr0, const uint8_t* bgr1, size_t width,
                                     uint8_t* y0, uint8_t* y1, uint8_t* u, uint8_t* v) {
    for (size_t i = 0; i < width; i += 2) {
        const uint8_t* p[4] = {bgr0 + 3 * i, bgr0 + 3 * i + 3, bgr1 + 3 * i, bgr1 + 3 * i + 3};
        y0[i] = static_cast<uint8_t>(yFromBgr(p[0][0], p[0][1], p[0][2]));
        y0[i + 1] = static_cast<uint8_t>(yFromBgr(p[1][0], p[1][1], p[1][2]));
        y1[i] = static_cast<uint8_t>(yFromBgr(p[2][0], p[2][1], p[2][2]));
        y1[i + 1] = static_cast<uint8_t>(yFromBgr(p[3][0], p[3][1], p[3][2]));
        // Channel means of the block, rounded half up to bytes before the transform.
        int32_t mean[3];
        for (int c = 0; c < 3; ++c) mean[c] = (p[0][c] + p[1][c] + p[2][c] + p[3][c] + 2) >> 2;
        u[i / 2] = static_cast<uint8_t>(uFromBgr(mean[0], mean[1], mean[2]));
        v[i / 2] = static_cast<uint8_t>(vFromBgr(mean[0], mean[1], mean[2]));
    }
}

// Two rows of Y and one row of U and V at half width into two rows of BGR.
[[gnu::noinline]] void i420ToBgrRows(const uint8_t* y0, const uint8_t* y1, const uint8_t* u,
                                     const uint8_t* v, size_t width, uint8_t* bgr0, uint8_t* bgr1) {
    for (size_t i = 0; i < width; i += 2) {
        const ChromaTerms t = chromaTerms(u[i / 2], v[i / 2]);
        storeBgr(y0[i], t, bgr0 + 3 * i);
        storeBgr(y0[i + 1], t, bgr0 + 3 * i + 3);
        storeBgr(y1[i], t, bgr1 + 3 * i);
        storeBgr(y1[i + 1], t, bgr1 + 3 * i + 3);
    }
}

[[gnu::noinline]] void splitUvRow(const uint8_t* __restrict uv, size_t width, uint8_t* __restrict u,
                                  uint8_t* __restrict v) {
    forEachElement(width, [=](size_t i) {
        u[i] = uv[2 * i];
        v[i] = uv[2 * i + 1];
    });
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
