// Small arithmetic helpers shared by the kernels: bit casts, float-to-integer conversions with a
// defined result for every input, rounding shifts and byte clamping.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Simd {

inline uint32_t floatBits(float value) {
    return std::bit_cast<uint32_t>(value);
}
inline float bitsFloat(uint32_t bits) {
    return std::bit_cast<float>(bits);
}

// Truncation toward zero to signed 32 bits, saturating the way the ARM VFP conversion does: NaN
// gives 0, magnitudes beyond the range give the nearest limit. A plain cast is undefined there,
// and x86 would return 0x80000000 instead; this keeps both targets on the same bytes.
inline int32_t truncToInt32(float value) {
    if (value != value) return 0;
    if (value >= 2147483648.0f) return INT32_MAX;  // 2^31
    if (value < -2147483648.0f) return INT32_MIN;
    return static_cast<int32_t>(value);
}

// Truncation toward zero to unsigned 32 bits with the same saturation: NaN and anything at or
// below -1 give 0, anything from 2^32 on gives 0xFFFFFFFF.
inline uint32_t truncToUint32(float value) {
    if (!(value > -1.0f)) return 0;                 // also NaN
    if (value >= 4294967296.0f) return UINT32_MAX;  // 2^32
    return static_cast<uint32_t>(value);
}

// Fixed point with N fraction bits to integer, rounded half up: (x + 2^(N-1)) >> N. The shift is
// arithmetic for negative x, so halves round toward plus infinity there too.
template <int N>
constexpr int32_t shiftRound(int32_t x) {
    static_assert(N > 0 && N < 31);
    return (x + (int32_t{1} << (N - 1))) >> N;
}

inline uint8_t clampByte(int32_t x) {
    return static_cast<uint8_t>(x < 0 ? 0 : (x > 255 ? 255 : x));
}

// Runs op(i) for i from 0 to count - 1: in blocks of 16 (one 16-byte vector of byte lanes), then
// one at a time. A loop of fixed trip count vectorises even under the cheapest cost model of -O2,
// and since the block and the rest call the same op, an element's value doesn't depend on where it
// falls. Callers pass __restrict pointers: without them the compiler would have to version the
// loop for overlap, which that cost model refuses.
template <class Op>
inline void forEachElement(size_t count, Op op) {
    constexpr size_t kBlock = 16;
    size_t i = 0;
    for (; i + kBlock <= count; i += kBlock)
        for (size_t k = i; k < i + kBlock; ++k) op(k);
    for (; i < count; ++i) op(i);
}

// Element i of a row or run that may lie at any address: a frame may wrap memory at an odd address
// or with an odd stride, so elements wider than a byte are loaded and stored through memcpy, which
// compiles to the same plain (unaligned) moves.
template <class T>
inline T loadAt(const T* p, size_t i) {
    T v;
    std::memcpy(&v, p + i, sizeof(T));
    return v;
}
template <class T>
inline void storeAt(T* p, size_t i, T v) {
    std::memcpy(p + i, &v, sizeof(T));
}

// Calls kernel(std::integral_constant<int, C>()) with C = channels for 1 to 4 channels, so that a
// row loop takes its channel count as a template argument, and other() for any other count.
template <class Kernel, class Other>
inline void withChannelCount(size_t channels, Kernel kernel, Other other) {
    switch (channels) {
        case 1:
            kernel(std::integral_constant<int, 1>());
            break;
        case 2:
            kernel(std::integral_constant<int, 2>());
            break;
        case 3:
            kernel(std::integral_constant<int, 3>());
            break;
        case 4:
            kernel(std::integral_constant<int, 4>());
            break;
        default:
            other();
            break;
    }
}

}  // namespace Simd
