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
        storeAt(dst, i, v0);
        storeAt(dst, i + 1, v1);
        storeAt(dst, i + 2, v2);
        storeAt(dst, i + 3, v3);
    }
    for (; i < count; ++i) storeAt(dst, i, value(i));
}

// Half and float bit layouts: the exponent bias moves from 15 to 127, by 112 << 10 = 0x1C000 in a
// half pattern's units. 0x3FF is the largest half subnormal (exponent field 0), and 0x23BFF the
// largest finite half once rebiased: exponent 30 + 112 = 142, full mantissa.
constexpr uint32_t kBiasStep = 0x1C000;
constexpr uint32_t kHalfSubnormalMax = 0x3FF;
constexpr uint32_t kRebiasedFiniteMax = 0x23BFF;
constexpr int kMantissaDrop = 23 - 10;  // float mantissa bits that a half doesn't have

// `condition ? a : b` through a mask, which keeps the compiler from turning the choice back into
// a branch around the costlier candidate: both are computed for every element.
inline uint32_t select(bool condition, uint32_t a, uint32_t b) {
    const uint32_t mask = 0u - static_cast<uint32_t>(condition);
    return b ^ ((a ^ b) & mask);
}

// Exact: normal and special patterns by shifting into place (infinities and NaNs move on to
// exponent 255, payload on top), zero and subnormals as m * 2^-24 in float.
//
// Written without branches: both candidates are computed and one is selected, so that a block of
// four becomes a few vector operations. The choices test the exponent field for equality only,
// which every vector unit does on 32-bit lanes.
inline float halfToFloatValue(uint16_t h) {
    const uint32_t hw = h;  // widened first, so that every step works on 32-bit lanes
    const uint32_t m0 = hw & 0x7FFFu;
    const uint32_t exponent = hw & 0x7C00u;
    // The steps above, folded: m0 > 0x3FF exactly when the exponent field isn't 0, and the
    // rebiased pattern passes 0x23BFF exactly when that field is 31 (m0 > 0x7BFF). Each step
    // adds 0x1C000 << 13 = 0x38000000 once the pattern is shifted into place.
    const uint32_t rebias = 0x38000000u + select(exponent == 0x7C00u, 0x38000000u, 0);
    const uint32_t shifted = (m0 << kMantissaDrop) + rebias;
    const uint32_t scaled =
        floatBits(static_cast<float>(static_cast<int32_t>(m0)) * 0x1p-24f);  // 5.9604645e-8
    const uint32_t bits = select(exponent != 0, shifted, scaled);
    return bitsFloat(bits | ((hw >> 15) << 31));
}

// Truncating, from the bit pattern. No rounding anywhere: the dropped bits are lost. Branch-free
// like halfToFloatValue; the magnitude is below 2^31, so signed compares serve.
inline uint16_t floatToHalfValue(float f) {
    const uint32_t x = floatBits(f);
    const int32_t a0 = static_cast<int32_t>(x & 0x7FFFFFFFu);
    // Below 2^-14, the smallest normal half: scale by 2^37 = 2^24 * 2^13 and truncate, which
    // leaves the subnormal mantissa in bits 13 and up. Exact, and below 2^23, so the conversion
    // is in range; other magnitudes feed it 0 instead, keeping every lane in range too.
    const bool small = a0 <= 0x387FFFFF;
    const float small_value = bitsFloat(select(small, static_cast<uint32_t>(a0), 0));
    const int32_t subnormal = static_cast<int32_t>(small_value * 0x1p37f);  // 137438953472.0
    uint32_t a = select(small, static_cast<uint32_t>(subnormal), static_cast<uint32_t>(a0));
    // Finite magnitudes above 65504 (0x477FE000), the largest half, become infinity. a is below
    // 2^31 here, so the int32 views compare as the values do.
    const int32_t s = static_cast<int32_t>(a);
    a = select(s >= 0x477FE001 && s <= 0x7F7FFFFF, 0x7F800000u, a);
    // A NaN whose payload lies only in the dropped bits keeps the lowest half mantissa bit.
    a = select(s >= 0x7F800001 && s <= 0x7F801FFF, 0x7F802000u, a);
    int32_t r = static_cast<int32_t>(a >> kMantissaDrop);
    r -= r > int32_t{kRebiasedFiniteMax} ? int32_t{kBiasStep} : 0;  // exponent 255 back to 143 ...
    r -= r > int32_t{kHalfSubnormalMax} ? int32_t{kBiasStep} : 0;   // ... all normals to bias 15
    return static_cast<uint16_t>(static_cast<uint32_t>(r) | ((x >> 16) & 0x8000u));
}

