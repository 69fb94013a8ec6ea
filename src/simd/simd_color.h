// Colour kernels on raw planes. Pointers are to the first byte of a row-major image, strides are
// in bytes, sizes in pixels. B, G, R are bytes 0, 1, 2 of a 3-byte pixel; the kernels go by
// position, so RGB data passes through swapChannels3 and splitChannels3 alike. YUV is the limited
// (studio) range: Y from 16 to 235, chroma around 128. A width or height of 0 returns at once.
// Sources and destinations must not overlap. 4:2:0 kernels need even sizes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Simd {

namespace Base {

void bgrToGray(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride, uint8_t* gray,
               size_t gray_stride);
void grayToBgr(const uint8_t* gray, size_t width, size_t height, size_t gray_stride, uint8_t* bgr,
               size_t bgr_stride);
void swapChannels3(const uint8_t* src, size_t width, size_t height, size_t src_stride, uint8_t* dst,
                   size_t dst_stride);
void splitChannels3(const uint8_t* src, size_t src_stride, size_t width, size_t height,
                    uint8_t* dst0, size_t dst0_stride, uint8_t* dst1, size_t dst1_stride,
                    uint8_t* dst2, size_t dst2_stride);
void mergeChannels3(const uint8_t* src0, size_t src0_stride, const uint8_t* src1,
                    size_t src1_stride, const uint8_t* src2, size_t src2_stride, size_t width,
                    size_t height, uint8_t* dst, size_t dst_stride);
void bgrToI420(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride, uint8_t* y,
               size_t y_stride, uint8_t* u, size_t u_stride, uint8_t* v, size_t v_stride);
void bgrToYuv444Planar(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride,
                       uint8_t* y, size_t y_stride, uint8_t* u, size_t u_stride, uint8_t* v,
                       size_t v_stride);
void i420ToBgr(const uint8_t* y, size_t y_stride, const uint8_t* u, size_t u_stride,
               const uint8_t* v, size_t v_stride, size_t width, size_t height, uint8_t* bgr,
               size_t bgr_stride);
void yuv444PlanarToBgr(const uint8_t* y, size_t y_stride, const uint8_t* u, size_t u_stride,
                       const uint8_t* v, size_t v_stride, size_t width, size_t height, uint8_t* bgr,
                       size_t bgr_stride);
// width and height count chroma samples (pairs).
void splitUv(const uint8_t* uv, size_t uv_stride, size_t width, size_t height, uint8_t* u,
             size_t u_stride, uint8_t* v, size_t v_stride);
void mergeUv(const uint8_t* u, size_t u_stride, const uint8_t* v, size_t v_stride, size_t width,
             size_t height, uint8_t* uv, size_t uv_stride);
// Copies width * pixel_size bytes of each row; bytes between rows are left alone.
void copyPlane(const uint8_t* src, size_t src_stride, size_t width, size_t height,
               size_t pixel_size, uint8_t* dst, size_t dst_stride);

}  // namespace Base

// Entry points, forwarding to Base.

// gray = (B * 1868 + G * 9617 + R * 4899 + 8192) >> 14.
void bgrToGray(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride, uint8_t* gray,
               size_t gray_stride);
// B = G = R = gray.
void grayToBgr(const uint8_t* gray, size_t width, size_t height, size_t gray_stride, uint8_t* bgr,
               size_t bgr_stride);
// Exchanges bytes 0 and 2 of each pixel.
void swapChannels3(const uint8_t* src, size_t width, size_t height, size_t src_stride, uint8_t* dst,
                   size_t dst_stride);
// Byte k of each pixel goes to plane k.
void splitChannels3(const uint8_t* src, size_t src_stride, size_t width, size_t height,
                    uint8_t* dst0, size_t dst0_stride, uint8_t* dst1, size_t dst1_stride,
                    uint8_t* dst2, size_t dst2_stride);
// Plane k gives byte k of each pixel.
void mergeChannels3(const uint8_t* src0, size_t src0_stride, const uint8_t* src1,
                    size_t src1_stride, const uint8_t* src2, size_t src2_stride, size_t width,
                    size_t height, uint8_t* dst, size_t dst_stride);
// Y per pixel; U and V per 2x2 block, from the block's channel means rounded to bytes first.
void bgrToI420(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride, uint8_t* y,
               size_t y_stride, uint8_t* u, size_t u_stride, uint8_t* v, size_t v_stride);
void bgrToYuv444Planar(const uint8_t* bgr, size_t width, size_t height, size_t bgr_stride,
                       uint8_t* y, size_t y_stride, uint8_t* u, size_t u_stride, uint8_t* v,
                       size_t v_stride);
// Each chroma pair serves its 2x2 block, without interpolation.
void i420ToBgr(const uint8_t* y, size_t y_stride, const uint8_t* u, size_t u_stride,
               const uint8_t* v, size_t v_stride, size_t width, size_t height, uint8_t* bgr,
               size_t bgr_stride);
void yuv444PlanarToBgr(const uint8_t* y, size_t y_stride, const uint8_t* u, size_t u_stride,
                       const uint8_t* v, size_t v_stride, size_t width, size_t height, uint8_t* bgr,
                       size_t bgr_stride);
void splitUv(const uint8_t* uv, size_t uv_stride, size_t width, size_t height, uint8_t* u,
             size_t u_stride, uint8_t* v, size_t v_stride);
void mergeUv(const uint8_t* u, size_t u_stride, const uint8_t* v, size_t v_stride, size_t width,
             size_t height, uint8_t* uv, size_t uv_stride);
void copyPlane(const uint8_t* src, size_t src_stride, size_t width, size_t height,
               size_t pixel_size, uint8_t* dst, size_t dst_stride);

}  // namespace Simd
