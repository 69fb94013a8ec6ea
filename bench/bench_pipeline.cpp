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

// ------------------------------------------------------------------ pipeline against vector road
//
// The same operation on the row pipeline and on CvBackendSimd, timed in turns with a memcpy of
// the source and destination bytes: ms is the pipeline's, vector_ms the vector road's, x_vector
// their ratio (the pipeline aims at 2 or less).

namespace {

void runAgainstVector(benchmark::State& state, const std::function<void()>& pipeline,
                      const std::function<void()>& vector, size_t memcpy_bytes) {
    for (auto _ : state) pipeline();
    std::vector<unsigned char> from(memcpy_bytes, 1), to(memcpy_bytes);
    const std::vector<double> seconds =
        zqbench::bestSecondsPerCall({pipeline, vector, [&] {
                                         std::memcpy(to.data(), from.data(), memcpy_bytes);
                                         benchmark::DoNotOptimize(to.data());
                                         benchmark::ClobberMemory();
                                     }});
    state.counters["ms"] = seconds[0] * 1e3;
    state.counters["vector_ms"] = seconds[1] * 1e3;
    state.counters["x_vector"] = seconds[0] / seconds[1];
    state.counters["x_memcpy"] = seconds[0] / seconds[2];
}

// Scaler (the facade's stages) against CvBackendSimd::resize with the same method.
void BM_PipeVsVectorResize(benchmark::State& state, zq::FrameFormat format, zq::ScaleMethod method,
                           zq::Size dst_size) {
    const zq::Frame src = zqbench::randomFrame(format, zq::Size(1920, 1080));
    zq::Frame piped, vectored;
    vectored.reuse(format, dst_size);
    zq::Scaler scaler;
    zq::CvBackendSimd backend;
    backend.setIntProperty(zq::ZQ_CV_PROPERTY_RESIZE_METHOD,
                           method == zq::ZQ_SCALE_AREA ? zq::ResizeArea : zq::ResizeBilinear);
    runAgainstVector(
        state,
        [&] {
            scaler.reuse(src, dst_size, method);
            zq::produceFrame(scaler, piped);
        },
        [&] { backend.resize(src, vectored, zq::emptyRoi(), zq::emptyRoi()); },
        zqbench::pixelBytes(src) + zqbench::pixelBytes(vectored));
}

#define ZQ_PIPE_RESIZE_BENCH(fmt, method, w, h)                                              \
    BENCHMARK_CAPTURE(BM_PipeVsVectorResize, fmt##_##method##_##w##x##h, zq::ZQ_FRAME_##fmt, \
                      zq::ZQ_SCALE_##method, zq::Size(w, h))                                 \
        ->Unit(benchmark::kMillisecond)

ZQ_PIPE_RESIZE_BENCH(BGR24, AREA, 1280, 720);
ZQ_PIPE_RESIZE_BENCH(BGR24, AREA, 960, 540);
ZQ_PIPE_RESIZE_BENCH(I420, AREA, 1280, 720);
ZQ_PIPE_RESIZE_BENCH(BGR24, BILINEAR, 1280, 720);
ZQ_PIPE_RESIZE_BENCH(BGR24, BILINEAR, 960, 540);
ZQ_PIPE_RESIZE_BENCH(I420, BILINEAR, 1280, 720);

// CvBackendBase::colorCvt (row conversions through FormatConverter) against CvBackendSimd.
void BM_PipeVsVectorColorCvt(benchmark::State& state, zq::FrameFormat from, zq::FrameFormat to) {
    const zq::Frame src = zqbench::randomFrame(from, zq::Size(1920, 1080));
    zq::Frame piped, vectored;
    piped.reuse(to, src.size());
    vectored.reuse(to, src.size());
    zq::CvBackendBase base;
    zq::CvBackendSimd simd;
    runAgainstVector(
        state, [&] { base.colorCvt(src, piped, zq::emptyRoi()); },
        [&] { simd.colorCvt(src, vectored, zq::emptyRoi()); },
        zqbench::pixelBytes(src) + zqbench::pixelBytes(piped));
}

#define ZQ_PIPE_CVT_BENCH(from, to)                                                 \
    BENCHMARK_CAPTURE(BM_PipeVsVectorColorCvt, from##_to_##to, zq::ZQ_FRAME_##from, \
                      zq::ZQ_FRAME_##to)                                            \
        ->Unit(benchmark::kMillisecond)

ZQ_PIPE_CVT_BENCH(BGR24, GRAY8);
ZQ_PIPE_CVT_BENCH(BGR24, I420);
ZQ_PIPE_CVT_BENCH(I420, BGR24);
ZQ_PIPE_CVT_BENCH(GRAY8, BGR24);

}  // namespace
