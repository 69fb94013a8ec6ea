// The main job of the library, end to end, on both roads side by side:
//
//  - round trips BGR24 -> YUV -> BGR24 through 4:2:0, 4:2:2 and 4:4:4 formats, on the row
//    pipeline (CvBackendBase) and on the vector road (CvBackendSimd), each written as one
//    picture: pipeline result, vector result, and the difference of each from the source,
//    amplified eight times;
//  - resizing to half size with each method of each road, and back up to the source size with
//    the same method, to measure what the method loses; likewise reductions to half by
//    ScalerConvolutional with two kernels of examples/zq_kernels.h (Lanczos-3 and Gaussian),
//    brought back by the pipeline's bilinear scaler, since that stage only reduces;
//  - a chain Scaler -> FormatConverter run by produceFrame, compared with the same two steps
//    done one after the other on whole frames.
//
// Every result is a PNG in the output folder; a table gives the time per frame, the PSNR
// against the reference and the largest difference in levels.
//
//   zq_demo output-folder [input.png]
//
// Without an input it works on the built-in test pattern (examples/demo_pattern.h).
#include <zq/cv.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "demo_pattern.h"
#include "png_io.h"
#include "zq_kernels.h"

namespace {

struct Result {
    std::string operation;
    std::string road;
    zq::Size size;
    double ms;
    std::string quality;  // PSNR, or "identical"
    int max_difference;
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
    } while (elapsed < 0.1 && runs < 1000);
    return 1e3 * elapsed / runs;
}

unsigned char* row(const zq::Frame& f, int y) {
    return f.data(0) + std::ptrdiff_t(y) * f.layout().planes[0].stride;
}

// Peak signal-to-noise ratio of two BGR24 frames of one size, over all
// samples, and their largest difference.
struct Comparison {
    double psnr;  // infinity when equal
    int max_difference;
};

Comparison compare(const zq::Frame& a, const zq::Frame& b) {
    double sum = 0;
    int largest = 0;
    const int n = 3 * a.width();
    for (int y = 0; y < a.height(); ++y) {
        const unsigned char* ra = row(a, y);
        const unsigned char* rb = row(b, y);
        for (int i = 0; i < n; ++i) {
            const int d = int(ra[i]) - int(rb[i]);
            sum += double(d) * d;
            largest = std::max(largest, std::abs(d));
        }
    }
    const double mse = sum / (double(n) * a.height());
    return {mse == 0 ? INFINITY : 10 * std::log10(255.0 * 255.0 / mse), largest};
}

std::string psnrText(const Comparison& c) {
    if (std::isinf(c.psnr)) return "identical";
    char text[32];
    std::snprintf(text, sizeof(text), "%.2f dB", c.psnr);
    return text;
}

// |a - b| per sample, times 8, as a BGR24 picture: black where equal, and the
// colour of a difference says which channel it is in.
zq::Frame differencePicture(const zq::Frame& a, const zq::Frame& b) {
    zq::Frame d;
    d.reuse(zq::ZQ_FRAME_BGR24, a.size());
    for (int y = 0; y < a.height(); ++y)
        for (int i = 0; i < 3 * a.width(); ++i)
            row(d, y)[i] =
                (unsigned char)std::min(255, 8 * std::abs(int(row(a, y)[i]) - int(row(b, y)[i])));
    return d;
}

