// Free functions for callers who want one result and no objects.
#pragma once

#include "zq/core.h"
#include "zq/scaler.h"

namespace zq {

/// Resizes `src` into `dst` (reallocated at `dst_size` in the source format)
/// with the vector backend. An uninitialized source or an empty size leaves
/// `dst` cleared. Asserts a method of ResizeBilinear or ResizeArea.
ZQ_CV_API void resizeFrame(const Frame& src, const Size& dst_size, Frame& dst, ResizeMethod method);
/// Converts `src` into `dst` (reallocated in `dst_format` at the source size)
/// with the vector backend. An uninitialized source or format 0 leaves `dst`
/// cleared.
ZQ_CV_API void colorConvert(const Frame& src, FrameFormat dst_format, Frame& dst);
/// Half to single precision, `count` elements; `src` and `dst` must not overlap.
ZQ_CV_API void convertFp16ToFp32(const unsigned short* src, unsigned int count, float* dst);
/// Single to half precision, truncating; `count` elements, no overlap.
ZQ_CV_API void convertFp32ToFp16(const float* src, unsigned int count, unsigned short* dst);
/// A TENSOR_FLOAT_32 copy of a TENSOR_FLOAT_16 tensor, strides doubled, padding
/// converted along. Asserts a half-precision source on the CPU. Throws
/// ZQ_STATUS_OUT_OF_RANGE, leaving `dst` as it was, when a doubled stride or
/// the doubled total does not fit 32 bits.
ZQ_CV_API void tensorFp16ToFp32(const Tensor& src, Tensor& dst);

}  // namespace zq