// True when k * x is exact in float for every byte x: k is zero, or a normal number far from
// both ends of the range whose significand has at most 16 bits (the low 8 of its 23 stored
// bits clear), so that the product of significands fits 24 bits. Then the fused k * x + lower
// and the plain product followed by the sum round once, at the same place: they are equal.
bool exactByteProducts(float k) {
    if (k == 0.0f) return true;
    const float magnitude = std::fabs(k);
    return magnitude >= 0x1p-100f && magnitude <= 0x1p100f && (floatBits(k) & 0xFFu) == 0;
}

}  // namespace

void bytesToFloat(const uint8_t* src, size_t count, const float* lower, const float* upper,
                  float* dst) {
    const float lo = *lower;
    const float k = (*upper - lo) / 255.0f;  // 1.0 for the bounds 0 and 255: values pass as is
    if (k == 1.0f && lo == 0.0f) {
        // The range 0..255 (the only one the backend uses): fma(1, x, +-0) is x itself.
        for (size_t i = 0; i < count; ++i) storeAt(dst, i, static_cast<float>(src[i]));
        return;
    }
    if (exactByteProducts(k)) {
        // The usual case: one rounding, on the sum, without a call to fmaf (which x86-64 without
        // FMA instructions makes into a library call per element).
        mapBy4(count, dst, [=](size_t i) { return k * static_cast<float>(src[i]) + lo; });
        return;
    }
    mapBy4(count, dst, [=](size_t i) { return std::fmaf(k, static_cast<float>(src[i]), lo); });
}

void floatToBytes(const float* src, size_t count, const float* lower, const float* upper,
                  uint8_t* dst) {
    const float lo = *lower, hi = *upper;
    const float range = hi - lo;
    const float k = 255.0f / range;
    if (std::isfinite(lo) && std::isfinite(hi) && range > 0.0f && std::isfinite(k) &&
        k * range < 0x1p31f) {
        // Finite bounds in order: x is held to [lower, upper], so t lies in [0, range] and k * t
        // in [0, k * range], below 2^31. There a plain conversion to int32 truncates exactly as
        // the saturating one does, and selects stand in for the branches.
        mapBy4(count, dst, [=](size_t i) {
            const float v = loadAt(src, i);
            const float x = lo < v ? v : lo;  // NaN fails the test and becomes lo
            const float t = bitsFloat(select(hi > x, floatBits(x - lo), floatBits(range)));
            return static_cast<uint8_t>(static_cast<int32_t>(k * t));
        });
        return;
    }
    mapBy4(count, dst, [=](size_t i) {
        float x = loadAt(src, i);
        if (!(lo < x)) x = lo;  // also NaN
        const float t = hi > x ? x - lo : range;
        // Truncation to an unsigned word, low 8 bits kept: 254.9 gives 254.
        return static_cast<uint8_t>(truncToUint32(k * t) & 0xFFu);
    });
}

void addConstantFloats(const float* value, float* dst, size_t count) {
    const float c = *value;
    mapBy4(count, dst, [=](size_t i) { return loadAt(dst, i) + c; });
}

void mulAddFloats(const float* src, size_t count, const float* value, float* dst) {
    const float c = *value;
    mapBy4(count, dst, [=](size_t i) { return std::fmaf(c, loadAt(src, i), loadAt(dst, i)); });
}

void halfToFloat(const uint16_t* src, size_t count, float* dst) {
    mapBy4(count, dst, [=](size_t i) { return halfToFloatValue(loadAt(src, i)); });
}

void floatToHalf(const float* src, size_t count, uint16_t* dst) {
    mapBy4(count, dst, [=](size_t i) { return floatToHalfValue(loadAt(src, i)); });
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
