// produceFrame through a RowCopier: the cost of the pipeline's own machinery
// (cursors, one virtual call per row, the row copies) against a memcpy of the
// same pixel bytes.
#include "bench_util.h"

namespace {

void BM_ProduceFrameRowCopier(benchmark::State& state, zq::FrameFormat format) {
    const zq::Frame src = zqbench::randomFrame(format, zq::Size(1920, 1080));
    zq::Frame dst;
    zq::RowCopier copier;
    auto op = [&] {
        copier.reuse(src);
        zq::produceFrame(copier, dst);
    };
    zqbench::runAgainstMemcpy(state, op, zqbench::pixelBytes(src));
}

BENCHMARK_CAPTURE(BM_ProduceFrameRowCopier, BGR24_1920x1080, zq::ZQ_FRAME_BGR24)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ProduceFrameRowCopier, I420_1920x1080, zq::ZQ_FRAME_I420)
    ->Unit(benchmark::kMillisecond);

}  // namespace
