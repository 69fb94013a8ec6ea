// The same work done by libzq_cv and by OpenCV and libyuv in one process, one thread, on the same
// 1920x1080 source data. Each benchmark reports our time per frame and each peer's, the ratio of
// ours to the fastest peer (x_peer, above 1 when a peer is faster) and to a memcpy of the source
// and destination bytes (x_memcpy). Results are not compared: the libraries round differently.
#include <libyuv.h>
#include <libyuv/scale_rgb.h>  // RGBScale, which libyuv.h leaves out

#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include "bench_util.h"

namespace {

const zq::Size kSource(1920, 1080);
constexpr int kPixels = 1920 * 1080;

// A view of plane p of a frame, without a copy.
cv::Mat planeMat(const zq::Frame& frame, int p, int type) {
    const zq::PlaneLayout& plane = frame.layout().planes[p];
    return cv::Mat(plane.height, plane.width, type, frame.data(p), size_t(plane.stride));
}

int stride(const zq::Frame& frame, int p) {
    return frame.layout().planes[p].stride;
}

// A float frame of values from 0 to 255 (fixed seed): finite, no subnormals.
zq::Frame randomFloatFrame(zq::FrameFormat format, zq::Size size) {
    zq::Frame frame;
    frame.reuse(format, size);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> value(0.0f, 255.0f);
    for (int p = 0; p < frame.layout().plane_count; ++p) {
        const zq::PlaneLayout& plane = frame.layout().planes[p];
        for (int y = 0; y < plane.height; ++y) {
            float* row = reinterpret_cast<float*>(frame.data(p) + ptrdiff_t(y) * plane.stride);
            for (int i = 0; i < plane.row_bytes / 4; ++i) row[i] = value(rng);
        }
    }
    return frame;
}

struct Peer {
    const char* counter;  // "opencv_ms" or "libyuv_ms"
    std::function<void()> run;
};

// Runs ours under the benchmark loop, then times ours, a memcpy of `memcpy_bytes` and each peer
// in turns (bestSecondsPerCall), and reports milliseconds per frame and the two ratios.
void runAgainstPeers(benchmark::State& state, const std::function<void()>& ours,
                     const std::vector<Peer>& peers, size_t memcpy_bytes) {
    for (auto _ : state) ours();
    std::vector<unsigned char> from(memcpy_bytes, 1), to(memcpy_bytes);
    std::vector<std::function<void()>> runs{ours, [&] {
                                                std::memcpy(to.data(), from.data(), memcpy_bytes);
                                                benchmark::DoNotOptimize(to.data());
                                                benchmark::ClobberMemory();
                                            }};
    for (const Peer& peer : peers) runs.push_back(peer.run);
    const std::vector<double> seconds = zqbench::bestSecondsPerCall(runs);
    double fastest = std::numeric_limits<double>::infinity();
    for (size_t i = 0; i < peers.size(); ++i) {
        state.counters[peers[i].counter] = seconds[i + 2] * 1e3;
        fastest = std::min(fastest, seconds[i + 2]);
    }
    state.counters["ms"] = seconds[0] * 1e3;
    state.counters["memcpy_ms"] = seconds[1] * 1e3;
    state.counters["x_peer"] = seconds[0] / fastest;
    state.counters["x_memcpy"] = seconds[0] / seconds[1];
}

// ------------------------------------------------------------------------------------ resizing

void BM_ResizeBgr24(benchmark::State& state, zq::ResizeMethod method, zq::Size to) {
    const zq::Frame src = zqbench::randomFrame(zq::ZQ_FRAME_BGR24, kSource);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_BGR24, to);
    zq::CvBackendSimd backend;
    backend.setIntProperty(zq::ZQ_CV_PROPERTY_RESIZE_METHOD, method);
    const cv::Mat cv_src = planeMat(src, 0, CV_8UC3);
    cv::Mat cv_dst(to.height, to.width, CV_8UC3);
    const int interpolation = method == zq::ResizeBilinear ? cv::INTER_LINEAR : cv::INTER_AREA;
    const libyuv::FilterMode filter =
        method == zq::ResizeBilinear ? libyuv::kFilterBilinear : libyuv::kFilterBox;
    std::vector<uint8_t> yuv_dst(size_t(to.width) * 3 * to.height);
    runAgainstPeers(
        state, [&] { backend.resize(src, dst, zq::emptyRoi(), zq::emptyRoi()); },
        {{"opencv_ms", [&] { cv::resize(cv_src, cv_dst, cv_dst.size(), 0, 0, interpolation); }},
         {"libyuv_ms",
          [&] {
              libyuv::RGBScale(src.data(0), stride(src, 0), kSource.width, kSource.height,
                               yuv_dst.data(), to.width * 3, to.width, to.height, filter);
          }}},
        zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}

void BM_ResizeI420(benchmark::State& state, zq::ResizeMethod method, zq::Size to) {
    const zq::Frame src = zqbench::randomFrame(zq::ZQ_FRAME_I420, kSource);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_I420, to);
    zq::CvBackendSimd backend;
    backend.setIntProperty(zq::ZQ_CV_PROPERTY_RESIZE_METHOD, method);
    const int interpolation = method == zq::ResizeBilinear ? cv::INTER_LINEAR : cv::INTER_AREA;
    const libyuv::FilterMode filter =
        method == zq::ResizeBilinear ? libyuv::kFilterBilinear : libyuv::kFilterBox;
    cv::Mat cv_src[3], cv_dst[3];
    for (int p = 0; p < 3; ++p) {
        cv_src[p] = planeMat(src, p, CV_8UC1);
        cv_dst[p] = cv::Mat(dst.layout().planes[p].height, dst.layout().planes[p].width, CV_8UC1);
    }
    zq::Frame yuv_dst;
    yuv_dst.reuse(zq::ZQ_FRAME_I420, to);
    runAgainstPeers(
        state, [&] { backend.resize(src, dst, zq::emptyRoi(), zq::emptyRoi()); },
        {{"opencv_ms",
          [&] {
              for (int p = 0; p < 3; ++p)
                  cv::resize(cv_src[p], cv_dst[p], cv_dst[p].size(), 0, 0, interpolation);
          }},
         {"libyuv_ms",
          [&] {
              libyuv::I420Scale(src.data(0), stride(src, 0), src.data(1), stride(src, 1),
                                src.data(2), stride(src, 2), kSource.width, kSource.height,
                                yuv_dst.data(0), stride(yuv_dst, 0), yuv_dst.data(1),
                                stride(yuv_dst, 1), yuv_dst.data(2), stride(yuv_dst, 2), to.width,
                                to.height, filter);
          }}},
        zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}

// libyuv has no float scaler.
void BM_ResizeFloat(benchmark::State& state, zq::Size to) {
    const zq::Frame src = randomFloatFrame(zq::ZQ_FRAME_32F_C1, kSource);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_32F_C1, to);
    zq::CvBackendSimd backend;
    backend.setIntProperty(zq::ZQ_CV_PROPERTY_RESIZE_METHOD, zq::ResizeBilinear);
    const cv::Mat cv_src = planeMat(src, 0, CV_32FC1);
    cv::Mat cv_dst(to.height, to.width, CV_32FC1);
    runAgainstPeers(
        state, [&] { backend.resize(src, dst, zq::emptyRoi(), zq::emptyRoi()); },
        {{"opencv_ms", [&] { cv::resize(cv_src, cv_dst, cv_dst.size(), 0, 0, cv::INTER_LINEAR); }}},
        zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}

BENCHMARK_CAPTURE(BM_ResizeBgr24, bilinear_1280x720, zq::ResizeBilinear, zq::Size(1280, 720))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ResizeBgr24, bilinear_960x540, zq::ResizeBilinear, zq::Size(960, 540))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ResizeBgr24, area_1280x720, zq::ResizeArea, zq::Size(1280, 720))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ResizeBgr24, area_960x540, zq::ResizeArea, zq::Size(960, 540))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ResizeI420, bilinear_1280x720, zq::ResizeBilinear, zq::Size(1280, 720))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ResizeI420, area_1280x720, zq::ResizeArea, zq::Size(1280, 720))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ResizeFloat, bilinear_1280x720, zq::Size(1280, 720))
    ->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------------------- colour conversion

