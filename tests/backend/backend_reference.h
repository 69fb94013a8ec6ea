// Independent per-pixel formulas of the two backends' conversions, for the
// backend tests.
#pragma once

#include <algorithm>
#include <cstdint>

namespace ref {

// Vector backend: 14 fraction bits from BGR, 13 to BGR, rounded.
inline uint8_t simdGray(int b, int g, int r) { return uint8_t((b * 1868 + g * 9617 + r * 4899 + 8192) >> 14); }
inline uint8_t simdY(int b, int g, int r) { return uint8_t(((b * 1606 + g * 8258 + r * 4211 + 8192) >> 14) + 16); }
inline uint8_t simdU(int b, int g, int r) { return uint8_t(((b * 7193 - g * 4768 - r * 2425 + 8192) >> 14) + 128); }
inline uint8_t simdV(int b, int g, int r) { return uint8_t(((-b * 1163 - g * 6029 + r * 7193 + 8192) >> 14) + 128); }
inline uint8_t clamp8(int v) { return uint8_t(std::clamp(v, 0, 255)); }
inline void simdBgr(int Y, int U, int V, uint8_t bgr[3]) {
    const int y = Y - 16, u = U - 128, v = V - 128;
    bgr[0] = clamp8((y * 9535 + u * 16531 + 4096) >> 13);
    bgr[1] = clamp8((y * 9535 - u * 3203 - v * 6660 + 4096) >> 13);
    bgr[2] = clamp8((y * 9535 + v * 13074 + 4096) >> 13);
}

// Row pipeline: 8 fraction bits, truncating, video range.
inline uint8_t pipeY(int b, int g, int r) { return uint8_t((25 * b + 129 * g + 65 * r + 4096) >> 8); }
inline uint8_t pipeGray(int b, int g, int r) { return uint8_t((28 * b + 152 * g + 76 * r) >> 8); }

}  // namespace ref
