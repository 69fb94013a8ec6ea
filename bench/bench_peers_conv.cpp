// ScalerConvolutional with a Lanczos-3 kernel beside FFmpeg's swscale (SWS_LANCZOS, one thread)
// on the same 1920x1080 source data, compiled into zq_bench_peers. Each benchmark reports our
// time per frame, swscale's, their ratio (x_peer, above 1 when swscale is faster) and the ratio to
// a memcpy of the source and destination bytes (x_memcpy), all timed in turns in this process.
// Results are not compared: the two round differently and fold the edges differently.
extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include "../examples/zq_kernels.h"
#include "bench_util.h"

namespace {

const zq::Size kSource(1920, 1080);

// One swscale context for a pair of sizes, forced to one thread.
struct SwsScaler {
    SwsScaler(zq::Size from, zq::Size to, AVPixelFormat format) {
        ctx = sws_alloc_context();
        av_opt_set_int(ctx, "srcw", from.width, 0);
        av_opt_set_int(ctx, "srch", from.height, 0);
        av_opt_set_int(ctx, "src_format", format, 0);
        av_opt_set_int(ctx, "dstw", to.width, 0);
        av_opt_set_int(ctx, "dsth", to.height, 0);
        av_opt_set_int(ctx, "dst_format", format, 0);
        av_opt_set_int(ctx, "sws_flags", SWS_LANCZOS, 0);
        av_opt_set_int(ctx, "threads", 1, 0);
        if (sws_init_context(ctx, nullptr, nullptr) < 0) {
            sws_freeContext(ctx);
            ctx = nullptr;
        }
    }
    ~SwsScaler() { sws_freeContext(ctx); }
    SwsScaler(const SwsScaler&) = delete;
    SwsScaler& operator=(const SwsScaler&) = delete;

    // Scales plane by plane between our frames' own rows.
    void run(const zq::Frame& src, zq::Frame& dst) {
        const uint8_t* in[4] = {};
        uint8_t* out[4] = {};
        int in_stride[4] = {}, out_stride[4] = {};
        for (int p = 0; p < src.layout().plane_count; ++p) {
            in[p] = src.data(p);
            in_stride[p] = src.layout().planes[p].stride;
            out[p] = dst.data(p);
            out_stride[p] = dst.layout().planes[p].stride;
        }
        sws_scale(ctx, in, in_stride, 0, src.height(), out, out_stride);
    }

    SwsContext* ctx = nullptr;
};

void BM_ConvolutionalLanczos3(benchmark::State& state, zq::FrameFormat format, zq::Size to,
                              zq::ScalerPrecision precision) {
    const zq::Frame src = zqbench::randomFrame(format, kSource);
    zq::Frame dst, peer_dst;
    dst.reuse(format, to);
    peer_dst.reuse(format, to);
    zq::examples::LanczosKernel lanczos3(3);
    zq::ScalerConvolutional scaler;
    SwsScaler sws(kSource, to, format == zq::ZQ_FRAME_I420 ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_BGR24);
    if (!sws.ctx) {
        state.SkipWithError("swscale could not set up this conversion");
        return;
    }
    // A client calls reuse for every frame; with nothing changed it rebuilds no table.
    const std::function<void()> ours = [&] {
        scaler.reuse(lanczos3, src, to, precision);
        zq::produceFrame(scaler, dst);
    };
    for (auto _ : state) ours();
    const size_t bytes = zqbench::pixelBytes(src) + zqbench::pixelBytes(dst);
    std::vector<unsigned char> from(bytes, 1), copy(bytes);
    const std::vector<double> seconds =
        zqbench::bestSecondsPerCall({ours,
                                     [&] {
                                         std::memcpy(copy.data(), from.data(), bytes);
                                         benchmark::DoNotOptimize(copy.data());
                                         benchmark::ClobberMemory();
                                     },
                                     [&] { sws.run(src, peer_dst); }});
    state.counters["ms"] = seconds[0] * 1e3;
    state.counters["memcpy_ms"] = seconds[1] * 1e3;
    state.counters["swscale_ms"] = seconds[2] * 1e3;
    state.counters["x_peer"] = seconds[0] / seconds[2];
    state.counters["x_memcpy"] = seconds[0] / seconds[1];
}

void registerConvolutional() {
    struct Case {
        const char* name;
        zq::FrameFormat format;
    };
    for (Case c : {Case{"BGR24", zq::ZQ_FRAME_BGR24}, Case{"I420", zq::ZQ_FRAME_I420}})
        for (zq::Size to : {zq::Size(1280, 720), zq::Size(960, 540)})
            for (zq::ScalerPrecision precision :
                 {zq::ZQ_SCALER_FIXED_POINT_8S, zq::ZQ_SCALER_FIXED_POINT_16S}) {
                const std::string name = std::string("BM_ConvolutionalLanczos3/") + c.name + "/to" +
                                         std::to_string(to.width) + "x" +
                                         std::to_string(to.height) + "/p" +
                                         std::to_string(int(precision));
                benchmark::RegisterBenchmark(name.c_str(), BM_ConvolutionalLanczos3, c.format, to,
                                             precision)
                    ->Unit(benchmark::kMillisecond);
            }
}

// Registered at load, beside the BENCHMARK macros of the other file of this program.
[[maybe_unused]] const bool kRegistered = [] {
    registerConvolutional();
    benchmark::AddCustomContext("swscale", AV_STRINGIFY(LIBSWSCALE_VERSION));
    return true;
}();

}  // namespace
