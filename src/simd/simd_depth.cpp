// Depth conversion and arithmetic kernels. Each runs a body of four elements over count & ~3
// elements, computing all four before storing them, then a plain loop over the last 0 to 3; both
// apply the same per-element rule, so a value doesn't depend on its position.
#include "simd_depth.h"

#include <cmath>

#include "simd_math.h"

namespace Simd::Base {

namespace {

// dst[i] = value(i) for each i, in blocks of four.
template <class T, class F>
void mapBy4(size_t count, T* dst, F value) {
    const size_t body = count & ~size_t{3};
    size_t i = 0;
    for (; i < body; i += 4) {
        const T v0 = value(i), v1 = value(i + 1), v2 = value(i + 2), v3 = value(i + 3);
        dst[i] = v0;
        dst[i + 1] = v1;
        dst[i + 2] = v2;
        dst[i + 3] = v3;
    }
    for (; i < count; ++i) dst[i] = value(i);
}

// Half and float bit layouts: the exponent bias moves from 15 to 127, by 112 << 10 = 0x1C000 in a
// half pattern's units. 0x3FF is the largest half subnormal (exponent field 0), and 0x23BFF the
// largest finite half once rebiased: exponent 30 + 112 = 142, full mantissa.
constexpr uint32_t kBiasStep = 0x1C000;
constexpr uint32_t kHalfSubnormalMax = 0x3FF;
constexpr uint32_t kRebiasedFiniteMax = 0x23BFF;
constexpr int kMantissaDrop = 23 - 10;  // float mantissa bits that a half doesn't have

// Exact: normal and special patterns by shifting into place (infinities and NaNs move on to
// exponent 255, payload on top), zero and subnormals as m * 2^-24 in float.
inline float halfToFloatValue(uint16_t h) {
    uint32_t m = h & 0x7FFFu;
    if (m > kHalfSubnormalMax) m += kBiasStep;
    if (m > kRebiasedFiniteMax) m += kBiasStep;
    uint32_t bits;
    if (m > kHalfSubnormalMax)
        bits = m << kMantissaDrop;
    else
        bits = floatBits(static_cast<float>(m) * 0x1p-24f);  // 5.9604645e-8
    return bitsFloat(bits | (static_cast<uint32_t>(h >> 15) << 31));
}

// Truncating, from the bit pattern. No rounding anywhere: the dropped bits are lost.
inline uint16_t floatToHalfValue(float f) {
    const uint32_t x = floatBits(f);
    uint32_t a = x & 0x7FFFFFFFu;
    if (a <= 0x387FFFFFu) {
        // Below 2^-14, the smallest normal half: scale by 2^37 = 2^24 * 2^13 and truncate, which
        // leaves the subnormal mantissa in bits 13 and up. Exact, and below 2^23.
        a = static_cast<uint32_t>(truncToInt32(bitsFloat(a) * 0x1p37f));  // 137438953472.0
    }
    // Finite magnitudes above 65504 (0x477FE000), the largest half, become infinity.
    if (a >= 0x477FE001u && a <= 0x7F7FFFFFu) a = 0x7F800000u;
    // A NaN whose payload lies only in the dropped bits keeps the lowest half mantissa bit.
    if (a >= 0x7F800001u && a <= 0x7F801FFFu) a = 0x7F802000u;
    a >>= kMantissaDrop;
    if (a > kRebiasedFiniteMax) a -= kBiasStep;  // exponent 255 back to 143 ...
    if (a > kHalfSubnormalMax) a -= kBiasStep;   // ... and all normals from bias 127 to 15
    return static_cast<uint16_t>(a | ((x >> 16) & 0x8000u));
}

}  // namespace

void bytesToFloat(const uint8_t* src, size_t count, const float* lower, const float* upper,
                  float* dst) {
    const float lo = *lower;
    const float k = (*upper - lo) / 255.0f;  // 1.0 for the bounds 0 and 255: values pass as is
    mapBy4(count, dst, [=](size_t i) { return std::fmaf(k, static_cast<float>(src[i]), lo); });
}

void floatToBytes(const float* src, size_t count, const float* lower, const float* upper,
                  uint8_t* dst) {
    const float lo = *lower, hi = *upper;
    const float range = hi - lo;
    const float k = 255.0f / range;
    mapBy4(count, dst, [=](size_t i) {
        float x = src[i];
        if (!(lo < x)) x = lo;  // also NaN
        const float t = hi > x ? x - lo : range;
        // Truncation to an unsigned word, low 8 bits kept: 254.9 gives 254.
        return static_cast<uint8_t>(truncToUint32(k * t) & 0xFFu);
    });
}

void addConstantFloats(const float* value, float* dst, size_t count) {
    const float c = *value;
    mapBy4(count, dst, [=](size_t i) { return dst[i] + c; });
}

void mulAddFloats(const float* src, size_t count, const float* value, float* dst) {
    const float c = *value;
    mapBy4(count, dst, [=](size_t i) { return std::fmaf(c, src[i], dst[i]); });
}

void halfToFloat(const uint16_t* src, size_t count, float* dst) {
    mapBy4(count, dst, [=](size_t i) { return halfToFloatValue(src[i]); });
}

void floatToHalf(const float* src, size_t count, uint16_t* dst) {
    mapBy4(count, dst, [=](size_t i) { return floatToHalfValue(src[i]); });
}

}  // namespace Simd::Base

namespace Simd {

void bytesToFloat(const uint8_t* src, size_t count, const float* lower, const float* upper,
                  float* dst) {
    Base::bytesToFloat(src, count, lower, upper, dst);
}

void floatToBytes(const float* src, size_t count, const float* lower, const float* upper,
                  uint8_t* dst) {
    Base::floatToBytes(src, count, lower, upper, dst);
}

void addConstantFloats(const float* value, float* dst, size_t count) {
    Base::addConstantFloats(value, dst, count);
}

void mulAddFloats(const float* src, size_t count, const float* value, float* dst) {
    Base::mulAddFloats(src, count, value, dst);
}

void halfToFloat(const uint16_t* src, size_t count, float* dst) {
    Base::halfToFloat(src, count, dst);
}

void floatToHalf(const float* src, size_t count, uint16_t* dst) {
    Base::floatToHalf(src, count, dst);
}

}  // namespace Simd
