// NaN, infinities and out-of-range floats through the byte and half
// conversions: the bits are fixed, on every processor (this runs natively and
// under qemu-arm alike).
#include <cmath>
#include <limits>

#include "test_support.h"

namespace {

using namespace zq;

float fromBits(uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

uint32_t bitsOf(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

const float kInf = std::numeric_limits<float>::infinity();

// One BGR32F row of special values, and the bytes each backend makes of it:
// the pipeline truncates to an unsigned 32-bit integer with saturation (NaN
// and negatives 0) and keeps the low byte; the vector backend clamps to the
// bounds 0 and 255 first, NaN taking the lower bound.
struct ToByte {
    float value;
    uint8_t pipeline;
    uint8_t vector;
};
const ToByte kToByte[] = {
    {fromBits(0x7FC00000), 0, 0},  // quiet NaN
    {fromBits(0xFFC00000), 0, 0},  // negative quiet NaN
    {fromBits(0x7F800001), 0, 0},  // signalling NaN
    {kInf, 255, 255},              // saturates at 2^32 - 1: low byte 255
    {-kInf, 0, 0},
    {-5.0f, 0, 0},
    {-0.0f, 0, 0},
    {254.9f, 254, 254},  // truncation, not rounding
    {256.0f, 0, 255},    // the pipeline wraps, the vector road clamps
    {300.0f, 44, 255},
    {1e10f, 255, 255},                 // above 2^32: saturated
    {4294967040.0f, 0, 255},           // largest float below 2^32: 0xFFFFFF00
    {fromBits(0x7F7FFFFF), 255, 255},  // largest finite float
};

TEST(FloatSpecials, FloatToBytesOnBothRoads) {
    const int n = int(sizeof(kToByte) / sizeof(kToByte[0]));
    Frame src;
    src.reuse(ZQ_FRAME_BGR32F, {n, 1});
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < 3; ++c)
            std::memcpy(zqtest::at(src, 0, 0, 4 * (3 * i + c)), &kToByte[i].value, sizeof(float));
    CvBackendBase base;
    CvBackendSimd simd;
    const std::pair<ICvBackend*, bool> roads[] = {{&base, true}, {&simd, false}};
    for (const auto& [backend, pipeline] : roads) {
        Frame dst;
        dst.reuse(ZQ_FRAME_BGR24, {n, 1});
        backend->colorCvt(src, dst, Rect());
        for (int i = 0; i < n; ++i)
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(*zqtest::at(dst, 0, 0, 3 * i + c),
                          pipeline ? kToByte[i].pipeline : kToByte[i].vector)
                    << (pipeline ? "pipeline" : "vector") << ", value bits 0x" << std::hex
                    << bitsOf(kToByte[i].value);
    }
}

TEST(FloatSpecials, HalfConversionsKeepTheirBits) {
    // Float bits -> half bits: truncation everywhere, infinity above 65504,
    // NaNs stay NaNs (a payload only in the dropped bits sets the lowest bit).
    const std::pair<uint32_t, uint16_t> to_half[] = {
        {0x7FC00000, 0x7E00}, {0xFFC00000, 0xFE00}, {0x7F800001, 0x7C01}, {0x7F800000, 0x7C00},
        {0xFF800000, 0xFC00}, {0x477FE000, 0x7BFF}, {0x477FE001, 0x7C00}, {0x501502F9, 0x7C00},
        {0xD01502F9, 0xFC00}, {0x3F801FFF, 0x3C00}, {0x387FFFFF, 0x03FF}, {0x80000000, 0x8000},
        {0x00000001, 0x0000}, {0x7F7FFFFF, 0x7C00}};
    for (const auto& [bits, half] : to_half) {
        const float value = fromBits(bits);
        unsigned short out = 0;
        convertFp32ToFp16(&value, 1, &out);
        EXPECT_EQ(out, half) << std::hex << "float bits 0x" << bits;
    }
    // Half bits -> float bits: exact, NaN payloads kept.
    const std::pair<uint16_t, uint32_t> to_float[] = {
        {0x7C00, 0x7F800000}, {0xFC00, 0xFF800000}, {0x7E00, 0x7FC00000},
        {0x7C01, 0x7F802000}, {0xFFFF, 0xFFFFE000}, {0x7BFF, 0x477FE000},
        {0x0001, 0x33800000}, {0x8000, 0x80000000}, {0x03FF, 0x387FC000}};
    for (const auto& [half, bits] : to_float) {
        float out = 0;
        convertFp16ToFp32(&half, 1, &out);
        EXPECT_EQ(bitsOf(out), bits) << std::hex << "half bits 0x" << half;
    }
}

}  // namespace
