// Distinct objects of every class on distinct threads, over shared read-only
// source frames: each thread's bytes equal those of a single-threaded run.
// Built and run under ThreadSanitizer by scripts/test.sh as well.
#include <zq/scaler_area.h>
#include <zq/scaler_bilinear.h>
#include <zq/scaler_nn.h>

#include <functional>
#include <thread>

#include "../../examples/zq_kernels.h"
#include "test_support.h"

namespace {

using namespace zq;

// Every pixel of every plane, in order, as one byte string.
std::vector<unsigned char> bytesOf(const Frame& frame) {
    std::vector<unsigned char> bytes;
    const FrameLayout& layout = frame.layout();
    for (int p = 0; p < layout.plane_count; ++p)
        for (int y = 0; y < layout.planes[p].height; ++y) {
            const unsigned char* row = zqtest::at(frame, p, y);
            bytes.insert(bytes.end(), row, row + layout.planes[p].row_bytes);
        }
    return bytes;
}

std::vector<unsigned char> pipeline(IRowProducer& producer) {
    Frame out;
    out.reuse(producer.layout().format, producer.layout().size);
    produceFrame(producer, out);
    return bytesOf(out);
}

void append(std::vector<unsigned char>& bytes, const std::vector<unsigned char>& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

using Job = std::function<std::vector<unsigned char>()>;

// One job per class and road; each makes its own objects and reads only the
// shared frames.
std::vector<Job> jobs(const Frame& bgr, const Frame& i420, const Frame& gray, const Frame& floats,
                      const Tensor& halves) {
    std::vector<Job> all;
    for (int method = 0; method <= 2; ++method)
        all.push_back([&, method] {
            Scaler scaler;
            scaler.reuse(i420, {37, 29}, ScaleMethod(method));
            return pipeline(scaler);
        });
    all.push_back([&] {
        ScalerNearestNeighbor nearest;
        nearest.reuse(bgr, {101, 77});
        return pipeline(nearest);
    });
    all.push_back([&] {
        ScalerBilinearXY bilinear;
        bilinear.reuse(bgr, {50, 90});
        return pipeline(bilinear);
    });
    all.push_back([&] {
        ScalerBilinearX bilinear_x;
        bilinear_x.reuse(bgr, 77);
        ScalerBilinearY bilinear_y;
        bilinear_y.reuse(i420, 51);
        std::vector<unsigned char> bytes = pipeline(bilinear_x);
        append(bytes, pipeline(bilinear_y));
        return bytes;
    });
    all.push_back([&] {
        ScalerAreaX area_x;
        area_x.reuse(gray, 41, ZQ_SCALER_FIXED_POINT_8S);
        ScalerAreaY area_y;
        area_y.reuse(area_x, 23, ZQ_SCALER_FIXED_POINT_8S);
        return pipeline(area_y);
    });
    all.push_back([&] {
        scaleAreaXY area;
        area.reuse(i420, {30, 20}, ZQ_SCALER_FIXED_POINT_16S);
        return pipeline(area);
    });
    all.push_back([&] {
        // Each object its own kernel; the two precisions, a frame and a producer.
        examples::LanczosKernel lanczos3(3);
        examples::BoxKernel box;
        ScalerConvolutional from_frame, from_stage;
        from_frame.reuse(lanczos3, i420, {41, 23}, ZQ_SCALER_FIXED_POINT_16S);
        ScalerBilinearXY bilinear;
        bilinear.reuse(bgr, {90, 80});
        from_stage.reuse(box, bilinear, {31, 37}, ZQ_SCALER_FIXED_POINT_8S);
        std::vector<unsigned char> bytes = pipeline(from_frame);
        append(bytes, pipeline(from_stage));
        return bytes;
    });
    all.push_back([&] {
        FormatConverter to_bgr, to_nv12;
        to_bgr.reuse(i420, ZQ_FRAME_BGR24);
        to_nv12.reuse(to_bgr, ZQ_FRAME_NV12);
        return pipeline(to_nv12);
    });
    all.push_back([&] {
        CvBackendBase backend;
        Frame out;
        out.reuse(ZQ_FRAME_YUYV, {40, 30});
        backend.convert(bgr, out, Rect(3, 5, 60, 50));
        return bytesOf(out);
    });
    for (int method : {ResizeBilinear, ResizeArea})
        all.push_back([&, method] {
            CvBackendSimd backend;
            backend.setIntProperty(ZQ_CV_PROPERTY_RESIZE_METHOD, method);
            Frame out;
            out.reuse(ZQ_FRAME_I420, {64, 48});
            backend.resize(i420, out, Rect(), Rect());
            Frame bgr_out;
            bgr_out.reuse(ZQ_FRAME_BGR24, {64, 48});
            backend.colorCvt(out, bgr_out, Rect());
            return bytesOf(bgr_out);
        });
    all.push_back([&] {
        CvBackendBase base;
        CvBackendSimd simd;
        std::vector<unsigned char> bytes;
        for (ICvBackend* backend :
             {static_cast<ICvBackend*>(&base), static_cast<ICvBackend*>(&simd)}) {
            Frame own;
            floats.copyTo(own);
            backend->add(own, 2.5f, Rect(3, 2, 30, 15));
            backend->mul(own, -0.75f, Rect());
            append(bytes, bytesOf(own));
        }
        return bytes;
    });
    all.push_back([&] {
        Tensor full;
        tensorFp16ToFp32(halves, full);
        return std::vector<unsigned char>(full.data(), full.data() + full.layout().bytes());
    });
    all.push_back([&] {
        Frame resized, converted;
        resizeFrame(floats, {33, 17}, resized, ResizeBilinear);
        colorConvert(bgr, ZQ_FRAME_GRAY8, converted);
        std::vector<unsigned char> bytes = bytesOf(resized);
        append(bytes, bytesOf(converted));
        return bytes;
    });
    all.push_back([&] {
        std::vector<float> values(1000);
        for (size_t i = 0; i < values.size(); ++i) values[i] = float(i) * 0.37f - 100.0f;
        std::vector<unsigned short> halves(values.size());
        convertFp32ToFp16(values.data(), unsigned(values.size()), halves.data());
        std::vector<float> back(values.size());
        convertFp16ToFp32(halves.data(), unsigned(halves.size()), back.data());
        std::vector<unsigned char> bytes(back.size() * sizeof(float));
        std::memcpy(bytes.data(), back.data(), bytes.size());
        return bytes;
    });
    return all;
}

TEST(Threads, DistinctObjectsOnDistinctThreadsGiveTheSingleThreadedBytes) {
    Frame bgr, i420, gray, floats;
    bgr.reuse(ZQ_FRAME_BGR24, {120, 90});
    i420.reuse(ZQ_FRAME_I420, {96, 70});
    gray.reuse(ZQ_FRAME_GRAY8, {83, 61});
    floats.reuse(ZQ_FRAME_BGR32F, {40, 20});
    zqtest::fillRandom(bgr, 1);
    zqtest::fillRandom(i420, 2);
    zqtest::fillRandom(gray, 3);
    for (int y = 0; y < floats.height(); ++y)
        for (int x = 0; x < 3 * floats.width(); ++x) {
            const float v = float((x * 7 + y * 13) % 255);
            std::memcpy(zqtest::at(floats, 0, y, 4 * x), &v, sizeof v);
        }
    Tensor halves;
    halves.reuse(TensorLayout(TENSOR_FLOAT_16, TENSOR_FORMAT_NCHW, TensorSize(3, 17, 29),
                              TensorSize(), TENSOR_ORDER_NONE));
    for (uint32_t i = 0; i < halves.layout().bytes(); ++i)
        halves.data()[i] = uint8_t(i * 37 + (i >> 3));
    const std::vector<Job> all = jobs(bgr, i420, gray, floats, halves);
    std::vector<std::vector<unsigned char>> expected;
    for (const Job& job : all) expected.push_back(job());

    // Every job twice at once, each on its own thread with its own objects.
    constexpr int kCopies = 2;
    std::vector<std::vector<unsigned char>> results(all.size() * kCopies);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < results.size(); ++i)
        threads.emplace_back([&, i] { results[i] = all[i % all.size()](); });
    for (auto& thread : threads) thread.join();
    for (size_t i = 0; i < results.size(); ++i) {
        SCOPED_TRACE(::testing::Message() << "job " << i % all.size());
        EXPECT_FALSE(expected[i % all.size()].empty());
        EXPECT_TRUE(results[i] == expected[i % all.size()]);
    }
}

}  // namespace
