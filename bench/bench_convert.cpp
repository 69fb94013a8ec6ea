// Whole-frame conversion on the row pipeline (CvBackendBase) against a memcpy
// of the source and destination bytes.
#include "bench_util.h"

namespace {

void BM_BaseColorCvt(benchmark::State& state, zq::FrameFormat from, zq::FrameFormat to) {
    const zq::Frame src = zqbench::randomFrame(from, zq::Size(1920, 1080));
    zq::Frame dst;
    dst.reuse(to, src.size());
    zq::CvBackendBase backend;
    auto op = [&] { backend.colorCvt(src, dst, zq::emptyRoi()); };
    zqbench::runAgainstMemcpy(state, op, zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}

#define ZQ_CVT_BENCH(from, to)                                                                 \
    BENCHMARK_CAPTURE(BM_BaseColorCvt, from##_to_##to, zq::ZQ_FRAME_##from, zq::ZQ_FRAME_##to) \
        ->Unit(benchmark::kMillisecond)

ZQ_CVT_BENCH(BGR24, GRAY8);
ZQ_CVT_BENCH(BGR24, I420);
ZQ_CVT_BENCH(BGR24, NV12);
ZQ_CVT_BENCH(BGR24, YUYV);
ZQ_CVT_BENCH(I420, BGR24);
ZQ_CVT_BENCH(NV12, BGR24);

void BM_BaseConvert(benchmark::State& state) {
    const zq::Frame src = zqbench::randomFrame(zq::ZQ_FRAME_BGR24, zq::Size(1920, 1080));
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_I420, zq::Size(1280, 720));
    zq::CvBackendBase backend;
    auto op = [&] { backend.convert(src, dst, zq::emptyRoi()); };
    zqbench::runAgainstMemcpy(state, op, zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}
BENCHMARK(BM_BaseConvert)
    ->Name("BM_BaseConvert/BGR24_1920x1080_to_I420_1280x720")
    ->Unit(benchmark::kMillisecond);

}  // namespace
