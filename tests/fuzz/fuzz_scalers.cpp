// The scaling stages and the Scaler facade: random formats, sizes, regions,
// methods, precisions and convolution kernels, fed by frames or by a
// producer, reconfigured several times on the same objects so that failed
// set-ups meet later rows.
#include <zq/scaler_area.h>
#include <zq/scaler_bilinear.h>
#include <zq/scaler_convolutional.h>
#include <zq/scaler_nn.h>

#include <deque>

#include "fuzz_input.h"

namespace {

using namespace zq;

struct Stages {
    Scaler scaler;
    ScalerNearestNeighbor nearest;
    ScalerBilinearX bilinear_x;
    ScalerBilinearY bilinear_y;
    ScalerBilinearXY bilinear_xy;
    ScalerAreaX area_x;
    ScalerAreaY area_y;
    scaleAreaXY area_xy;
    ScalerConvolutional convolutional;
    bool used[9] = {};
};

IRowProducer& stageAt(Stages& s, int i) {
    IRowProducer* all[] = {&s.scaler, &s.nearest, &s.bilinear_x, &s.bilinear_y,   &s.bilinear_xy,
                           &s.area_x, &s.area_y,  &s.area_xy,    &s.convolutional};
    return *all[i];
}

// Configures stage `i` from `frame` (or from `feed`, a producer over it).
template <typename Source>
void configure(Stages& s, int i, Source& source, Size dst, FuzzedDataProvider& in) {
    switch (i) {
        case 0:
            s.scaler.reuse(source, dst, ScaleMethod(in.ConsumeIntegralInRange<int32_t>(-1, 3)));
            break;
        case 1:
            s.nearest.reuse(source, dst);
            break;
        case 2:
            s.bilinear_x.reuse(source, dst.width);
            break;
        case 3:
            s.bilinear_y.reuse(source, dst.height);
            break;
        case 4:
            s.bilinear_xy.reuse(source, dst);
            break;
        case 5:
            s.area_x.reuse(source, dst.width, zqfuzz::pickPrecision(in));
            break;
        case 6:
            s.area_y.reuse(source, dst.height, zqfuzz::pickPrecision(in));
            break;
        case 8: {
            // The kernel lives for the reuse alone.
            zqfuzz::Kernels kernels(in);
            s.convolutional.reuse(kernels.pick(in), source, dst, zqfuzz::pickPrecision(in));
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    Stages stages;
    std::deque<Frame> sources;  // alive as long as the stages may read them
    std::deque<RowCopier> feeds;
    const int rounds = in.ConsumeIntegralInRange<int>(1, 3);
    for (int round = 0; round < rounds && in.remaining_bytes() > 0; ++round) {
        const int i = in.ConsumeIntegralInRange<int>(0, 8);
        sources.push_back(zqfuzz::ownedFrame(in, zqfuzz::pickFormat(in), zqfuzz::pickSize(in)));
        Frame& src = sources.back();
        if (!src.initialized()) continue;
        if (in.ConsumeBool())
            zqfuzz::attempt([&] { src = getRegion(src, zqfuzz::pickRegion(in, src.size())); });
        const Size dst = zqfuzz::pickSize(in);
        const bool by_producer = i != 7 && in.ConsumeBool();
        bool ok = false;
        zqfuzz::attempt([&] {
            if (i == 7) {
                stages.area_xy.reuse(src, dst, zqfuzz::pickPrecision(in));
            } else if (by_producer) {
                feeds.emplace_back();
                feeds.back().reuse(src);
                configure(stages, i, feeds.back(), dst, in);
            } else {
                configure(stages, i, src, dst, in);
            }
            ok = true;
        });
        stages.used[i] = stages.used[i] || ok;
        // A stage that was configured once runs, whatever its last reuse did.
        if (!stages.used[i]) continue;
        zqfuzz::drain(stageAt(stages, i));
    }
    return 0;
}