// libyuv's "RGB24" is B, G, R in memory, our BGR24; J400 is its full-range gray.
void BM_Bgr24ToGray8(benchmark::State& state) {
    const zq::Frame src = zqbench::randomFrame(zq::ZQ_FRAME_BGR24, kSource);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_GRAY8, kSource);
    zq::CvBackendSimd backend;
    const cv::Mat cv_src = planeMat(src, 0, CV_8UC3);
    cv::Mat cv_dst(kSource.height, kSource.width, CV_8UC1);
    std::vector<uint8_t> yuv_dst(kPixels);
    runAgainstPeers(
        state, [&] { backend.colorCvt(src, dst, zq::emptyRoi()); },
        {{"opencv_ms", [&] { cv::cvtColor(cv_src, cv_dst, cv::COLOR_BGR2GRAY); }},
         {"libyuv_ms",
          [&] {
              libyuv::RGB24ToJ400(src.data(0), stride(src, 0), yuv_dst.data(), kSource.width,
                                  kSource.width, kSource.height);
          }}},
        zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}
BENCHMARK(BM_Bgr24ToGray8)->Unit(benchmark::kMillisecond);

// libyuv has no gray to 24-bit RGB.
void BM_Gray8ToBgr24(benchmark::State& state) {
    const zq::Frame src = zqbench::randomFrame(zq::ZQ_FRAME_GRAY8, kSource);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_BGR24, kSource);
    zq::CvBackendSimd backend;
    const cv::Mat cv_src = planeMat(src, 0, CV_8UC1);
    cv::Mat cv_dst(kSource.height, kSource.width, CV_8UC3);
    runAgainstPeers(
        state, [&] { backend.colorCvt(src, dst, zq::emptyRoi()); },
        {{"opencv_ms", [&] { cv::cvtColor(cv_src, cv_dst, cv::COLOR_GRAY2BGR); }}},
        zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}
