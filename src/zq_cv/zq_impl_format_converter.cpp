#define ZQ_SOURCE_PATH "src/zq_cv/zq_impl_format_converter"
#include "zq_impl_format_converter.h"

#include <algorithm>
#include <cstring>

namespace zq {

namespace {

using u8 = unsigned char;

// ---------------------------------------------------------------- descriptions

// Field order: x_factor, y_factor, y_plane, v_plane, u_plane, y_offset,
// v_offset, u_offset, y_step, v_step, u_step.
constexpr FormatInfo kI420 = {2, 2, 0, 2, 1, 0, 0, 0, 1, 1, 1};
constexpr FormatInfo kYV12 = {2, 2, 0, 1, 2, 0, 0, 0, 1, 1, 1};
constexpr FormatInfo kNV12 = {2, 2, 0, 1, 1, 0, 1, 0, 1, 2, 2};
constexpr FormatInfo kNV21 = {2, 2, 0, 1, 1, 0, 0, 1, 1, 2, 2};
constexpr FormatInfo kYV16 = {2, 1, 0, 1, 2, 0, 0, 0, 1, 1, 1};
constexpr FormatInfo kYUYV = {2, 1, 0, 0, 0, 0, 3, 1, 2, 4, 4};
constexpr FormatInfo kUYVY = {2, 1, 0, 0, 0, 1, 2, 0, 2, 4, 4};
constexpr FormatInfo kNV16 = {2, 1, 0, 1, 1, 0, 1, 0, 1, 2, 2};
constexpr FormatInfo kYUV24 = {1, 1, 0, 0, 0, 0, 2, 1, 3, 3, 3};
constexpr FormatInfo kYUV444P = {1, 1, 0, 2, 1, 0, 0, 0, 1, 1, 1};

bool isLumaChroma(FrameFormat format) {
    return format >= ZQ_FRAME_I420 && format <= ZQ_FRAME_YUV444_PLANAR;
}

// Fills `info` for a luma/chroma format. The RGB, BGR, gray and float formats
// have no description: the record is left exactly as it was (the converter
// relies on that, a later pair may read what an earlier one wrote). Any other
// number is refused, after the I420 values have been written.
void getFormatInfo(FrameFormat format, FormatInfo& info) {
    switch (format) {
        case ZQ_FRAME_GRAY8:
        case ZQ_FRAME_RGB24:
        case ZQ_FRAME_RGB24_PLANAR:
        case ZQ_FRAME_BGR24:
        case ZQ_FRAME_BGR24_PLANAR:
        case ZQ_FRAME_BGR32F:
        case ZQ_FRAME_BGR32F_PLANAR:
            return;
        default:
            break;
    }
    info = kI420;
    switch (format) {
        case ZQ_FRAME_I420:
            return;
        case ZQ_FRAME_YV12:
            info = kYV12;
            return;
        case ZQ_FRAME_NV12:
            info = kNV12;
            return;
        case ZQ_FRAME_NV21:
            info = kNV21;
            return;
        case ZQ_FRAME_YV16:
            info = kYV16;
            return;
        case ZQ_FRAME_YUYV:
            info = kYUYV;
            return;
        case ZQ_FRAME_UYVY:
            info = kUYVY;
            return;
        case ZQ_FRAME_NV16:
            info = kNV16;
            return;
        case ZQ_FRAME_YUV24:
            info = kYUV24;
            return;
        case ZQ_FRAME_YUV444_PLANAR:
            info = kYUV444P;
            return;
        default:
            ZQ_THROW(ZQ_STATUS_INVALID_FORMAT,
                     "Failure in ImplFormatConverter::get_context(...) : unsupported format.");
    }
}

// Name of the luma/chroma format whose description `info` is (each has its
// own), for messages.
const char* describedFormat(const FormatInfo& info) {
    for (int f = ZQ_FRAME_I420; f <= ZQ_FRAME_YUV444_PLANAR; ++f) {
        FormatInfo known;
        getFormatInfo(FrameFormat(f), known);
        if (std::memcmp(&known, &info, sizeof info) == 0) return toString(FrameFormat(f));
    }
    return "no format";
}

// ------------------------------------------------------------ colour matrices

// BGR to studio-swing YCbCr (BT.601), weights in 8.8 fixed point:
//   Y  = ( 25 B + 129 G +  65 R + 4096) >> 8     0.098, 0.504, 0.257 of 256
//   Cb = (112 B -  74 G -  38 R + 32768) >> 8    0.439, 0.291, 0.148 of 256
//   Cr = (-18 B -  94 G + 112 R + 32768) >> 8    0.071, 0.368, 0.439 of 256
// 4096 is 16 and 32768 is 128 in 8.8. No rounding term and no clamp: the
// terms stay in 4096..59941 (Y) and 4208..61328 (U, V), so Y lands in 16..234
// and U, V in 16..239, and a sum of four chroma terms is below 2^18. The
// chroma terms are formed in uint32: the negative products wrap and the
// offset brings the total back, which is exact modulo 2^32.
static_assert(4u * (112u * 255u + 32768u) < (1u << 18), "a 2x2 chroma sum fits 18 bits");
static_assert((219u * 255u + 4096u) >> 8 == 234u, "Y tops out at video white");

inline uint32_t lumaTerm(const u8* bgr) {
    return 25u * bgr[0] + 129u * bgr[1] + 65u * bgr[2] + 4096u;
}
inline uint32_t uTerm(const u8* bgr) {
    return 112u * bgr[0] - 74u * bgr[1] - 38u * bgr[2] + 32768u;
}
inline uint32_t vTerm(const u8* bgr) {
    return 112u * bgr[2] - 94u * bgr[1] - 18u * bgr[0] + 32768u;
}

inline u8 clampByte(int32_t value) {
    return u8(value < 0 ? 0 : (value > 255 ? 255 : value));
}

// Studio-swing YCbCr to BGR, 8.8 fixed point: 297 = 1.164 * 256 (rounded
// down), 516 = 2.018, 408 = 1.596, 207 = 0.813, 100 = 0.391 of 256. The
// division truncates toward zero (C++ `/`), then the result is clamped to a
// byte. |c| <= 297 * 239 and every term stays below 2^18: int32 is ample.
// Not the inverse of the forward matrix: white comes back as 252.
inline void yuvToBgr(int32_t y, int32_t u, int32_t v, u8* bgr) {
    const int32_t c = 297 * (y - 16);
    const int32_t cu = u - 128;
    const int32_t cv = v - 128;
    bgr[0] = clampByte((c + 516 * cu) / 256);
    bgr[1] = clampByte((c - 207 * cv - 100 * cu) / 256);
    bgr[2] = clampByte((c + 408 * cv) / 256);
}

// Full-range gray, 8.8 weights 28 + 152 + 76 = 256 (0.114, 0.587, 0.299
// rounded to fit), truncated; white stays 255.
inline u8 grayOf(const u8* bgr) {
    return u8((28u * bgr[0] + 152u * bgr[1] + 76u * bgr[2]) >> 8);
}

// Float to byte as the float formats define it: truncate toward zero and
// saturate to uint32 (NaN and negatives give 0, 2^32 and above give all ones),
// then keep the low 8 bits. 256.0 gives 0 and 300.0 gives 44: no clamp to 255.
inline u8 floatToByte(float value) {
    uint32_t whole;
    if (!(value > 0.0f))  // negative, zero or NaN
        whole = 0;
    else if (value >= 4294967296.0f)
        whole = 0xFFFFFFFFu;
    else
        whole = uint32_t(value);  // in (0, 2^32): the conversion truncates
    return u8(whole & 0xFFu);
}

// --------------------------------------------------------- forward row kernels

void bgrToLuma(const u8* bgr, u8* y, int width) {
    for (int x = 0; x < width; ++x) y[x] = u8(lumaTerm(bgr + 3 * x) >> 8);
}

// Y for every pixel and one U, V pair per two columns. Columns 2k and 2k + 1
// form a cell; with a second row each column adds both of its pixels. The
// terms of a cell are summed with their offsets and shifted once: by 10 for
// four pixels, 9 for two, 8 for one (the last column of an odd width). The
// sums are exact modulo 2^32 in any order, so each block of kPixelBlock
// pixels first takes Y and the column terms pixel by pixel, then the cells
// from the column terms: two plain loops that vectorise, with the steps of Y
// and of the chroma samples as template arguments. Source rows and the Y, U
// and V bytes never overlap.
constexpr int kPixelBlock = 64;  // even: cells never straddle two blocks

template <bool kTwoRows, int kYStep, int kUvStep>
void bgrToYuvCells(const u8* __restrict row0, const u8* __restrict row1, u8* __restrict y,
                   u8* __restrict u, u8* __restrict v, int width) {
    constexpr int kCellShift = kTwoRows ? 10 : 9;
    constexpr int kLastShift = kTwoRows ? 9 : 8;
    uint32_t u_terms[kPixelBlock], v_terms[kPixelBlock];
    for (int x0 = 0; x0 < width; x0 += kPixelBlock) {
        const int n = std::min(kPixelBlock, width - x0);
        const u8* a = row0 + 3 * x0;
        const u8* b = kTwoRows ? row1 + 3 * x0 : nullptr;
        u8* ys = y + x0 * kYStep;
        for (int x = 0; x < n; ++x) {
            ys[x * kYStep] = u8(lumaTerm(a + 3 * x) >> 8);
            u_terms[x] = uTerm(a + 3 * x);
            v_terms[x] = vTerm(a + 3 * x);
            if constexpr (kTwoRows) {
                u_terms[x] += uTerm(b + 3 * x);
                v_terms[x] += vTerm(b + 3 * x);
            }
        }
        const int cells = n >> 1;
        u8* us = u + (x0 >> 1) * kUvStep;
        u8* vs = v + (x0 >> 1) * kUvStep;
        for (int k = 0; k < cells; ++k) {
            us[k * kUvStep] = u8((u_terms[2 * k] + u_terms[2 * k + 1]) >> kCellShift);
            vs[k * kUvStep] = u8((v_terms[2 * k] + v_terms[2 * k + 1]) >> kCellShift);
        }
        if (n & 1) {
            us[cells * kUvStep] = u8(u_terms[n - 1] >> kLastShift);
            vs[cells * kUvStep] = u8(v_terms[n - 1] >> kLastShift);
        }
    }
}

// 4:2:0 cells: 2x2, or 2x1 when the source has no second row.
template <int kUvStep>
void bgrToYuv420Cells(const RowData* const* rows, u8* y, u8* u, u8* v, int width) {
    const u8* row0 = rows[0]->plane[0];
    if (rows[1])
        bgrToYuvCells<true, 1, kUvStep>(row0, rows[1]->plane[0], y, u, v, width);
    else
        bgrToYuvCells<false, 1, kUvStep>(row0, nullptr, y, u, v, width);
}

// One U, V pair per pixel, each by the shift of 8.
void bgrToYuv444(const u8* bgr, u8* y, u8* u, u8* v, int step, int width) {
    for (int x = 0; x < width; ++x) {
        const u8* p = bgr + 3 * x;
        const int at = x * step;
        y[at] = u8(lumaTerm(p) >> 8);
        u[at] = u8(uTerm(p) >> 8);
        v[at] = u8(vTerm(p) >> 8);
    }
}

void convertBgrToYuv420P(const RowData* const* rows, RowData& dst, int width,
                         const ImplFormatConverter& impl) {
    if (width < 1) return;
    if (!dst.plane[1] || !dst.plane[2]) {  // an output row without chroma
        bgrToLuma(rows[0]->plane[0], dst.plane[0], width);
        return;
    }
    const FormatInfo& info = impl.dstInfo();
    bgrToYuv420Cells<1>(rows, dst.plane[0], dst.plane[info.u_plane], dst.plane[info.v_plane],
                        width);
}

void convertBgrToYuv420SP(const RowData* const* rows, RowData& dst, int width,
                          const ImplFormatConverter& impl) {
    if (width < 1) return;
    if (!dst.plane[1]) {  // an output row without chroma
        bgrToLuma(rows[0]->plane[0], dst.plane[0], width);
        return;
    }
    const FormatInfo& info = impl.dstInfo();
    bgrToYuv420Cells<2>(rows, dst.plane[0], dst.plane[1] + info.u_offset,
                        dst.plane[1] + info.v_offset, width);
}

void convertBgrToYv16(const RowData* const* rows, RowData& dst, int width,
                      const ImplFormatConverter&) {
    if (width < 1) return;
    bgrToYuvCells<false, 1, 1>(rows[0]->plane[0], nullptr, dst.plane[0], dst.plane[2], dst.plane[1],
                               width);
}

void convertBgrToYuv422Packed(const RowData* const* rows, RowData& dst, int width,
                              const ImplFormatConverter& impl) {
    if (width < 1) return;
    const FormatInfo& info = impl.dstInfo();
    u8* row = dst.plane[0];
    bgrToYuvCells<false, 2, 4>(rows[0]->plane[0], nullptr, row + info.y_offset, row + info.u_offset,
                               row + info.v_offset, width);
    // At an odd width the last macropixel has no second pixel: its luma byte
    // is written as 0 so that the whole 4-byte group is defined.
    if (width & 1) row[info.y_offset + 2 * width] = 0;
}

void convertBgrToNv16(const RowData* const* rows, RowData& dst, int width,
                      const ImplFormatConverter&) {
    if (width < 1) return;
    bgrToYuvCells<false, 1, 2>(rows[0]->plane[0], nullptr, dst.plane[0], dst.plane[1],
                               dst.plane[1] + 1, width);
}

void convertBgrToYuv24(const RowData* const* rows, RowData& dst, int width,
                       const ImplFormatConverter&) {
    if (width < 1) return;
    u8* row = dst.plane[0];
    bgrToYuv444(rows[0]->plane[0], row, row + 1, row + 2, 3, width);
}

void convertBgrToYuv444P(const RowData* const* rows, RowData& dst, int width,
                         const ImplFormatConverter&) {
    if (width < 1) return;
    bgrToYuv444(rows[0]->plane[0], dst.plane[0], dst.plane[1], dst.plane[2], 1, width);
}

// -------------------------------------------------------- backward row kernels

// Each pixel has its own chroma sample; sample x lies at byte x * uv_step of
// `u` and `v`.
void yuvToBgrRow(const u8* y, int y_step, const u8* u, const u8* v, int uv_step, u8* bgr,
                 int width) {
    for (int x = 0; x < width; ++x)
        yuvToBgr(y[x * y_step], u[x * uv_step], v[x * uv_step], bgr + 3 * x);
}

// x / 256 truncated toward zero, as C++ divides: a negative x is moved up by
// 255 before the arithmetic shift. Written out because the compiler
// vectorises this form and not the division.
inline int32_t divide256(int32_t x) {
    return (x + ((x >> 31) & 255)) >> 8;
}

// Pixels 2k and 2k + 1 share chroma sample k (no interpolation), at byte
// k * kUvStep of `u` and `v`. In blocks of kCellBlock cells: the chroma terms
// of yuvToBgr once per cell, spread to both pixels, then one plain loop over
// the pixels; the steps are template arguments. The sums are those of
// yuvToBgr in int32 without overflow, so grouping the chroma terms first
// changes nothing.
constexpr int kCellBlock = 32;

template <int kYStep, int kUvStep>
void yuvToBgrCells(const u8* y, const u8* u, const u8* v, u8* bgr, int width) {
    int32_t blue[2 * kCellBlock], green[2 * kCellBlock], red[2 * kCellBlock];
    const int cells = width >> 1;
    for (int k0 = 0; k0 < cells; k0 += kCellBlock) {
        const int n = std::min(kCellBlock, cells - k0);
        for (int k = 0; k < n; ++k) {
            const int32_t cu = int32_t(u[(k0 + k) * kUvStep]) - 128;
            const int32_t cv = int32_t(v[(k0 + k) * kUvStep]) - 128;
            blue[2 * k] = blue[2 * k + 1] = 516 * cu;
            green[2 * k] = green[2 * k + 1] = -207 * cv - 100 * cu;
            red[2 * k] = red[2 * k + 1] = 408 * cv;
        }
        const u8* ys = y + 2 * k0 * kYStep;
        u8* out = bgr + 6 * k0;
        for (int x = 0; x < 2 * n; ++x) {
            const int32_t c = 297 * (int32_t(ys[x * kYStep]) - 16);
            out[3 * x] = clampByte(divide256(c + blue[x]));
            out[3 * x + 1] = clampByte(divide256(c + green[x]));
            out[3 * x + 2] = clampByte(divide256(c + red[x]));
        }
    }
    if (width & 1)
        yuvToBgr(y[(width - 1) * kYStep], u[cells * kUvStep], v[cells * kUvStep],
                 bgr + 3 * (width - 1));
}

void convertYuv420PToBgr(const RowData* const* rows, RowData& dst, int width,
                         const ImplFormatConverter& impl) {
    if (width < 1) return;
    const FormatInfo& info = impl.srcInfo();
    const RowData& src = *rows[0];
    yuvToBgrCells<1, 1>(src.plane[0], src.plane[info.u_plane], src.plane[info.v_plane],
                        dst.plane[0], width);
}

void convertYuv420SPToBgr(const RowData* const* rows, RowData& dst, int width,
                          const ImplFormatConverter& impl) {
    if (width < 1) return;
    const FormatInfo& info = impl.srcInfo();
    const RowData& src = *rows[0];
    yuvToBgrCells<1, 2>(src.plane[0], src.plane[1] + info.u_offset, src.plane[1] + info.v_offset,
                        dst.plane[0], width);
}

void convertYv16ToBgr(const RowData* const* rows, RowData& dst, int width,
                      const ImplFormatConverter&) {
    if (width < 1) return;
    const RowData& src = *rows[0];
    yuvToBgrCells<1, 1>(src.plane[0], src.plane[2], src.plane[1], dst.plane[0], width);
}

void convertYuv422PackedToBgr(const RowData* const* rows, RowData& dst, int width,
                              const ImplFormatConverter& impl) {
    if (width < 1) return;
    const FormatInfo& info = impl.srcInfo();
    const u8* row = rows[0]->plane[0];
    yuvToBgrCells<2, 4>(row + info.y_offset, row + info.u_offset, row + info.v_offset, dst.plane[0],
                        width);
}

void convertNv16ToBgr(const RowData* const* rows, RowData& dst, int width,
                      const ImplFormatConverter&) {
    if (width < 1) return;
    const RowData& src = *rows[0];
    yuvToBgrCells<1, 2>(src.plane[0], src.plane[1], src.plane[1] + 1, dst.plane[0], width);
}

void convertYuv24ToBgr(const RowData* const* rows, RowData& dst, int width,
                       const ImplFormatConverter&) {
    if (width < 1) return;
    const u8* row = rows[0]->plane[0];
    yuvToBgrRow(row, 3, row + 1, row + 2, 3, dst.plane[0], width);
}

void convertYuv444PToBgr(const RowData* const* rows, RowData& dst, int width,
                         const ImplFormatConverter&) {
    if (width < 1) return;
    const RowData& src = *rows[0];
    yuvToBgrRow(src.plane[0], 1, src.plane[1], src.plane[2], 1, dst.plane[0], width);
}

// ------------------------------------------------- gray and rearrangement kernels

void convertBgrToGray(const RowData* const* rows, RowData& dst, int width,
                      const ImplFormatConverter&) {
    if (width < 1) return;
    const u8* bgr = rows[0]->plane[0];
    u8* gray = dst.plane[0];
    for (int x = 0; x < width; ++x) gray[x] = grayOf(bgr + 3 * x);
}

void convertGrayToBgr(const RowData* const* rows, RowData& dst, int width,
                      const ImplFormatConverter&) {
    if (width < 1) return;
    const u8* gray = rows[0]->plane[0];
    u8* bgr = dst.plane[0];
    for (int x = 0; x < width; ++x) bgr[3 * x] = bgr[3 * x + 1] = bgr[3 * x + 2] = gray[x];
}

void convertExtractLuma(const RowData* const* rows, RowData& dst, int width,
                        const ImplFormatConverter& impl) {
    if (width < 1) return;
    const FormatInfo& info = impl.srcInfo();
    const u8* y = rows[0]->plane[info.y_plane] + info.y_offset;
    u8* gray = dst.plane[0];
    for (int x = 0; x < width; ++x) gray[x] = y[x * info.y_step];
}

// Serves RGB24 -> BGR24 and BGR24 -> RGB24 alike.
void convertSwapRedBlue(const RowData* const* rows, RowData& dst, int width,
                        const ImplFormatConverter&) {
    if (width < 1) return;
    const u8* s = rows[0]->plane[0];
    u8* d = dst.plane[0];
    for (int x = 0; x < 3 * width; x += 3) {
        const u8 first = s[x];
        const u8 last = s[x + 2];
        d[x] = last;
        d[x + 1] = s[x + 1];
        d[x + 2] = first;
    }
}

void convertPlanarToPacked(const RowData* const* rows, RowData& dst, int width,
                           const ImplFormatConverter&) {
    if (width < 1) return;
    const RowData& src = *rows[0];
    u8* d = dst.plane[0];
    for (int p = 0; p < 3; ++p) {
        const u8* s = src.plane[p];
        for (int x = 0; x < width; ++x) d[3 * x + p] = s[x];
    }
}

void convertPackedToPlanar(const RowData* const* rows, RowData& dst, int width,
                           const ImplFormatConverter&) {
    if (width < 1) return;
    const u8* s = rows[0]->plane[0];
    for (int p = 0; p < 3; ++p) {
        u8* d = dst.plane[p];
        for (int x = 0; x < width; ++x) d[x] = s[3 * x + p];
    }
}

// Gray into any luma/chroma format, with chroma 0 (not the neutral 128).
void convertGrayToYuv(const RowData* const* rows, RowData& dst, int width,
                      const ImplFormatConverter& impl) {
    if (width < 1) return;
    const FormatInfo& info = impl.dstInfo();
    const u8* gray = rows[0]->plane[0];
    u8* y = dst.plane[info.y_plane] + info.y_offset;
    if (!dst.plane[info.v_plane] || !dst.plane[info.u_plane]) {
        // Only planar formats, whose Y step is 1, have rows without chroma.
        std::memcpy(y, gray, size_t(width));
        return;
    }
    u8* v = dst.plane[info.v_plane] + info.v_offset;
    u8* u = dst.plane[info.u_plane] + info.u_offset;
    int cell = 0;
    int phase = 0;
    for (int x = 0; x < width; ++x) {
        y[x * info.y_step] = gray[x];
        if (++phase == info.x_factor) {
            v[cell * info.v_step] = 0;
            u[cell * info.u_step] = 0;
            ++cell;
            phase = 0;
        }
    }
    if (width % info.x_factor != 0) {
        v[cell * info.v_step] = 0;
        u[cell * info.u_step] = 0;
    }
}

// ------------------------------------------------------------- float kernels

// The float formats carry byte values (0.0 to 255.0), not a normalised range.
// Floats are moved with memcpy: rows are byte addresses.

void convertBgrToFloat(const RowData* const* rows, RowData& dst, int width,
                       const ImplFormatConverter&) {
    if (width < 1) return;
    const u8* s = rows[0]->plane[0];
    u8* d = dst.plane[0];
    for (int i = 0; i < 3 * width; ++i) {
        const float value = float(s[i]);
        std::memcpy(d + 4 * i, &value, sizeof value);
    }
}

void convertBgrToFloatPlanar(const RowData* const* rows, RowData& dst, int width,
                             const ImplFormatConverter&) {
    if (width < 1) return;
    const u8* s = rows[0]->plane[0];
    for (int p = 0; p < 3; ++p) {
        u8* d = dst.plane[p];
        for (int x = 0; x < width; ++x) {
            const float value = float(s[3 * x + p]);
            std::memcpy(d + 4 * x, &value, sizeof value);
        }
    }
}

void convertFloatToBgr(const RowData* const* rows, RowData& dst, int width,
                       const ImplFormatConverter&) {
    if (width < 1) return;
    const u8* s = rows[0]->plane[0];
    u8* d = dst.plane[0];
    for (int i = 0; i < 3 * width; ++i) {
        float value;
        std::memcpy(&value, s + 4 * i, sizeof value);
        d[i] = floatToByte(value);
    }
}

// ------------------------------------------------------ luma/chroma to luma/chroma

// Works from the two descriptions alone. Y is copied; each destination chroma
// sample is the plain average (truncating division) of every source sample
// read over the pixels and rows of its cell, a source sample counting once for
// each luma pixel it covers. The source has `y_factor` of the destination rows
// in view; the second is absent at the bottom of an odd-height frame.
void convertYuvToYuv(const RowData* const* rows, RowData& dst, int width,
                     const ImplFormatConverter& impl) {
    if (width < 1) return;
    const FormatInfo& si = impl.srcInfo();
    const FormatInfo& di = impl.dstInfo();
    const u8* s_y = rows[0]->plane[si.y_plane] + si.y_offset;
    u8* d_y = dst.plane[di.y_plane] + di.y_offset;

    if (!dst.plane[di.v_plane] || !dst.plane[di.u_plane]) {
        for (int x = 0; x < width; ++x) d_y[x * di.y_step] = s_y[x * si.y_step];
        return;
    }

    u8* d_v = dst.plane[di.v_plane] + di.v_offset;
    u8* d_u = dst.plane[di.u_plane] + di.u_offset;
    // Read positions of each source row; all of them move together, so one
    // byte index per chroma component serves every row.
    const int ny = di.y_factor < 2 ? di.y_factor : 2;
    const u8* s_v[2] = {nullptr, nullptr};
    const u8* s_u[2] = {nullptr, nullptr};
    for (int i = 0; i < ny; ++i) {
        if (!rows[i]) continue;
        s_v[i] = rows[i]->plane[si.v_plane] + si.v_offset;
        s_u[i] = rows[i]->plane[si.u_plane] + si.u_offset;
    }

    // Sums of at most 2 * 2 samples of 255: far from the uint32 limit.
    uint32_t v_sum = 0;
    uint32_t u_sum = 0;
    uint32_t count = 0;
    int s_phase = 0;
    int d_phase = 0;
    int s_v_at = 0;
    int s_u_at = 0;
    int d_v_at = 0;
    int d_u_at = 0;
    for (int x = 0; x < width; ++x) {
        d_y[x * di.y_step] = s_y[x * si.y_step];
        for (int i = 0; i < ny; ++i) {
            if (!s_v[i]) continue;
            v_sum += s_v[i][s_v_at];
            u_sum += s_u[i][s_u_at];
            ++count;
        }
        if (++s_phase == si.x_factor) {
            s_v_at += si.v_step;
            s_u_at += si.u_step;
            s_phase = 0;
        }
        if (++d_phase == di.x_factor) {
            d_v[d_v_at] = u8(count ? v_sum / count : 0);
            d_u[d_u_at] = u8(count ? u_sum / count : 0);
            d_v_at += di.v_step;
            d_u_at += di.u_step;
            v_sum = u_sum = count = 0;
            d_phase = 0;
        }
    }
    if (d_phase != 0) {
        d_v[d_v_at] = u8(count ? v_sum / count : 0);
        d_u[d_u_at] = u8(count ? u_sum / count : 0);
    }
}

}  // namespace

// ------------------------------------------------------------------- the engine

ImplFormatConverter::ImplFormatConverter()
    : _src_info{}, _dst_info{}, _width(0), _initialized(0), _convert_row(nullptr) {}

void ImplFormatConverter::reuse(FrameFormat src_format, FrameFormat dst_format, int width,
                                int* window_size) {
    if (!window_size)
        ZQ_THROW(ZQ_STATUS_INVALID_FORMAT,
                 "Failure in ImplFormatConverter::reuse(...) : Null pointer to window size.");
    _convert_row = nullptr;
    get_context(src_format, dst_format, window_size);
    _width = width;
    _initialized = 1;
}

void ImplFormatConverter::get_context(FrameFormat src_format, FrameFormat dst_format,
                                      int* window_size) {
    getFormatInfo(src_format, _src_info);
    getFormatInfo(dst_format, _dst_info);
    if (src_format == ZQ_FRAME_BGR32F_PLANAR)
        ZQ_THROW(ZQ_STATUS_INVALID_FORMAT,
                 "Failure in ImplFormatConverter::get_context(...) : unsupported format.");

    // BGR24 is the hub; any two luma/chroma formats share the generic function.
    ConvertRowFunction function = nullptr;
    int rows = 1;
    switch (src_format) {
        case ZQ_FRAME_GRAY8:
            if (dst_format == ZQ_FRAME_BGR24)
                function = convertGrayToBgr;
            else if (isLumaChroma(dst_format))
                function = convertGrayToYuv;
            break;
        case ZQ_FRAME_RGB24:
            if (dst_format == ZQ_FRAME_BGR24) function = convertSwapRedBlue;
            break;
        case ZQ_FRAME_RGB24_PLANAR:
            if (dst_format == ZQ_FRAME_RGB24) function = convertPlanarToPacked;
            break;
        case ZQ_FRAME_BGR24_PLANAR:
            if (dst_format == ZQ_FRAME_BGR24) function = convertPlanarToPacked;
            break;
        case ZQ_FRAME_BGR32F:
            if (dst_format == ZQ_FRAME_BGR24) function = convertFloatToBgr;
            break;
        case ZQ_FRAME_BGR24:
            switch (dst_format) {
                case ZQ_FRAME_GRAY8:
                    function = convertBgrToGray;
                    break;
                case ZQ_FRAME_RGB24:
                    function = convertSwapRedBlue;
                    break;
                case ZQ_FRAME_BGR24_PLANAR:
                    function = convertPackedToPlanar;
                    break;
                case ZQ_FRAME_I420:
                case ZQ_FRAME_YV12:
                    function = convertBgrToYuv420P;
                    rows = 2;  // chroma of rows 2k and 2k + 1
                    break;
                case ZQ_FRAME_NV12:
                case ZQ_FRAME_NV21:
                    function = convertBgrToYuv420SP;
                    rows = 2;
                    break;
                case ZQ_FRAME_YV16:
                    function = convertBgrToYv16;
                    break;
                case ZQ_FRAME_YUYV:
                case ZQ_FRAME_UYVY:
                    function = convertBgrToYuv422Packed;
                    break;
                case ZQ_FRAME_NV16:
                    function = convertBgrToNv16;
                    break;
                case ZQ_FRAME_YUV24:
                    function = convertBgrToYuv24;
                    break;
                case ZQ_FRAME_YUV444_PLANAR:
                    function = convertBgrToYuv444P;
                    break;
                case ZQ_FRAME_BGR32F:
                    function = convertBgrToFloat;
                    break;
                case ZQ_FRAME_BGR32F_PLANAR:
                    function = convertBgrToFloatPlanar;
                    break;
                default:
                    break;
            }
            break;
        case ZQ_FRAME_I420:
        case ZQ_FRAME_YV12:
        case ZQ_FRAME_NV12:
        case ZQ_FRAME_NV21:
        case ZQ_FRAME_YV16:
        case ZQ_FRAME_YUYV:
        case ZQ_FRAME_UYVY:
        case ZQ_FRAME_NV16:
        case ZQ_FRAME_YUV24:
        case ZQ_FRAME_YUV444_PLANAR:
            if (dst_format == ZQ_FRAME_BGR24) {
                switch (src_format) {
                    case ZQ_FRAME_I420:
                    case ZQ_FRAME_YV12:
                        function = convertYuv420PToBgr;
                        break;
                    case ZQ_FRAME_NV12:
                    case ZQ_FRAME_NV21:
                        function = convertYuv420SPToBgr;
                        break;
                    case ZQ_FRAME_YV16:
                        function = convertYv16ToBgr;
                        break;
                    case ZQ_FRAME_YUYV:
                    case ZQ_FRAME_UYVY:
                        function = convertYuv422PackedToBgr;
                        break;
                    case ZQ_FRAME_NV16:
                        function = convertNv16ToBgr;
                        break;
                    case ZQ_FRAME_YUV24:
                        function = convertYuv24ToBgr;
                        break;
                    default:
                        function = convertYuv444PToBgr;
                        break;
                }
            } else if (dst_format == ZQ_FRAME_GRAY8) {
                function = convertExtractLuma;
            } else {
                // Every other destination that has a place here, without
                // looking further: for one without a description the record
                // is whatever an earlier call left in it (zeros when new, and
                // then the window size of 0 is refused by the window; else
                // checkDestination refuses a layout that its rows cannot hold).
                function = convertYuvToYuv;
                rows = _dst_info.y_factor;
            }
            break;
        default:
            break;
    }
    if (!function)
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                 "Failure in ImplFormatConverter::get_context(...) : unsupported format.");
    _convert_row = function;
    if (window_size) *window_size = rows;
}

