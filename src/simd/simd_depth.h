// Depth conversion and arithmetic on flat runs of elements. None allocates, fails or takes a
// stride: callers loop over rows when memory isn't contiguous. Bounds and constants are passed
// by address and read once, before the first element is written.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Simd {

namespace Base {

void bytesToFloat(const uint8_t* src, size_t count, const float* lower, const float* upper,
                  float* dst);
void floatToBytes(const float* src, size_t count, const float* lower, const float* upper,
                  uint8_t* dst);
void addConstantFloats(const float* value, float* dst, size_t count);
void mulAddFloats(const float* src, size_t count, const float* value, float* dst);
void halfToFloat(const uint16_t* src, size_t count, float* dst);
void floatToHalf(const float* src, size_t count, uint16_t* dst);

}  // namespace Base

// Entry points, forwarding to Base.

// dst = fma((upper - lower) / 255, src, lower).
void bytesToFloat(const uint8_t* src, size_t count, const float* lower, const float* upper,
                  float* dst);
// dst = 255 / (upper - lower) * (x - lower) with x held to [lower, upper], truncated (254.9 gives
// 254); NaN counts as lower.
void floatToBytes(const float* src, size_t count, const float* lower, const float* upper,
                  uint8_t* dst);
// dst += value.
void addConstantFloats(const float* value, float* dst, size_t count);
// dst = fma(value, src, dst): accumulates; start from zero for a plain product.
void mulAddFloats(const float* src, size_t count, const float* value, float* dst);
// Exact; NaNs keep payload and quietness.
void halfToFloat(const uint16_t* src, size_t count, float* dst);
// Truncates toward zero; finite magnitudes above 65504 give infinity; NaNs stay NaNs.
void floatToHalf(const float* src, size_t count, uint16_t* dst);

}  // namespace Simd
