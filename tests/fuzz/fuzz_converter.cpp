// FormatConverter over every pair of format numbers, fed by a frame or by a
// producer, reconfigured on the same object so that failed set-ups (refused
// pairs, windows taller than the source) meet later rows.
#include <deque>

#include "fuzz_input.h"

using namespace zq;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    FormatConverter converter;
    bool used = false;
    std::deque<Frame> sources;
    std::deque<RowCopier> feeds;
    for (int round = in.ConsumeIntegralInRange<int>(1, 3); round > 0 && in.remaining_bytes();
         --round) {
        const Frame& src = sources.emplace_back(
            zqfuzz::ownedFrame(in, zqfuzz::pickFormat(in), zqfuzz::pickSize(in)));
        const FrameFormat dst_format = zqfuzz::pickFormat(in);
        const bool by_producer = in.ConsumeBool() && src.initialized();
        zqfuzz::attempt([&] {
            if (by_producer) {
                feeds.emplace_back().reuse(src);
                converter.reuse(feeds.back(), dst_format);
            } else {
                converter.reuse(src, dst_format);
            }
            used = true;
        });
        if (used) zqfuzz::drain(converter);
    }
    return 0;
}