// Where the generic function runs on a description that is not the
// destination's own, it writes `width` Y bytes from y_offset by y_step into
// plane y_plane, and, when the row has both chroma planes, one V and one U for
// each cell of x_factor pixels (the last cell part-filled at a width that is
// not a multiple), from v_offset and u_offset by their steps. A run of n bytes
// from `offset` by `step` ends at offset + (n - 1) * step + 1, which must not
// pass the plane's row_bytes: those are all the bytes the caller's row holds.
// Offsets are below 4, steps at most 4, the width below 2^31: int64 is exact.
void ImplFormatConverter::checkDestination(FrameFormat src_format,
                                           const FrameLayout& dst_layout) const {
    if (_convert_row != convertYuvToYuv || isLumaChroma(dst_layout.format) || _width < 1) return;
    const FormatInfo& d = _dst_info;
    const auto fits = [&](int32_t plane, int32_t offset, int64_t count, int32_t step) {
        return plane >= 0 && plane < dst_layout.plane_count &&
               offset + (count - 1) * step + 1 <= dst_layout.planes[plane].row_bytes;
    };
    bool fit = d.x_factor > 0 && fits(d.y_plane, d.y_offset, _width, d.y_step);
    if (fit && d.v_plane < dst_layout.plane_count && d.u_plane < dst_layout.plane_count) {
        const int64_t cells = (int64_t(_width) + d.x_factor - 1) / d.x_factor;
        fit = fits(d.v_plane, d.v_offset, cells, d.v_step) &&
              fits(d.u_plane, d.u_offset, cells, d.u_step);
    }
    if (!fit)
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                 "Failure in ImplFormatConverter::checkDestination(...) : %s to %s has no "
                 "conversion of its own, and the rows laid out as %s before do not fit its rows "
                 "of %d pixels.",
                 toString(src_format), toString(dst_layout.format), describedFormat(d), _width);
}

void ImplFormatConverter::produce(const RowData* const* rows, RowData& dst) {
    // Past the last source row there is nothing to convert.
    if (_convert_row && rows[0]) _convert_row(rows, dst, _width, *this);
}

}  // namespace zq
