// Turning fuzz input into formats, sizes, regions, frames and kernels.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>

#include "wrapped_operations.h"

namespace zqfuzz {

using zqtest::attempt;

/// Mostly a format with a layout, sometimes any number (refusals are tested too).
inline zq::FrameFormat pickFormat(FuzzedDataProvider& in) {
    if (in.ConsumeIntegralInRange<int>(0, 15) == 0)
        return zq::FrameFormat(in.ConsumeIntegralInRange<int32_t>(-2, 40));
    return zqtest::formatOf(in.ConsumeIntegralInRange<int>(0, 255));
}

/// Small sizes mostly; now and then empty ones, or rows past the convolutional
/// scaler's 8192 source elements (at most 3 of them, or 3 columns of tall ones).
inline zq::Size pickSize(FuzzedDataProvider& in) {
    const int kind = in.ConsumeIntegralInRange<int>(0, 7);
    const int32_t low = kind == 2 ? -2 : 1;
    const int32_t w = kind == 0 ? 9000 : kind == 1 ? 3 : kind == 2 ? 2 : 80;
    const int32_t h = kind == 0 ? 3 : kind == 1 ? 3000 : kind == 2 ? 2 : 80;
    return {in.ConsumeIntegralInRange<int32_t>(low, w), in.ConsumeIntegralInRange<int32_t>(low, h)};
}

/// A region near or across a frame of `size`, or an empty one.
inline zq::Rect pickRegion(FuzzedDataProvider& in, zq::Size size) {
    if (in.ConsumeBool()) return zq::Rect();
    const int32_t x = in.ConsumeIntegralInRange<int32_t>(-2, size.width + 1);
    const int32_t y = in.ConsumeIntegralInRange<int32_t>(-2, size.height + 1);
    return zq::Rect(x, y, in.ConsumeIntegralInRange<int32_t>(-1, size.width + 2),
                    in.ConsumeIntegralInRange<int32_t>(-1, size.height + 2));
}

/// Fills the rows of every plane with input bytes (zeros when it runs out).
inline void fill(const zq::Frame& frame, FuzzedDataProvider& in) {
    for (int p = 0; p < frame.layout().plane_count; ++p)
        for (int y = 0; y < frame.layout().planes[p].height; ++y) {
            unsigned char* row = frame.data(p) + ptrdiff_t(y) * frame.layout().planes[p].stride;
            const size_t n = size_t(frame.layout().planes[p].row_bytes);
            const size_t got = in.ConsumeData(row, n);
            std::memset(row + got, 0, n - got);
        }
}

/// An owned frame of input bytes; uninitialized for a format or size without a layout.
inline zq::Frame ownedFrame(FuzzedDataProvider& in, zq::FrameFormat format, zq::Size size) {
    zq::Frame frame;
    attempt([&] { frame.reuse(format, size); });
    fill(frame, in);
    return frame;
}

/// Mostly one of the two fixed-point widths, sometimes any number.
inline zq::ScalerPrecision pickPrecision(FuzzedDataProvider& in) {
    if (in.ConsumeIntegralInRange<int>(0, 4) == 0)
        return zq::ScalerPrecision(in.ConsumeIntegral<int32_t>());
    return zqtest::bits(in.ConsumeBool());
}

/// A kernel shaped by the input: one to six steps of whole values from -3 to
/// 5 (now and then times 1000) across 0.5 to 8 output pixels, so that its two
/// sides differ, its taps may be odd or even in number, and its weights may
/// cancel or leave the fixed-point range.
class StepKernel : public zq::IKernel {
public:
    explicit StepKernel(FuzzedDataProvider& in) {
        _steps = in.ConsumeIntegralInRange<int>(1, 6);
        const float gain = in.ConsumeIntegralInRange<int>(0, 7) == 0 ? 1000.0f : 1.0f;
        for (int i = 0; i < _steps; ++i)
            _values[i] = gain * float(in.ConsumeIntegralInRange<int>(-3, 5));
        _extent = 0.5f * float(in.ConsumeIntegralInRange<int>(1, 16));
    }
    void setScale(float scale) override { _width = _extent * scale; }
    float weight(float offset) override {
        const float t = offset / _width + 0.5f;  // 0 to 1 across the width
        if (!(t >= 0.0f && t < 1.0f)) return 0.0f;
        return _values[std::min(int(t * float(_steps)), _steps - 1)];
    }
    float width() override { return _width; }

private:
    int _steps;
    float _values[6] = {};
    float _extent, _width = 1.0f;
};

/// Pulls every row of `stage` into a frame of its layout.
inline void drain(zq::IRowProducer& stage) {
    attempt([&] {
        zq::Frame out;
        out.reuse(stage.layout().format, stage.layout().size);
        if (out.initialized()) zq::produceFrame(stage, out);
    });
}

}  // namespace zqfuzz
