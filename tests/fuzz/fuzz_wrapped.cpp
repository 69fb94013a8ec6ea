// Frames over application memory with exactly the room of wrappedFrameRoom(),
// each plane between pages that fault on any access: random format, size,
// strides, contents and region; one operation of the shared table reads the
// frame or writes it.
#include "fuzz_input.h"

using namespace zq;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const FrameFormat format = zqtest::formatOf(in.ConsumeIntegralInRange<int>(0, 255));
    const Size frame_size(in.ConsumeIntegralInRange<int32_t>(1, 40),
                          in.ConsumeIntegralInRange<int32_t>(1, 24));
    // Strides of whole samples: rows of 16-bit and 32-bit samples at odd
    // addresses are the unaligned-frame tests' business.
    const FrameLayout layout(format, frame_size, 1);
    int32_t strides[4] = {};
    for (int p = 0; p < layout.plane_count; ++p)
        strides[p] = layout.planes[p].row_bytes + layout.planes[p].bits_per_channel / 8 *
                                                      in.ConsumeIntegralInRange<int32_t>(0, 9);
    zqtest::GuardedFrame guarded(format, frame_size, strides, in.ConsumeBool());
    zqfuzz::fill(guarded.frame, in);
    Frame frame = guarded.frame;
    if (in.ConsumeBool())
        zqfuzz::attempt([&] { frame = getRegion(frame, zqfuzz::pickRegion(in, frame_size)); });
    static const auto ops = zqtest::operations();
    const auto& op = ops[in.ConsumeIntegralInRange<size_t>(0, ops.size() - 1)];
    const bool reads = in.ConsumeBool();
    const Size offered = zqfuzz::pickSize(in);
    zqtest::runOn(op, frame, reads, offered, in.ConsumeIntegralInRange<int>(0, op.variants - 1));
    return 0;
}
