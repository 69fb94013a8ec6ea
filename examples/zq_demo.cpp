// The main job of the library, end to end: resize a picture with each method,
// convert it between BGR and the YUV and gray formats and back, and run a
// chain of scaler and converter through produceFrame. Every result is written
// as a PNG into an output folder, and a table tells the time per frame.
//
//   zq_demo output-folder [input.png]
//
// Without an input it works on a built-in test pattern: colour bars, gray and
// hue ramps, and a zone plate whose fine rings show how each method filters.
#include <zq/cv.h>

#include <sys/stat.h>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>

#include "png_io.h"

namespace {

zq::Frame testPattern(zq::Size size) {
    zq::Frame f;
    f.reuse(zq::ZQ_FRAME_BGR24, size);
    const int w = size.width, h = size.height;
    static const unsigned char bars[8][3] = {{255, 255, 255}, {0, 255, 255}, {255, 255, 0},
                                             {0, 255, 0},     {255, 0, 255}, {0, 0, 255},
                                             {255, 0, 0},     {0, 0, 0}};
    for (int y = 0; y < h; ++y) {
        unsigned char* row = f.data(0) + ptrdiff_t(y) * f.layout().planes[0].stride;
        for (int x = 0; x < w; ++x) {
            unsigned char* px = row + 3 * x;
            if (y < h / 3) {  // colour bars
                const unsigned char* c = bars[x * 8 / w];
                px[0] = c[0], px[1] = c[1], px[2] = c[2];
            } else if (y < h / 2) {  // gray ramp
                px[0] = px[1] = px[2] = (unsigned char)(x * 255 / (w - 1));
            } else if (y < 2 * h / 3) {  // hue ramp
                const double t = 6.0 * x / w;
                const int sector = int(t) % 6;
                const double f1 = t - std::floor(t);
                const unsigned char up = (unsigned char)(255 * f1),
                                    down = (unsigned char)(255 * (1 - f1));
                const unsigned char rgb[6][3] = {{255, up, 0},   {down, 255, 0}, {0, 255, up},
                                                 {0, down, 255}, {up, 0, 255},   {255, 0, down}};
                px[2] = rgb[sector][0], px[1] = rgb[sector][1], px[0] = rgb[sector][2];
            } else {  // zone plate: rings that get finer towards the edges
                const double cx = x - w / 2.0, cy = y - 5.0 * h / 6.0;
                const double v =
                    127.5 + 127.5 * std::cos(3.14159265 * (cx * cx + cy * cy) / (1.2 * w));
                px[0] = px[1] = px[2] = (unsigned char)v;
            }
        }
    }
    return f;
}

struct Result {
    std::string operation;
    zq::Size size;
    double ms;
    std::string file;
};

double msPerFrame(const std::function<void()>& op) {
    using clock = std::chrono::steady_clock;
    op();
    int runs = 0;
    const auto start = clock::now();
    double elapsed = 0;
    do {
        op();
        ++runs;
        elapsed = std::chrono::duration<double>(clock::now() - start).count();
    } while (elapsed < 0.2 && runs < 1000);
    return 1e3 * elapsed / runs;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string out = argc > 1 ? argv[1] : "out";
    const std::string input = argc > 2 ? argv[2] : "";
    mkdir(out.c_str(), 0755);

    zq::Frame source;
    if (input.empty()) {
        source = testPattern(zq::Size(1280, 720));
    } else {
        std::string error;
        if (!readPng(input, source, error)) {
            std::fprintf(stderr, "cannot read %s: %s\n", input.c_str(), error.c_str());
            return 1;
        }
    }
    std::vector<Result> results;
    auto save = [&](const std::string& name, const zq::Frame& frame) {
        const std::string path = out + "/" + name + ".png";
        std::string error;
        if (!writePng(path, frame, error)) {
            std::fprintf(stderr, "cannot write %s: %s\n", path.c_str(), error.c_str());
            std::exit(1);
        }
        return path;
    };

    try {
        results.push_back({"source", source.size(), 0.0, save("source", source)});

        // Resizing with each method of the pipeline backend: down to half, and
        // a third of the way back up to show the interpolation.
        zq::CvBackendBase base;
        const char* names[] = {"nearest", "bilinear", "area"};
        for (int method = 0; method <= 2; ++method) {
            base.setIntProperty(zq::ZQ_CV_PROPERTY_RESIZE_METHOD, method);
            for (const zq::Size size :
                 {zq::Size(source.width() / 2, source.height() / 2),
                  zq::Size(source.width() * 4 / 3, source.height() * 4 / 3)}) {
                zq::Frame dst;
                dst.reuse(zq::ZQ_FRAME_BGR24, size);
                const double ms =
                    msPerFrame([&] { base.resize(source, dst, zq::emptyRoi(), zq::emptyRoi()); });
                const std::string name = std::string("resize_") + names[method] + "_" +
                                         std::to_string(size.width) + "x" +
                                         std::to_string(size.height);
                results.push_back({std::string("CvBackendBase resize ") + names[method], size, ms,
                                   save(name, dst)});
            }
        }

        // The vector backend's resizers, for comparison.
        zq::CvBackendSimd simd;
        for (int method : {zq::ResizeBilinear, zq::ResizeArea}) {
            simd.setIntProperty(zq::ZQ_CV_PROPERTY_RESIZE_METHOD, method);
            const zq::Size size(source.width() / 2, source.height() / 2);
            zq::Frame dst;
            dst.reuse(zq::ZQ_FRAME_BGR24, size);
            const double ms =
                msPerFrame([&] { simd.resize(source, dst, zq::emptyRoi(), zq::emptyRoi()); });
            const std::string name = std::string("simd_resize_") + names[method];
            results.push_back(
                {std::string("CvBackendSimd resize ") + names[method], size, ms, save(name, dst)});
        }

        // BGR to each format and back, on the pipeline backend. The picture
        // written is the round trip: it should look like the source, with the
        // colour resolution of the format.
        struct Target {
            zq::FrameFormat format;
            const char* name;
        };
        const zq::Size even(source.width() & ~1, source.height() & ~1);
        const zq::Frame even_source =
            zq::getRegion(source, zq::Rect(0, 0, even.width, even.height));
        for (const Target& t :
             {Target{zq::ZQ_FRAME_I420, "i420"}, Target{zq::ZQ_FRAME_NV12, "nv12"},
              Target{zq::ZQ_FRAME_YUYV, "yuyv"}, Target{zq::ZQ_FRAME_GRAY8, "gray"}}) {
            zq::Frame converted, back;
            converted.reuse(t.format, even);
            back.reuse(zq::ZQ_FRAME_BGR24, even);
            const double there =
                msPerFrame([&] { base.colorCvt(even_source, converted, zq::emptyRoi()); });
            const double again =
                msPerFrame([&] { base.colorCvt(converted, back, zq::emptyRoi()); });
            if (t.format == zq::ZQ_FRAME_GRAY8)
                results.push_back(
                    {"colorCvt BGR24 -> GRAY8", even, there, save("gray", converted)});
            else
                results.push_back(
                    {std::string("colorCvt BGR24 -> ") + zq::toString(t.format), even, there, ""});
            results.push_back({std::string("colorCvt ") + zq::toString(t.format) + " -> BGR24",
                               even, again, save(std::string("roundtrip_") + t.name, back)});
        }

        // One chain through produceFrame: area scaling to half, then I420,
        // with no intermediate image.
        const zq::Size small(source.width() / 2 & ~1, source.height() / 2 & ~1);
        zq::Scaler scaler;
        zq::FormatConverter converter;
        zq::Frame chained;
        const double ms = msPerFrame([&] {
            scaler.reuse(source, small, zq::ZQ_SCALE_AREA);
            converter.reuse(scaler, zq::ZQ_FRAME_I420);
            zq::produceFrame(converter, chained);
        });
        zq::Frame chained_bgr;
        chained_bgr.reuse(zq::ZQ_FRAME_BGR24, small);
        base.colorCvt(chained, chained_bgr, zq::emptyRoi());
        results.push_back({"chain Scaler(area) -> FormatConverter(I420)", small, ms,
                           save("chain_area_i420", chained_bgr)});
    } catch (zq::Exception& e) {
        std::fprintf(stderr, "failure %d in %s (%s:%d): %s\n", int(e.status()), e.function(),
                     e.file(), e.line(), e.what());
        return 1;
    }

    std::printf("%-46s %-11s %10s  %s\n", "operation", "size", "ms/frame", "output");
    for (const Result& r : results) {
        char size[32];
        std::snprintf(size, sizeof(size), "%dx%d", r.size.width, r.size.height);
        std::printf("%-46s %-11s %10.3f  %s\n", r.operation.c_str(), size, r.ms, r.file.c_str());
    }
    return 0;
}
