// The scaling stages and the Scaler facade: random formats, sizes, regions,
// methods, precisions and convolution kernels, fed by frames or by a
// producer, reconfigured several times on the same objects so that failed
// set-ups meet later rows.
#include <array>
#include <deque>
#include <tuple>

#include "fuzz_input.h"

namespace {

using namespace zq;

using Stages =
    std::tuple<Scaler, ScalerNearestNeighbor, ScalerBilinearX, ScalerBilinearY, ScalerBilinearXY,
               ScalerAreaX, ScalerAreaY, scaleAreaXY, ScalerConvolutional>;

// Configures stage `i` from `source`, a frame or (but for scaleAreaXY) a producer over one.
template <typename Source>
void configure(Stages& s, int i, Source& source, Size dst, FuzzedDataProvider& in) {
    if (i == 0)
        std::get<0>(s).reuse(source, dst, ScaleMethod(in.ConsumeIntegralInRange<int32_t>(-1, 3)));
    if (i == 1) std::get<1>(s).reuse(source, dst);
    if (i == 2) std::get<2>(s).reuse(source, dst.width);
    if (i == 3) std::get<3>(s).reuse(source, dst.height);
    if (i == 4) std::get<4>(s).reuse(source, dst);
    if (i == 5) std::get<5>(s).reuse(source, dst.width, zqfuzz::pickPrecision(in));
    if (i == 6) std::get<6>(s).reuse(source, dst.height, zqfuzz::pickPrecision(in));
    if constexpr (std::is_same_v<Source, Frame>)
        if (i == 7) std::get<7>(s).reuse(source, dst, zqfuzz::pickPrecision(in));
    if (i != 8) return;
    examples::LanczosKernel lanczos3(3);  // the kernels live for the reuse alone
    zqfuzz::StepKernel steps(in);
    std::get<8>(s).reuse(in.ConsumeBool() ? static_cast<IKernel&>(lanczos3) : steps, source, dst,
                         zqfuzz::pickPrecision(in));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    Stages stages;
    std::deque<Frame> sources;  // alive as long as the stages may read them
    std::deque<RowCopier> feeds;
    bool used[9] = {};
    for (int round = in.ConsumeIntegralInRange<int>(1, 3); round > 0 && in.remaining_bytes();
         --round) {
        const int i = in.ConsumeIntegralInRange<int>(0, 8);
        Frame& src = sources.emplace_back(
            zqfuzz::ownedFrame(in, zqfuzz::pickFormat(in), zqfuzz::pickSize(in)));
        if (src.initialized() && in.ConsumeBool())
            zqfuzz::attempt([&] { src = getRegion(src, zqfuzz::pickRegion(in, src.size())); });
        const Size dst = zqfuzz::pickSize(in);
        const bool by_producer = i != 7 && in.ConsumeBool();
        zqfuzz::attempt([&] {
            if (by_producer) {
                feeds.emplace_back().reuse(src);
                configure(stages, i, feeds.back(), dst, in);
            } else {
                configure(stages, i, src, dst, in);
            }
            used[i] = true;
        });
        // A stage that was configured once runs, whatever its last reuse did.
        if (!used[i]) continue;
        std::apply(
            [&](auto&... stage) { zqfuzz::drain(*std::array<IRowProducer*, 9>{&stage...}[i]); },
            stages);
    }
    return 0;
}