// BGR24 frames side by side, top-aligned on white, with a gap of 4 pixels.
zq::Frame sideBySide(const std::vector<zq::Frame>& panels) {
    const int gap = 4;
    int width = 0, height = 0;
    for (const zq::Frame& p : panels) {
        width += p.width() + gap;
        height = std::max(height, p.height());
    }
    zq::Frame out;
    out.reuse(zq::ZQ_FRAME_BGR24, zq::Size(width - gap, height));
    for (int y = 0; y < out.height(); ++y)
        std::fill(row(out, y), row(out, y) + 3 * out.width(), 255);
    int x = 0;
    for (const zq::Frame& p : panels) {
        for (int y = 0; y < p.height(); ++y)
            std::copy(row(p, y), row(p, y) + 3 * p.width(), row(out, y) + 3 * x);
        x += p.width() + gap;
    }
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: %s output-folder [input.png]\n", argv[0]);
        return 2;
    }
    const std::string out = argv[1];
    const std::string input = argc > 2 ? argv[2] : "";
    mkdir(out.c_str(), 0755);

    zq::Frame source;
    if (input.empty()) {
        source = demoPattern(zq::Size(256, 192));
    } else {
        std::string error;
        if (!readPng(input, source, error)) {
            std::fprintf(stderr, "cannot read %s: %s\n", input.c_str(), error.c_str());
            return 1;
        }
        if (source.width() < 2 || source.height() < 2) {
            std::fprintf(stderr, "%s: the picture needs at least 2x2 pixels\n", input.c_str());
            return 1;
        }
    }
    auto save = [&](const std::string& name, const zq::Frame& frame) {
        const std::string path = out + "/" + name + ".png";
        std::string error;
        if (!writePng(path, frame, error)) {
            std::fprintf(stderr, "cannot write %s: %s\n", path.c_str(), error.c_str());
            std::exit(1);
        }
        return path;
    };

    std::vector<Result> results;
    try {
        save("source", source);
        // The vector road's 4:2:0 routes need even sizes: both roads work on
        // the same even region of the source.
        zq::Frame even =
            zq::getRegion(source, zq::Rect(0, 0, source.width() & ~1, source.height() & ~1));
        zq::Frame even_copy;  // a frame of its own, for comparisons
        even.copyTo(even_copy);

        zq::CvBackendBase base;
        zq::CvBackendSimd simd;
        struct Road {
            const char* name;
            zq::ICvBackend* backend;
        };
        const Road roads[] = {{"pipeline", &base}, {"vector", &simd}};

        // Round trips through the YUV formats, both roads side by side.
        struct Target {
            zq::FrameFormat format;
            const char* sampling;
        };
        for (const Target t :
             {Target{zq::ZQ_FRAME_I420, "4:2:0"}, Target{zq::ZQ_FRAME_NV12, "4:2:0"},
              Target{zq::ZQ_FRAME_YV16, "4:2:2"}, Target{zq::ZQ_FRAME_YUYV, "4:2:2"},
              Target{zq::ZQ_FRAME_YUV444_PLANAR, "4:4:4"}}) {
            std::vector<zq::Frame> results_of_roads, differences;
            std::vector<Result> rows;
            const std::string file = std::string("roundtrip_") + zq::toString(t.format);
            for (const Road& r : roads) {
                zq::Frame yuv, back;
                yuv.reuse(t.format, even.size());
                back.reuse(zq::ZQ_FRAME_BGR24, even.size());
                double ms = 0;
                try {
                    ms = msPerFrame([&] {
                        r.backend->colorCvt(even, yuv, zq::emptyRoi());
                        r.backend->colorCvt(yuv, back, zq::emptyRoi());
                    });
                } catch (zq::Exception& e) {
                    if (e.status() != zq::ZQ_STATUS_UNSUPPORTED_FORMAT) throw;
                    continue;  // this road has no route for the format
                }
                const Comparison c = compare(back, even_copy);
                results_of_roads.push_back(back);
                differences.push_back(differencePicture(back, even_copy));
                rows.push_back({std::string("BGR24 -> ") + zq::toString(t.format) + " (" +
                                    t.sampling + ") -> BGR24",
                                r.name, even.size(), ms, psnrText(c), c.max_difference, ""});
            }
            results_of_roads.insert(results_of_roads.end(), differences.begin(), differences.end());
            const std::string path = save(file, sideBySide(results_of_roads));
            for (Result& row : rows) {
                row.file = path;
                results.push_back(row);
            }
        }

        // Resizing to half and back with each method of each road.
        struct Method {
            const Road* road;
            int method;
            const char* name;
        };
        const zq::Size half(source.width() / 2, source.height() / 2);
        for (const Method m : {Method{&roads[0], zq::ZQ_SCALE_NEAREST, "nearest"},
                               Method{&roads[0], zq::ZQ_SCALE_BILINEAR, "bilinear"},
                               Method{&roads[0], zq::ZQ_SCALE_AREA, "area"},
                               Method{&roads[1], zq::ResizeBilinear, "bilinear"},
                               Method{&roads[1], zq::ResizeArea, "area"}}) {
            zq::ICvBackend& backend = *m.road->backend;
            backend.setIntProperty(zq::ZQ_CV_PROPERTY_RESIZE_METHOD, m.method);
            zq::Frame small, again;
            small.reuse(zq::ZQ_FRAME_BGR24, half);
            again.reuse(zq::ZQ_FRAME_BGR24, source.size());
            const double ms =
                msPerFrame([&] { backend.resize(source, small, zq::emptyRoi(), zq::emptyRoi()); });
            backend.resize(small, again, zq::emptyRoi(), zq::emptyRoi());
            const Comparison c = compare(again, source);
            const std::string name = std::string("resize_") + m.road->name + "_" + m.name;
            results.push_back({std::string("resize ") + m.name + " to half, and back", m.road->name,
                               half, ms, psnrText(c), c.max_difference,
                               save(name, sideBySide({small, again}))});
        }

        // Reductions to half with a client's kernel (16-bit weights), back to full size by
        // the pipeline's bilinear scaler: the convolutional scaler does not enlarge.
        zq::examples::LanczosKernel lanczos3(3);
        zq::examples::GaussianKernel gaussian;
        struct Kernel {
            zq::IKernel* kernel;
            const char* name;
        };
        base.setIntProperty(zq::ZQ_CV_PROPERTY_RESIZE_METHOD, zq::ZQ_SCALE_BILINEAR);
        for (const Kernel k : {Kernel{&lanczos3, "lanczos3"}, Kernel{&gaussian, "gaussian"}}) {
            zq::ScalerConvolutional reducer;
            zq::Frame small, again;
            small.reuse(zq::ZQ_FRAME_BGR24, half);
            again.reuse(zq::ZQ_FRAME_BGR24, source.size());
            double ms = 0;
            try {
                ms = msPerFrame([&] {
                    reducer.reuse(*k.kernel, source, half, zq::ZQ_SCALER_FIXED_POINT_16S);
                    zq::produceFrame(reducer, small);
                });
            } catch (zq::Exception& e) {
                // A picture the stage cannot take: fewer rows than the kernel has
                // taps, or a side above 8192 pixels.
                std::fprintf(stderr, "%s reduction skipped: %s\n", k.name, e.what());
                continue;
            }
            base.resize(small, again, zq::emptyRoi(), zq::emptyRoi());
            const Comparison c = compare(again, source);
            results.push_back(
                {std::string("resize ") + k.name + " to half, back bilinear", "pipeline", half, ms,
                 psnrText(c), c.max_difference,
                 save(std::string("resize_pipeline_") + k.name, sideBySide({small, again}))});
        }

        // A chain: area scaling to half, then I420, with no intermediate image;
        // the same two steps on whole frames give the same bytes.
        const zq::Size small(source.width() / 2 & ~1, source.height() / 2 & ~1);
        zq::Scaler scaler;
        zq::FormatConverter converter;
        zq::Frame chained;
        const double ms = msPerFrame([&] {
            scaler.reuse(source, small, zq::ZQ_SCALE_AREA);
            converter.reuse(scaler, zq::ZQ_FRAME_I420);
            zq::produceFrame(converter, chained);
        });
        zq::Frame scaled, stepwise, chained_bgr, stepwise_bgr;
        base.setIntProperty(zq::ZQ_CV_PROPERTY_RESIZE_METHOD, zq::ZQ_SCALE_AREA);
        scaled.reuse(zq::ZQ_FRAME_BGR24, small);
        base.resize(source, scaled, zq::emptyRoi(), zq::emptyRoi());
        stepwise.reuse(zq::ZQ_FRAME_I420, small);
        base.colorCvt(scaled, stepwise, zq::emptyRoi());
        for (auto [from, to] : {std::pair<zq::Frame*, zq::Frame*>{&chained, &chained_bgr},
                                {&stepwise, &stepwise_bgr}}) {
            to->reuse(zq::ZQ_FRAME_BGR24, small);
            base.colorCvt(*from, *to, zq::emptyRoi());
        }
        const Comparison c = compare(chained_bgr, stepwise_bgr);
        results.push_back({"chain Scaler(area) -> FormatConverter(I420)", "pipeline", small, ms,
                           psnrText(c) + " to 2 steps", c.max_difference,
                           save("chain_area_i420", chained_bgr)});
    } catch (zq::Exception& e) {
        std::fprintf(stderr, "failure %d in %s (%s:%d): %s\n", int(e.status()), e.function(),
                     e.file(), e.line(), e.what());
        return 1;
    }

    std::printf(
        "Source %dx%d%s. Round trips compare with the source, resizes compare the\n"
        "picture scaled to half and back with the source; PSNR over B, G, R.\n\n",
        source.width(), source.height(),
        input.empty() ? " (test pattern)" : (" from " + input).c_str());
    std::printf("%-48s %-9s %-9s %9s %-20s %4s  %s\n", "operation", "road", "size", "ms/frame",
                "PSNR", "max", "output");
    for (const Result& r : results) {
        char size[32];
        std::snprintf(size, sizeof(size), "%dx%d", r.size.width, r.size.height);
        std::printf("%-48s %-9s %-9s %9.3f %-20s %4d  %s\n", r.operation.c_str(), r.road.c_str(),
                    size, r.ms, r.quality.c_str(), r.max_difference, r.file.c_str());
    }
    std::printf(
        "\nroundtrip_*.png: pipeline result, vector result (where the vector road has the\n"
        "format), then the difference of each from the source, times 8.\n"
        "resize_*.png: half size, and back at full size (lanczos3 and gaussian: reduced by\n"
        "ScalerConvolutional, back by the pipeline's bilinear scaler).\n");
    return 0;
}