BENCHMARK(BM_Gray8ToBgr24)->Unit(benchmark::kMillisecond);

// OpenCV holds I420 as one single-channel image of 3/2 the height: Y, then U, then V, packed.
void BM_Bgr24ToI420(benchmark::State& state) {
    const zq::Frame src = zqbench::randomFrame(zq::ZQ_FRAME_BGR24, kSource);
    zq::Frame dst, yuv_dst;
    dst.reuse(zq::ZQ_FRAME_I420, kSource);
    yuv_dst.reuse(zq::ZQ_FRAME_I420, kSource);
    zq::CvBackendSimd backend;
    const cv::Mat cv_src = planeMat(src, 0, CV_8UC3);
    cv::Mat cv_dst(kSource.height * 3 / 2, kSource.width, CV_8UC1);
    runAgainstPeers(
        state, [&] { backend.colorCvt(src, dst, zq::emptyRoi()); },
        {{"opencv_ms", [&] { cv::cvtColor(cv_src, cv_dst, cv::COLOR_BGR2YUV_I420); }},
         {"libyuv_ms",
          [&] {
              libyuv::RGB24ToI420(src.data(0), stride(src, 0), yuv_dst.data(0), stride(yuv_dst, 0),
                                  yuv_dst.data(1), stride(yuv_dst, 1), yuv_dst.data(2),
                                  stride(yuv_dst, 2), kSource.width, kSource.height);
          }}},
        zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}
BENCHMARK(BM_Bgr24ToI420)->Unit(benchmark::kMillisecond);

void BM_I420ToBgr24(benchmark::State& state) {
    const zq::Frame src = zqbench::randomFrame(zq::ZQ_FRAME_I420, kSource);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_BGR24, kSource);
    zq::CvBackendSimd backend;
    // The same samples, packed the way OpenCV reads them.
    cv::Mat cv_src(kSource.height * 3 / 2, kSource.width, CV_8UC1);
    uint8_t* packed = cv_src.data;
    for (int p = 0; p < 3; ++p) {
        const zq::PlaneLayout& plane = src.layout().planes[p];
        for (int y = 0; y < plane.height; ++y, packed += plane.width)
            std::memcpy(packed, src.data(p) + ptrdiff_t(y) * plane.stride, size_t(plane.width));
    }
    cv::Mat cv_dst(kSource.height, kSource.width, CV_8UC3);
    std::vector<uint8_t> yuv_dst(size_t(kPixels) * 3);
    runAgainstPeers(
        state, [&] { backend.colorCvt(src, dst, zq::emptyRoi()); },
        {{"opencv_ms", [&] { cv::cvtColor(cv_src, cv_dst, cv::COLOR_YUV2BGR_I420); }},
         {"libyuv_ms",
          [&] {
              libyuv::I420ToRGB24(src.data(0), stride(src, 0), src.data(1), stride(src, 1),
                                  src.data(2), stride(src, 2), yuv_dst.data(), kSource.width * 3,
                                  kSource.width, kSource.height);
          }}},
        zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}
BENCHMARK(BM_I420ToBgr24)->Unit(benchmark::kMillisecond);

// OpenCV has no NV12 to I420: a copy of Y and a split of the U,V plane do the same.
void BM_Nv12ToI420(benchmark::State& state) {
    const zq::Frame src = zqbench::randomFrame(zq::ZQ_FRAME_NV12, kSource);
    zq::Frame dst, yuv_dst;
    dst.reuse(zq::ZQ_FRAME_I420, kSource);
    yuv_dst.reuse(zq::ZQ_FRAME_I420, kSource);
    zq::CvBackendSimd backend;
    const cv::Mat cv_y = planeMat(src, 0, CV_8UC1), cv_uv = planeMat(src, 1, CV_8UC2);
    cv::Mat cv_dst_y(kSource.height, kSource.width, CV_8UC1);
    cv::Mat cv_dst_uv[2] = {cv::Mat(kSource.height / 2, kSource.width / 2, CV_8UC1),
                            cv::Mat(kSource.height / 2, kSource.width / 2, CV_8UC1)};
    runAgainstPeers(
        state, [&] { backend.colorCvt(src, dst, zq::emptyRoi()); },
        {{"opencv_ms",
          [&] {
              cv_y.copyTo(cv_dst_y);
              cv::split(cv_uv, cv_dst_uv);
          }},
         {"libyuv_ms",
          [&] {
              libyuv::NV12ToI420(src.data(0), stride(src, 0), src.data(1), stride(src, 1),
                                 yuv_dst.data(0), stride(yuv_dst, 0), yuv_dst.data(1),
                                 stride(yuv_dst, 1), yuv_dst.data(2), stride(yuv_dst, 2),
                                 kSource.width, kSource.height);
          }}},
        zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}
BENCHMARK(BM_Nv12ToI420)->Unit(benchmark::kMillisecond);

// --------------------------------------------------------------------------------------- depth

constexpr size_t kElements = kPixels;  // 2,073,600

// Halves of values from -1000 to 1000; libyuv has no half/float conversion of this kind.
void BM_HalfToFloat(benchmark::State& state) {
    std::vector<float> values(kElements);
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
    for (float& v : values) v = value(rng);
    std::vector<unsigned short> half(kElements);
    zq::convertFp32ToFp16(values.data(), unsigned(kElements), half.data());
    std::vector<float> out(kElements);
    const cv::Mat cv_src(1080, 1920, CV_16FC1, half.data());
    cv::Mat cv_dst(1080, 1920, CV_32FC1);
    runAgainstPeers(
        state, [&] { zq::convertFp16ToFp32(half.data(), unsigned(kElements), out.data()); },
        {{"opencv_ms", [&] { cv_src.convertTo(cv_dst, CV_32F); }}}, kElements * (2 + 4));
}
BENCHMARK(BM_HalfToFloat)->Unit(benchmark::kMillisecond);

void BM_FloatToHalf(benchmark::State& state) {
    std::vector<float> values(kElements);
    std::mt19937 rng(4);
    std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
    for (float& v : values) v = value(rng);
    std::vector<unsigned short> out(kElements);
    const cv::Mat cv_src(1080, 1920, CV_32FC1, values.data());
    cv::Mat cv_dst(1080, 1920, CV_16FC1);
    runAgainstPeers(
        state, [&] { zq::convertFp32ToFp16(values.data(), unsigned(kElements), out.data()); },
        {{"opencv_ms", [&] { cv_src.convertTo(cv_dst, CV_16F); }}}, kElements * (4 + 2));
}
BENCHMARK(BM_FloatToHalf)->Unit(benchmark::kMillisecond);

// Bytes to floats over the range 0 to 255. Our frames have no padding here, so libyuv's one-row
// ByteToFloat takes the whole frame as one run.
void BM_Bgr24ToBgr32f(benchmark::State& state) {
    const zq::Frame src = zqbench::randomFrame(zq::ZQ_FRAME_BGR24, kSource);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_BGR32F, kSource);
    zq::CvBackendSimd backend;
    const cv::Mat cv_src = planeMat(src, 0, CV_8UC3);
    cv::Mat cv_dst(kSource.height, kSource.width, CV_32FC3);
    std::vector<float> yuv_dst(size_t(kPixels) * 3);
    runAgainstPeers(
        state, [&] { backend.colorCvt(src, dst, zq::emptyRoi()); },
        {{"opencv_ms", [&] { cv_src.convertTo(cv_dst, CV_32F); }},
         {"libyuv_ms",
          [&] { libyuv::ByteToFloat(src.data(0), yuv_dst.data(), 1.0f, kPixels * 3); }}},
        zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}
BENCHMARK(BM_Bgr24ToBgr32f)->Unit(benchmark::kMillisecond);

// libyuv has no float to byte conversion.
void BM_Bgr32fToBgr24(benchmark::State& state) {
    const zq::Frame src = randomFloatFrame(zq::ZQ_FRAME_BGR32F, kSource);
    zq::Frame dst;
    dst.reuse(zq::ZQ_FRAME_BGR24, kSource);
    zq::CvBackendSimd backend;
    const cv::Mat cv_src = planeMat(src, 0, CV_32FC3);
    cv::Mat cv_dst(kSource.height, kSource.width, CV_8UC3);
    runAgainstPeers(
        state, [&] { backend.colorCvt(src, dst, zq::emptyRoi()); },
        {{"opencv_ms", [&] { cv_src.convertTo(cv_dst, CV_8U); }}},
        zqbench::pixelBytes(src) + zqbench::pixelBytes(dst));
}
BENCHMARK(BM_Bgr32fToBgr24)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    cv::setNumThreads(1);  // OpenCV runs every function on the calling thread, alone
    benchmark::AddCustomContext("opencv", cv::getVersionString());
    benchmark::AddCustomContext("opencv_threads", std::to_string(cv::getNumThreads()));
    benchmark::AddCustomContext("opencv_cpu_features", cv::getCPUFeaturesLine());
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
