// The Scaler facade through produceFrame, and the one-pass area reducer,
// against a memcpy of the source and destination bytes.
#include "bench_util.h"

namespace {

void BM_Scaler(benchmark::State& state, zq::FrameFormat format, zq::ScaleMethod method,
               zq::Size dst_size) {
    const zq::Frame src = zqbench::randomFrame(format, zq::Size(1920, 1080));
    zq::Frame dst;
    zq::Scaler scaler;
    auto op = [&] {
        scaler.reuse(src, dst_size, method);
        zq::produceFrame(scaler, dst);
    };
    op();
    zqbench::runAgainstMemcpy(state, op, zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}

#define ZQ_SCALER_BENCH(fmt, method, w, h)                                                   \
    BENCHMARK_CAPTURE(BM_Scaler, fmt##_##method##_##w##x##h, zq::ZQ_FRAME_##fmt, zq::method, \
                      zq::Size(w, h))                                                        \
        ->Unit(benchmark::kMillisecond)

#define ZQ_SCALER_BENCH_SIZES(fmt, method)   \
    ZQ_SCALER_BENCH(fmt, method, 1280, 720); \
    ZQ_SCALER_BENCH(fmt, method, 960, 540)

ZQ_SCALER_BENCH_SIZES(BGR24, ZQ_SCALE_BILINEAR);
ZQ_SCALER_BENCH_SIZES(BGR24, ZQ_SCALE_AREA);
ZQ_SCALER_BENCH_SIZES(BGR24, ZQ_SCALE_NEAREST);
ZQ_SCALER_BENCH_SIZES(GRAY8, ZQ_SCALE_BILINEAR);
ZQ_SCALER_BENCH_SIZES(GRAY8, ZQ_SCALE_AREA);
ZQ_SCALER_BENCH_SIZES(GRAY8, ZQ_SCALE_NEAREST);
ZQ_SCALER_BENCH_SIZES(I420, ZQ_SCALE_BILINEAR);
ZQ_SCALER_BENCH_SIZES(I420, ZQ_SCALE_AREA);
ZQ_SCALER_BENCH_SIZES(I420, ZQ_SCALE_NEAREST);

void BM_ScaleAreaXY(benchmark::State& state) {
    const zq::Frame src = zqbench::randomFrame(zq::ZQ_FRAME_BGR24, zq::Size(1920, 1080));
    zq::Frame dst;
    zq::scaleAreaXY scaler;
    auto op = [&] {
        scaler.reuse(src, zq::Size(640, 360), zq::ZQ_SCALER_FIXED_POINT_16S);
        zq::produceFrame(scaler, dst);
    };
    op();
    zqbench::runAgainstMemcpy(state, op, zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}
BENCHMARK(BM_ScaleAreaXY)->Name("BM_ScaleAreaXY/BGR24_640x360")->Unit(benchmark::kMillisecond);

}  // namespace
