// Turning fuzz input into formats, sizes, regions and frames.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>
#include <zq/cv.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "../../examples/zq_kernels.h"
#include "all_formats.h"

namespace zqfuzz {

/// Mostly a format with a layout, sometimes any number (refusals are tested too).
inline zq::FrameFormat pickFormat(FuzzedDataProvider& in) {
    if (in.ConsumeIntegralInRange<int>(0, 15) == 0)
        return zq::FrameFormat(in.ConsumeIntegralInRange<int32_t>(-2, 40));
    const auto formats = zqtest::allFormats();
    return formats[in.ConsumeIntegralInRange<size_t>(0, formats.size() - 1)];
}

/// Small sizes mostly; now and then a wide or tall one, and empty ones. Wide
/// rows reach past the convolutional scaler's 8192 source elements; at most
/// 3 rows of them (or 3 columns of the tall ones) keep a run to milliseconds.
inline zq::Size pickSize(FuzzedDataProvider& in) {
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
        case 0:
            return {in.ConsumeIntegralInRange<int32_t>(1, 9000),
                    in.ConsumeIntegralInRange<int32_t>(1, 3)};
        case 1:
            return {in.ConsumeIntegralInRange<int32_t>(1, 3),
                    in.ConsumeIntegralInRange<int32_t>(1, 3000)};
        case 2:
            return {in.ConsumeIntegralInRange<int32_t>(-2, 2),
                    in.ConsumeIntegralInRange<int32_t>(-2, 2)};
        default:
            return {in.ConsumeIntegralInRange<int32_t>(1, 80),
                    in.ConsumeIntegralInRange<int32_t>(1, 80)};
    }
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
inline void fill(zq::Frame& frame, FuzzedDataProvider& in) {
    const zq::FrameLayout& layout = frame.layout();
    for (int p = 0; p < layout.plane_count; ++p)
        for (int y = 0; y < layout.planes[p].height; ++y) {
            unsigned char* row = frame.data(p) + ptrdiff_t(y) * layout.planes[p].stride;
            const size_t n = size_t(layout.planes[p].row_bytes);
            const size_t got = in.ConsumeData(row, n);
            std::memset(row + got, 0, n - got);
        }
}

/// An owned frame of input bytes; uninitialized for a format or size without a layout.
inline zq::Frame ownedFrame(FuzzedDataProvider& in, zq::FrameFormat format, zq::Size size) {
    zq::Frame frame;
    try {
        frame.reuse(format, size);
    } catch (zq::Exception&) {
        return zq::Frame();
    }
    fill(frame, in);
    return frame;
}

/// A kernel shaped by the input: one to six steps of whole values from -3 to
/// 5 (now and then times 1000) across a width of 0.5 to 8 output pixels, so
/// that its two sides differ, its taps may be odd or even in number, and its
/// weights may cancel or leave the fixed-point range.
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
    int _steps = 1;
    float _values[6] = {};
    float _extent = 1.0f;
    float _width = 1.0f;
};

/// The example kernels of an application (Lanczos-3, box) and one of the
/// input's shape; `pick` chooses one.
struct Kernels {
    explicit Kernels(FuzzedDataProvider& in) : steps(in) {}
    zq::IKernel& pick(FuzzedDataProvider& in) {
        switch (in.ConsumeIntegralInRange<int>(0, 2)) {
            case 0:
                return lanczos3;
            case 1:
                return box;
            default:
                return steps;
        }
    }
    zq::examples::LanczosKernel lanczos3{3};
    zq::examples::BoxKernel box;
    StepKernel steps;
};

/// Mostly one of the two fixed-point widths, sometimes any number.
inline zq::ScalerPrecision pickPrecision(FuzzedDataProvider& in) {
    switch (in.ConsumeIntegralInRange<int>(0, 4)) {
        case 0:
            return zq::ScalerPrecision(in.ConsumeIntegral<int32_t>());
        case 1:
        case 2:
            return zq::ZQ_SCALER_FIXED_POINT_8S;
        default:
            return zq::ZQ_SCALER_FIXED_POINT_16S;
    }
}

/// Runs `fn`; the library's refusals are expected, anything else is a finding.
template <typename Fn>
void attempt(Fn&& fn) {
    try {
        fn();
    } catch (zq::Exception&) {
    }
}

/// Pulls every row of `stage` into a frame of its layout; a producer with an
/// empty layout writes nothing.
inline void drain(zq::IRowProducer& stage) {
    attempt([&] {
        const zq::FrameLayout layout = stage.layout();
        if (layout.plane_count == 0) return;
        zq::Frame out;
        out.reuse(layout.format, layout.size);
        zq::produceFrame(stage, out);
    });
}

}  // namespace zqfuzz
